// The host has no Windows environment: here the list of index folders is a fixed one.
#include "index/index_location.h"

namespace larkspine {

std::vector<std::wstring> index_exclusions() {
    return {L"c:\\users\\u\\appdata\\local\\larkspine", L"d:\\idx"};
}

}  // namespace larkspine
