// How the change journal of an open volume is queried.
#include <algorithm>
#include <cstdint>
#include <cstring>
#include <gtest/gtest.h>
#include <optional>
#include <vector>

#include "fs/volume.h"
#include "support/import_replacement.h"

namespace larkspine::testing {
namespace {

// A handle that the system never gives out: its own are multiples of four.
const HANDLE test_handle = reinterpret_cast<HANDLE>(std::uintptr_t{0x7EED1});

// The arguments of a request to a volume.
struct ControlCall {
    DWORD code;
    bool has_input;
    DWORD input_size;
    DWORD output_size;
    bool output_was_zero;
    bool overlapped;

    friend bool operator==(const ControlCall&, const ControlCall&) = default;
};

class UsnJournalCallsTest : public ::testing::Test {
  protected:
    void journal_answers(BOOL result, DWORD returned, DWORD error = 0) {
        hooks().DeviceIoControl = [=, this](HANDLE volume, DWORD code, LPVOID input,
                                            DWORD input_size, LPVOID output, DWORD output_size,
                                            LPDWORD returned_size, LPOVERLAPPED overlapped) {
            if (volume != test_handle)
                return real_imports().DeviceIoControl(volume, code, input, input_size, output,
                                                      output_size, returned_size, overlapped);
            const auto* bytes = static_cast<const unsigned char*>(output);
            const bool zero = std::all_of(bytes, bytes + output_size,
                                          [](unsigned char byte) { return byte == 0; });
            calls.push_back(
                {code, input != nullptr, input_size, output_size, zero, overlapped != nullptr});
            std::memcpy(output, fields, std::min<std::size_t>(returned, sizeof fields));
            *returned_size = returned;
            SetLastError(error);
            return result;
        };
    }

    // The seven values in the order of the record.
    static constexpr std::uint64_t fields[7] = {
        0x01D9'1122'3344'5566, 0x10, 0x20'0000'0000, 0x30, 0x7FFF'FFFF'0000, 0x200'0000, 0x40'0000};
    std::vector<ControlCall> calls;

  private:
    ImportReset reset;
};

TEST_F(UsnJournalCallsTest, AnActiveJournalIsDescribedFieldByField) {
    journal_answers(TRUE, 56);
    const std::optional<USN_JOURNAL_DATA_V0> journal = query_usn_journal(test_handle);
    ASSERT_TRUE(journal.has_value());
    EXPECT_EQ(journal->UsnJournalID, 0x01D9112233445566u);
    EXPECT_EQ(journal->FirstUsn, 0x10);
    EXPECT_EQ(journal->NextUsn, 0x2000000000);
    EXPECT_EQ(journal->LowestValidUsn, 0x30);
    EXPECT_EQ(journal->MaxUsn, 0x7FFFFFFF0000);
    EXPECT_EQ(journal->MaximumSize, 0x2000000u);
    EXPECT_EQ(journal->AllocationDelta, 0x400000u);
}

TEST_F(UsnJournalCallsTest, TheRequestHasNoInputAndAZeroedOutputOfFiftySixBytes) {
    journal_answers(TRUE, 56);
    (void)query_usn_journal(test_handle);
    EXPECT_EQ(calls, (std::vector<ControlCall>{{0x000900F4, false, 0, 56, true, false}}));
}

TEST_F(UsnJournalCallsTest, AVolumeWhoseJournalWasDeletedHasNone) {
    journal_answers(FALSE, 0, ERROR_JOURNAL_NOT_ACTIVE);
    EXPECT_FALSE(query_usn_journal(test_handle).has_value());
}

TEST_F(UsnJournalCallsTest, AFailureThatFilledTheOutputIsStillAFailure) {
    journal_answers(FALSE, 56, ERROR_JOURNAL_DELETE_IN_PROGRESS);
    EXPECT_FALSE(query_usn_journal(test_handle).has_value());
}

TEST_F(UsnJournalCallsTest, AnAnswerShorterThanTheDescriptionIsRefused) {
    for (const DWORD returned : {0u, 1u, 55u}) {
        journal_answers(TRUE, returned);
        EXPECT_FALSE(query_usn_journal(test_handle).has_value()) << returned;
    }
}

TEST_F(UsnJournalCallsTest, ACountBeyondTheOutputStillDescribesTheJournal) {
    journal_answers(TRUE, 80);
    EXPECT_TRUE(query_usn_journal(test_handle).has_value());
}

}  // namespace
}  // namespace larkspine::testing
