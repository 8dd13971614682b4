// The host has no Windows environment: here the list of index folders is a fixed one.
#include "host/index_exclusions.h"

#include "index/index_location.h"

namespace larkspine {

unsigned testing::index_exclusions_calls = 0;

std::vector<std::wstring> index_exclusions() {
    ++testing::index_exclusions_calls;
    return {L"c:\\users\\u\\appdata\\local\\larkspine", L"d:\\idx"};
}

}  // namespace larkspine
