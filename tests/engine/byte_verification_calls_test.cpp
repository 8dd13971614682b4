#include "base/win32_api.h"

#include <cstddef>
#include <cstdint>
#include <gtest/gtest.h>
#include <string>
#include <vector>

#include "engine/byte_verification.h"
#include "support/file_calls.h"
#include "support/temp_tree.h"

namespace larkspine::testing {
namespace {

using detail::files_identical;

class ByteVerificationCallsTest : public ::testing::Test {
  protected:
    void make_files(std::uint64_t size, std::uint64_t second_changed_at = UINT64_MAX) {
        calls.pause();
        first = tree.sized_file(L"a", size);
        second = tree.sized_file(L"b", size, second_changed_at);
    }

    bool compare() {
        calls.restart();
        const bool same = files_identical(first, second);
        EXPECT_EQ(calls.open_handles(), 0U);
        return same;
    }

    // Whether two equal files of two and a half blocks still compare equal with the fault that the
    // test has set: eight reads, the last two of them at the end.
    bool compare_long_files() {
        make_files(2'621'440);
        return compare();
    }
    static constexpr std::size_t reads_of_long_files = 8;

    TempTree tree;
    std::wstring first;
    std::wstring second;
    FileCalls calls;
};

TEST_F(ByteVerificationCallsTest, BothFilesAreOpenedAlikeTheFirstOneFirst) {
    make_files(10);
    EXPECT_EQ(compare(), true);
    EXPECT_EQ(calls.opens, (std::vector<OpenCall>{{first, GENERIC_READ, share_everything, nullptr,
                                                   OPEN_EXISTING, 0x0800'0080, nullptr},
                                                  {second, GENERIC_READ, share_everything, nullptr,
                                                   OPEN_EXISTING, 0x0800'0080, nullptr}}));
}

TEST_F(ByteVerificationCallsTest, BothFilesAreReadInTurnsOneMiBAtATime) {
    make_files(1'048'576);
    EXPECT_EQ(compare(), true);
    EXPECT_EQ(calls.events, (Events{"open a", "open b", "read a 1048576", "read b 1048576",
                                    "read a 1048576", "read b 1048576", "close b", "close a"}));
}

TEST_F(ByteVerificationCallsTest, TheComparisonStopsAtTheFirstBlockThatDiffers) {
    make_files(3'000'000, 5);
    EXPECT_EQ(compare(), false);
    EXPECT_EQ(calls.events, (Events{"open a", "open b", "read a 1048576", "read b 1048576",
                                    "close b", "close a"}));
}

TEST_F(ByteVerificationCallsTest, ADifferenceInTheLastByteIsFoundAfterReadingBothCompletely) {
    make_files(1'048'577, 1'048'576);
    EXPECT_EQ(compare(), false);
    EXPECT_EQ(calls.reads, 4U);
}

TEST_F(ByteVerificationCallsTest, AFirstFileThatCannotBeOpenedLeavesTheSecondAlone) {
    make_files(10);
    calls.on_open = [](const std::string& name, DWORD) { return name != "a"; };
    EXPECT_EQ(compare(), false);
    EXPECT_EQ(calls.events, Events{"open a fails"});
}

TEST_F(ByteVerificationCallsTest, ASecondFileThatCannotBeOpenedClosesTheFirst) {
    make_files(10);
    calls.on_open = [](const std::string& name, DWORD) { return name != "b"; };
    EXPECT_EQ(compare(), false);
    EXPECT_EQ(calls.events, (Events{"open a", "open b fails", "close a"}));
}

TEST_F(ByteVerificationCallsTest, AnyFailingReadIsADifference) {
    for (std::size_t number = 0; number < reads_of_long_files; ++number) {
        calls.fail_read(number);
        EXPECT_EQ(compare_long_files(), false) << "read " << number;
        EXPECT_EQ(calls.reads, number + 1);
    }
    calls.fail_read(reads_of_long_files);
    EXPECT_EQ(compare_long_files(), true);
    EXPECT_EQ(calls.reads, reads_of_long_files);
}

TEST_F(ByteVerificationCallsTest, AShortReadOnOneSideIsADifferenceAndIsNotRetried) {
    for (std::size_t number = 0; number < 6; ++number) {
        calls.shorten_read(number, 524'287);
        EXPECT_EQ(compare_long_files(), false) << "read " << number;
        EXPECT_EQ(calls.reads, number / 2 * 2 + 2);
    }
}

TEST_F(ByteVerificationCallsTest, ShortReadsOfOneLengthOnBothSidesAreCompared) {
    calls.read_limit = 400'000;
    make_files(1'000'000);
    EXPECT_EQ(compare(), true);
    make_files(1'000'000, 999'999);
    EXPECT_EQ(compare(), false);
    EXPECT_EQ(calls.reads, 6U);
}

TEST_F(ByteVerificationCallsTest, AReadOfMoreThanTheBufferHoldsIsADifference) {
    make_files(10);
    calls.claim_more_than_asked_for();
    EXPECT_EQ(compare(), false);
    EXPECT_EQ(calls.reads, 1U);
}

}  // namespace
}  // namespace larkspine::testing
