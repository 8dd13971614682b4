#include "support/fake_journal.h"

#include <gtest/gtest.h>
#include <string>
#include <string_view>

#include "support/volume_client.h"

namespace larkspine::testing {
namespace {

class FakeJournalTest : public ::testing::Test {
  protected:
    static UsnRecordFields change(std::wstring_view name, std::uint32_t reason = 0x2) {
        UsnRecordFields record;
        record.reference = make_reference(30, 2);
        record.parent = root_reference;
        record.reason = reason;
        record.name = name;
        return record;
    }

    VolumeAnswer read(std::int64_t start, std::size_t room = 4096, std::uint32_t mask = 0xFFFFFFFF,
                      std::uint32_t closed_only = 0) {
        return read_as(journal.data().UsnJournalID, start, room, mask, closed_only);
    }
    VolumeAnswer read_as(std::uint64_t identifier, std::int64_t start, std::size_t room = 4096,
                         std::uint32_t mask = 0xFFFFFFFF, std::uint32_t closed_only = 0) {
        VolumeAnswer answer;
        answer.bytes.resize(room);
        answer.error = journal.read({start, mask, closed_only, 0, 0, identifier},
                                    answer.bytes.data(), static_cast<DWORD>(room), answer.returned);
        return answer;
    }

    // A record whose name has up to two letters takes 64 bytes, so 64 of them fill a page. The
    // first record is the third from the end of its page.
    static constexpr std::int64_t page = 4096;
    static constexpr std::int64_t origin = 2 * page - 3 * 64;
    FakeJournal journal{{true, 0x77, origin, 8192, 4096}};
};

TEST_F(FakeJournalTest, ARecordThatDoesNotFitItsPageStartsTheNextPage) {
    EXPECT_EQ(journal.append(change(L"a")), origin);
    EXPECT_EQ(journal.append(change(L"a")), origin + 64);
    EXPECT_EQ(journal.data().NextUsn, origin + 128) << "no gap before the next record is known";
    EXPECT_EQ(journal.append(change(L"abc")), 2 * page) << "8 bytes too long";
    EXPECT_EQ(journal.append(change(L"a")), 2 * page + 72) << "the gap stays unused";
}

TEST_F(FakeJournalTest, NoRecordOfAnyLengthCrossesAPageBoundary) {
    for (std::size_t length = 0; length < 256; ++length)
        journal.append(change(std::wstring(length, L'n')));
    for (const UsnRecordFields& record : journal.records_from(0)) {
        const auto last =
            record.usn + static_cast<std::int64_t>(usn_record_length(record.name.size())) - 1;
        EXPECT_EQ(record.usn / page, last / page) << record.name.size();
    }
}

TEST_F(FakeJournalTest, AReadMayStartInTheGapBeforeAPage) {
    journal.append(change(L"a"));
    journal.append(change(L"a"));
    const std::int64_t gap = journal.data().NextUsn;
    EXPECT_EQ(read(gap).returned, 8u) << "before the next record there is no gap";
    journal.append(change(L"abc"));
    for (std::int64_t start = gap; start <= 2 * page; start += 8) {
        const VolumeAnswer answer = read(start);
        EXPECT_EQ(answer.names(), (std::vector<std::wstring>{L"abc"})) << start;
        EXPECT_EQ(answer.next(), 2u * page + 72) << start;
    }
    EXPECT_EQ(read(gap - 8).error, DWORD{ERROR_INVALID_PARAMETER}) << "inside a record";
    EXPECT_EQ(read(2 * page + 8).error, DWORD{ERROR_INVALID_PARAMETER});
}

TEST_F(FakeJournalTest, AReadThatEndsBeforeAGapIsContinuedByTheNextRead) {
    journal.append(change(L"a"));
    journal.append(change(L"a"));
    journal.append(change(L"abc"));
    const VolumeAnswer answer = read(origin, 8 + 2 * 64 + 71);
    EXPECT_EQ(answer.records().size(), 2u);
    EXPECT_EQ(answer.next(), std::uint64_t{origin + 128});
    EXPECT_EQ(read(origin + 128, 8 + 71).error, DWORD{ERROR_INSUFFICIENT_BUFFER});
    EXPECT_EQ(read(origin + 128, 8 + 72).names(), (std::vector<std::wstring>{L"abc"}));
}

TEST_F(FakeJournalTest, AJournalPurgedBeforeAGapIsReadFromTheGap) {
    journal.append(change(L"a"));
    journal.append(change(L"a"));
    journal.purge();
    const std::int64_t start = journal.data().FirstUsn;
    EXPECT_EQ(start, origin + 128);
    EXPECT_EQ(journal.append(change(L"abc")), 2 * page);
    EXPECT_EQ(read(start).names(), (std::vector<std::wstring>{L"abc"}));
    EXPECT_EQ(read(0).names(), (std::vector<std::wstring>{L"abc"}));
    EXPECT_EQ(read(start - 8).error, DWORD{ERROR_JOURNAL_ENTRY_DELETED});
}

TEST_F(FakeJournalTest, AReadReturnsTheRecordsFromItsStartAndTheNextUsn) {
    journal.append(change(L"a"));
    journal.append(change(L"b"));
    journal.append(change(L"c"));
    const VolumeAnswer answer = read(8064);
    EXPECT_EQ(answer.error, 0u);
    EXPECT_EQ(answer.names(), (std::vector<std::wstring>{L"b", L"c"}));
    EXPECT_EQ(answer.returned, 8u + 2 * 64);
    EXPECT_EQ(answer.next(), 8000u + 3 * 64);
    EXPECT_EQ(answer.records().at(0), journal.records_from(8064).at(0));
}

TEST_F(FakeJournalTest, AReadEndsAtARecordsBoundaryWhenTheBufferIsFull) {
    for (int i = 0; i < 4; ++i)
        journal.append(change(L"a"));
    const VolumeAnswer first = read(8000, 8 + 2 * 64 + 63);
    EXPECT_EQ(first.returned, 8u + 2 * 64);
    EXPECT_EQ(first.next(), 8000u + 2 * 64);
    const VolumeAnswer second = read(static_cast<std::int64_t>(first.next()), 8 + 2 * 64);
    EXPECT_EQ(second.records().size(), 2u);
    EXPECT_EQ(second.next(), 8000u + 4 * 64);
}

TEST_F(FakeJournalTest, RecordsWithoutARequestedReasonAreSkipped) {
    journal.append(change(L"a", 0x2));
    journal.append(change(L"b", 0x102));
    journal.append(change(L"c", 0x2));
    const VolumeAnswer answer = read(8000, 4096, 0x100);
    EXPECT_EQ(answer.names(), (std::vector<std::wstring>{L"b"}));
    EXPECT_EQ(answer.next(), 8000u + 3 * 64);
}

TEST_F(FakeJournalTest, AReadOfCloseRecordsOnlySkipsAllOthers) {
    journal.append(change(L"a", 0x2));
    journal.append(change(L"b", 0x8000'0002));
    EXPECT_EQ(read(8000, 4096, 0xFFFFFFFF, 1).names(), (std::vector<std::wstring>{L"b"}));
}

TEST_F(FakeJournalTest, AnInvalidReadFailsWithTheDocumentedError) {
    journal.append(change(L"a"));
    EXPECT_EQ(read_as(0x78, 8000).error, DWORD{ERROR_INVALID_PARAMETER});
    EXPECT_EQ(read(7992).error, DWORD{ERROR_JOURNAL_ENTRY_DELETED});
    EXPECT_EQ(read(8072).error, DWORD{ERROR_INVALID_PARAMETER});  // beyond the end
    EXPECT_EQ(read(8008).error, DWORD{ERROR_INVALID_PARAMETER});  // inside a record
    EXPECT_EQ(read(8000, 7).error, DWORD{ERROR_INSUFFICIENT_BUFFER});
    EXPECT_EQ(read(8000, 8 + 63).error, DWORD{ERROR_INSUFFICIENT_BUFFER});
    EXPECT_EQ(read(7992).returned, 0u);
}

TEST_F(FakeJournalTest, AJournalBeyondItsSizeDropsItsOldestPagesAndRaisesItsFirstUsn) {
    for (int i = 0; i < 3 * 64; ++i)  // 12,288 bytes: its size and its delta together
        journal.append(change(L"a"));
    EXPECT_EQ(journal.data().FirstUsn, origin);
    journal.append(change(L"b"));
    EXPECT_EQ(journal.data().NextUsn, origin + 3 * page + 64);
    EXPECT_EQ(journal.data().FirstUsn, 3 * page) << "8,192 bytes at most, from the start of a page";
    EXPECT_EQ(journal.records_from(0).size(), 2u * 64 - 2);
    EXPECT_EQ(journal.records_from(0).front().usn, 3 * page);
    EXPECT_EQ(read(3 * page - 64).error, DWORD{ERROR_JOURNAL_ENTRY_DELETED});
    EXPECT_EQ(read(3 * page, 16384).records().size(), 2u * 64 - 2);
}

TEST_F(FakeJournalTest, ARecreatedJournalHasAnotherIdentifierAndStartsAtZero) {
    journal.append(change(L"a"));
    journal.remove();
    EXPECT_FALSE(journal.active());
    journal.make_again();
    EXPECT_TRUE(journal.active());
    EXPECT_NE(journal.data().UsnJournalID, 0x77u);
    EXPECT_EQ(journal.data().FirstUsn, 0);
    EXPECT_EQ(journal.data().NextUsn, 0);
    EXPECT_EQ(journal.append(change(L"b")), 0);
    EXPECT_EQ(read(0).names(), (std::vector<std::wstring>{L"b"}));
}

TEST_F(FakeJournalTest, ARestampedJournalKeepsItsRecordsUnderAnotherIdentifier) {
    journal.append(change(L"a"));
    journal.restamp();
    EXPECT_NE(journal.data().UsnJournalID, 0x77u);
    EXPECT_EQ(journal.data().FirstUsn, 8000);
    EXPECT_EQ(journal.data().LowestValidUsn, 8064);
    EXPECT_EQ(read_as(0x77, 8000).error, DWORD{ERROR_INVALID_PARAMETER});
    EXPECT_EQ(read(8000).records().size(), 1u);
}

}  // namespace
}  // namespace larkspine::testing
