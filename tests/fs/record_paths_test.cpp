#include "fs/record_paths.h"

#include <gtest/gtest.h>
#include <optional>

namespace larkspine::testing {
namespace {

using detail::MftRecordMap;
using detail::PathCache;
using detail::resolve_record_path;

constexpr std::uint64_t root_reference = 5;

class RecordPathsTest : public ::testing::Test {
  protected:
    void add(std::uint64_t reference, std::uint64_t parent, std::wstring_view name) {
        records_[reference].parent_reference = parent;
        records_[reference].name = name;
    }
    // A chain of `length` records, each the parent of the one before; the last lies in `top`.
    void add_chain(std::uint64_t first, std::uint64_t length, std::uint64_t top) {
        for (std::uint64_t i = 0; i < length; ++i)
            add(first + i, i + 1 < length ? first + i + 1 : top, L"d");
    }
    std::optional<std::wstring> resolve(std::uint64_t reference) {
        const std::wstring* const path = resolve_record_path(reference, root_, records_, cache_);
        return path == nullptr ? std::nullopt : std::optional(*path);
    }

    const std::wstring root_ = L"\\\\?\\C:\\";
    MftRecordMap records_;
    PathCache cache_{{root_reference, root_}};
};

TEST_F(RecordPathsTest, APathIsJoinedFromItsChainOfParents) {
    add(10, root_reference, L"folder");
    add(11, 10, L"sub");
    add(12, 11, L"file.txt");
    EXPECT_EQ(resolve(12), L"\\\\?\\C:\\folder\\sub\\file.txt");
}

TEST_F(RecordPathsTest, EachFoldersPathIsBuiltOnceAndKept) {
    add(10, root_reference, L"folder");
    add(11, 10, L"a");
    ASSERT_EQ(resolve(11), L"\\\\?\\C:\\folder\\a");
    EXPECT_EQ(cache_.at(10), L"\\\\?\\C:\\folder");
    cache_[10] = L"changed";
    add(12, 10, L"b");
    EXPECT_EQ(resolve(12), L"changed\\b");
}

TEST_F(RecordPathsTest, ARecordThatIsItsOwnParentIsTheRoot) {
    cache_.clear();
    add(root_reference, root_reference, L".");
    add(10, root_reference, L"a");
    EXPECT_EQ(resolve(10), L"\\\\?\\C:\\a");
    EXPECT_EQ(cache_.at(root_reference), root_);
}

TEST_F(RecordPathsTest, AMissingRecordOrParentGivesNoPathAndIsNotKept) {
    add(10, 99, L"orphan");
    add(11, 10, L"child of an orphan");
    EXPECT_EQ(resolve(77), std::nullopt);
    EXPECT_EQ(resolve(11), std::nullopt);
    EXPECT_EQ(cache_.size(), 1u);
}

TEST_F(RecordPathsTest, RecordsInOrBelowALoopHaveNoPath) {
    add(10, 11, L"a");
    add(11, 10, L"b");
    add(12, 10, L"file");
    for (const std::uint64_t reference : {10u, 11u, 12u})
        EXPECT_EQ(resolve(reference), std::nullopt);
    EXPECT_EQ(cache_.size(), 1u);
}

TEST_F(RecordPathsTest, AChainOf257UnknownRecordsIsFollowedAndOneOf258IsNot) {
    for (const std::uint64_t length : {256u, 257u, 258u}) {
        records_.clear();
        cache_ = {{root_reference, root_}};
        add_chain(100, length, root_reference);
        EXPECT_EQ(resolve(100).has_value(), length <= 257) << length;
    }
}

TEST_F(RecordPathsTest, ACachedPathMakesALongerChainResolvable) {
    add_chain(100, 400, root_reference);
    ASSERT_EQ(resolve(100), std::nullopt);
    ASSERT_TRUE(resolve(300).has_value());
    EXPECT_TRUE(resolve(100).has_value());
    EXPECT_EQ(resolve(100)->size(), root_.size() + 2 * 400 - 1);
}

TEST_F(RecordPathsTest, PointersStayValidWhileTheCacheGrows) {
    add(10, root_reference, L"first");
    const std::wstring* const first = resolve_record_path(10, root_, records_, cache_);
    for (std::uint64_t i = 100; i < 5'000; ++i) {
        add(i, 10, L"x");
        ASSERT_TRUE(resolve(i).has_value());
    }
    EXPECT_EQ(first, resolve_record_path(10, root_, records_, cache_));
    EXPECT_EQ(*first, L"\\\\?\\C:\\first");
}

}  // namespace
}  // namespace larkspine::testing
