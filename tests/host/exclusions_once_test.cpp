// When the list of index folders is read, which happens once in a process, so each test is one.
#include <cstdlib>
#include <gtest/gtest.h>

#include "fs/exclusions.h"
#include "host/index_exclusions.h"

namespace larkspine {
namespace {

using testing::index_exclusions_calls;

class ExclusionsOnceDeathTest : public ::testing::Test {
  protected:
    ExclusionsOnceDeathTest() { GTEST_FLAG_SET(death_test_style, "threadsafe"); }
};

TEST_F(ExclusionsOnceDeathTest, TheSystemFolderIsExcludedWithoutTheList) {
    EXPECT_EXIT(
        {
            const bool excluded = is_excluded_path(L"C:\\Windows\\System32");
            std::_Exit(excluded && index_exclusions_calls == 0 ? 0 : 1);
        },
        ::testing::ExitedWithCode(0), "");
}

TEST_F(ExclusionsOnceDeathTest, TheFirstOtherPathReadsTheListAndNoneAfterIt) {
    EXPECT_EXIT(
        {
            const bool excluded = is_excluded_path(L"C:\\Windows.old") ||
                                  is_excluded_path(L"D:\\a") || !is_excluded_path(L"D:\\Idx\\a");
            std::_Exit(!excluded && index_exclusions_calls == 1 ? 0 : 1);
        },
        ::testing::ExitedWithCode(0), "");
}

}  // namespace
}  // namespace larkspine
