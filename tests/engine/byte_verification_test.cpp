#include "engine/byte_verification.h"

#include "base/win32_api.h"

#include <cstdint>
#include <gtest/gtest.h>
#include <string>

#include "base/win32_handle.h"
#include "support/temp_tree.h"

namespace larkspine::testing {
namespace {

using detail::files_identical;

class ByteVerificationTest : public ::testing::Test {
  protected:
    // Files of patterned bytes, the second with one byte changed.
    bool same(std::uint64_t first_size, std::uint64_t second_size,
              std::uint64_t changed_at = UINT64_MAX) {
        return files_identical(tree.sized_file(L"first", first_size),
                               tree.sized_file(L"second", second_size, changed_at));
    }

    TempTree tree;
};

TEST_F(ByteVerificationTest, TwoEmptyFilesAreIdentical) {
    EXPECT_EQ(same(0, 0), true);
}

TEST_F(ByteVerificationTest, AnEmptyFileDiffersFromAnyOther) {
    EXPECT_EQ(same(0, 1), false);
    EXPECT_EQ(same(1, 0), false);
}

class ByteVerificationSizeTest : public ByteVerificationTest,
                                 public ::testing::WithParamInterface<std::uint64_t> {
  protected:
    const std::uint64_t size = GetParam();
};

TEST_P(ByteVerificationSizeTest, EqualContentsAreIdentical) {
    EXPECT_EQ(same(size, size), true);
}

TEST_P(ByteVerificationSizeTest, ADifferenceInTheFirstMiddleOrLastByteIsSeen) {
    EXPECT_EQ(same(size, size, 0), false);
    EXPECT_EQ(same(size, size, size / 2), false);
    EXPECT_EQ(same(size, size, size - 1), false);
}

TEST_P(ByteVerificationSizeTest, AFileAndItsBeginningAreDifferentInBothOrders) {
    EXPECT_EQ(same(size, size + 1), false);
    EXPECT_EQ(same(size + 1, size), false);
}

INSTANTIATE_TEST_SUITE_P(AroundTheBlockSize, ByteVerificationSizeTest,
                         ::testing::Values(1, 1'048'575, 1'048'576, 1'048'577, 2'097'152,
                                           2'500'000),
                         ::testing::PrintToStringParamName());

// The buffers are kept from one comparison to the next.
TEST_F(ByteVerificationTest, BytesOfAnEarlierComparisonDoNotCount) {
    EXPECT_EQ(same(1'000, 1'000), true);
    EXPECT_EQ(same(10, 10), true);
    EXPECT_EQ(same(10, 10, 9), false);
    EXPECT_EQ(same(0, 0), true);
}

TEST_F(ByteVerificationTest, TheSamePathTwiceIsIdentical) {
    const std::wstring path = tree.sized_file(L"a", 3'000);
    EXPECT_EQ(files_identical(path, path), true);
}

TEST_F(ByteVerificationTest, AFileLockedAgainstReadingDiffersFromItsCopy) {
    const std::wstring locked = tree.file(L"a", "same");
    const std::wstring copy = tree.file(L"b", "same");
    const unique_handle holder = own_handle(CreateFileW(
        locked.c_str(), GENERIC_READ, 0, nullptr, OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr));
    ASSERT_TRUE(holder);
    EXPECT_EQ(files_identical(locked, copy), false);
    EXPECT_EQ(files_identical(copy, locked), false);
}

}  // namespace
}  // namespace larkspine::testing
