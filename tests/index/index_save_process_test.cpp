// Saves made by real processes: one that is killed during the save, and two at the same time.
#include <gtest/gtest.h>
#include <string>

#include "index/saved_index.h"
#include "support/child_process.h"

namespace larkspine::testing {
namespace {

using detail::load_index;
using detail::save_index;

class IndexSaveProcessTest : public SavedIndexTest {
  protected:
    static std::wstring first_name() {
        const std::optional<detail::IndexSnapshot> loaded = load_index(root);
        return loaded && !loaded->entries.empty() ? loaded->entries[0].name : L"(no index)";
    }
};

TEST_F(IndexSaveProcessTest, AProcessKilledBetweenAnyTwoCallsLeavesTheOldIndexOrTheNewOne) {
    ASSERT_TRUE(save_index(old_));
    std::size_t killed = 0;
    for (;; ++killed) {
        const unsigned code =
            exit_code_of(start_child(L"save_process", L"kill " + std::to_wstring(killed)));
        if (code == 0)
            break;
        ASSERT_EQ(code, 9u);
        ASSERT_LT(killed, 20u);
        EXPECT_EQ(first_name(), L"old.txt") << "killed before call " << killed;
    }
    // Create, at least three pieces, flush, close, rename.
    EXPECT_GE(killed, 7u);
    EXPECT_EQ(first_name(), L"new.txt");
}

TEST_F(IndexSaveProcessTest, TwoProcessesThatSaveAtOnceLeaveTheWholeIndexOfOneOfThem) {
    const unique_handle first = start_child(L"save_process", L"repeat 30 a");
    const unique_handle second = start_child(L"save_process", L"repeat 30 b");
    EXPECT_EQ(exit_code_of(first), 0u);
    EXPECT_EQ(exit_code_of(second), 0u);
    const std::optional<detail::IndexSnapshot> loaded = load_index(root);
    ASSERT_TRUE(loaded.has_value());
    ASSERT_EQ(loaded->entries.size(), 2'000u);
    EXPECT_TRUE(loaded->entries[0].name == L"a0" || loaded->entries[0].name == L"b0");
    WIN32_FIND_DATAW found;
    const unique_find_handle left =
        own_find_handle(FindFirstFileExW(tree_.path(L"*.tmp-*").c_str(), FindExInfoBasic, &found,
                                         FindExSearchNameMatch, nullptr, 0));
    EXPECT_FALSE(left) << "a temporary file remains";
}

}  // namespace
}  // namespace larkspine::testing
