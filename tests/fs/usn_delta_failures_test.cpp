// How the change journal is read, and what makes a delta fail.
#include "base/win32_api.h"

#include <cstddef>
#include <cstdint>
#include <gtest/gtest.h>
#include <string>
#include <tuple>
#include <vector>

#include "fs/usn_delta.h"
#include "support/bad_answers.h"
#include "support/delta_volume.h"

namespace larkspine::testing {
namespace {

class UsnDeltaReadingTest : public DeltaVolumeTest {
  protected:
    using DeltaVolumeTest::DeltaVolumeTest;

    void SetUp() override { enumerate_two_files(); }

    // Records with long names, of files outside the tree: more than one answer has room for.
    void journal_several_answers() {
        for (std::uint64_t i = 0; i < 4000; ++i)
            journal_record(make_reference(5000 + i, 1), make_reference(4000, 1),
                           usn_reason::file_create, std::wstring(250, L'n'));
    }

    void expect_refused() {
        EXPECT_FALSE(apply());
        EXPECT_FALSE(changed);
        EXPECT_FALSE(statistics.usn_delta_applied);
        EXPECT_EQ(statistics.journal_changes, 0u);
        EXPECT_EQ(asked_for, Paths{});
    }
    void expect_refused_unread() {
        expect_refused();
        EXPECT_EQ(volume.count(Request::read_journal), 0u);
    }
};

// ---- reading ------------------------------------------------------------------------------------

TEST_F(UsnDeltaReadingTest, OnlyTheRootTheJournalAndChangedFilesAreQueried) {
    volume.append(L"a", "x");
    ASSERT_TRUE(apply());
    EXPECT_EQ(volume.requests(),
              (std::vector<Request>{Request::open_file, Request::identify_file,
                                    Request::volume_information, Request::read_journal,
                                    Request::query_attributes}));
    EXPECT_EQ(volume.paths(Request::open_file), Paths{L""});
}

TEST_F(UsnDeltaReadingTest, TheJournalIsReadForEveryReasonWithoutWaiting) {
    const std::int64_t start = snapshot.next_usn;
    volume.append(L"a", "x");
    ASSERT_TRUE(apply());
    const VolumeCall call = volume.calls(Request::read_journal).at(0);
    EXPECT_EQ(call.code, 0x000900BBu);
    EXPECT_EQ(call.input_size, 40u);
    EXPECT_EQ(call.output_size, volume_buffer_size);
    EXPECT_EQ(call.journal.StartUsn, start);
    EXPECT_EQ(call.journal.ReasonMask, 0xFFFF'FFFFu);
    EXPECT_EQ(call.journal.ReturnOnlyOnClose, 0u);
    EXPECT_EQ(call.journal.Timeout, 0u);
    EXPECT_EQ(call.journal.BytesToWaitFor, 0u);
    EXPECT_EQ(call.journal.UsnJournalID, volume.journal().UsnJournalID);
}

TEST_F(UsnDeltaReadingTest, EachReadContinuesWhereTheLastEnded) {
    const std::int64_t start = snapshot.next_usn;
    journal_several_answers();
    volume.append(L"a", "at the end");
    ASSERT_TRUE(apply());
    const std::vector<VolumeCall> calls = volume.calls(Request::read_journal);
    ASSERT_EQ(calls.size(), 3u);
    std::int64_t place = start;
    for (const VolumeCall& call : calls) {
        EXPECT_EQ(call.journal.StartUsn, place);
        EXPECT_EQ(call.journal.UsnJournalID, volume.journal().UsnJournalID);
        place = static_cast<std::int64_t>(call.next);
    }
    EXPECT_EQ(place, volume.journal().NextUsn);
    // 568 bytes a record: seven fill a page up to a gap.
    EXPECT_GT(volume.journal().NextUsn - start, 4000 * 568 + 4000 / 7 * 120);
    EXPECT_EQ(statistics.journal_changes, 4002u);
    EXPECT_EQ(progress.entries_seen, 4002u);
    EXPECT_EQ(without_digests(), Paths{L"a"});
    expect_as_enumerated();
}

TEST_F(UsnDeltaReadingTest, OneAlignedBufferServesTheWholeReading) {
    journal_several_answers();
    std::vector<LPVOID> buffers;
    note_buffers(FSCTL_READ_USN_JOURNAL, buffers);
    ASSERT_TRUE(apply());
    expect_one_aligned_buffer(buffers, 3);
}

TEST_F(UsnDeltaReadingTest, WithoutNewRecordsTheJournalIsNotReadAndTheSnapshotStays) {
    const detail::IndexSnapshot before = snapshot;
    ASSERT_TRUE(apply());
    EXPECT_FALSE(changed);
    EXPECT_EQ(volume.count(Request::read_journal), 0u);
    EXPECT_EQ(statistics.journal_changes, 0u);
    EXPECT_EQ(paths(), paths_of(before));
    EXPECT_EQ(without_digests(), Paths{});
    expect_as_enumerated();
}

// Records written after the query may already be applied. The next delta applies them again.
TEST_F(UsnDeltaReadingTest, TheSnapshotIsStampedWithThePositionOfTheQuery) {
    volume.append(L"a", "x");
    const std::int64_t queried_at = volume.journal().NextUsn;
    volume.plant(doing(Request::read_journal, 0, [this] {
        volume.write(L"late", "late");
        volume.rename(L"f", L"h");
        volume.remove(L"a");
    }));
    ASSERT_TRUE(apply());
    EXPECT_EQ(snapshot.next_usn, queried_at);
    EXPECT_EQ(snapshot.journal_id, volume.journal().UsnJournalID);
    EXPECT_TRUE(snapshot.journal_valid);
    ASSERT_TRUE(apply());
    expect_as_enumerated();
    EXPECT_EQ(paths(), (Paths{L"", L"h", L"h\\b", L"late"}));
}

// ---- refusals -----------------------------------------------------------------------------------

TEST_F(UsnDeltaReadingTest, ASnapshotWhoseRecordsWerePurgedIsRefusedUnread) {
    volume.append(L"a", "x");
    volume.purge_journal();
    volume.append(L"a", "y");
    expect_refused_unread();
}

TEST_F(UsnDeltaReadingTest, ASnapshotAtTheStartOfTheJournalIsUpdated) {
    volume.purge_journal();
    ASSERT_EQ(volume.journal().FirstUsn, snapshot.next_usn);
    volume.append(L"a", "x");
    ASSERT_TRUE(apply());
    expect_as_enumerated();
}

TEST_F(UsnDeltaReadingTest, APositionBeyondTheJournalIsRefusedUnread) {
    snapshot.next_usn = volume.journal().NextUsn + 1;
    expect_refused_unread();
}

TEST_F(UsnDeltaReadingTest, WithoutTheRootOrTheSerialNumberNothingIsRead) {
    volume.append(L"a", "x");
    for (const Fault& fault : {failing(Request::open_file, 0, ERROR_ACCESS_DENIED),
                               failing(Request::identify_file, 0, ERROR_INVALID_FUNCTION),
                               failing(Request::volume_information, 0, ERROR_NOT_READY)}) {
        SCOPED_TRACE("request " + std::to_string(static_cast<int>(fault.request)));
        volume.plant(fault);
        expect_refused_unread();
        EXPECT_EQ(volume.faults_left(), 0u);
        volume.clear_faults();
    }
}

TEST_F(UsnDeltaReadingTest, AJournalMadeAnewBeforeItIsReadIsRefused) {
    volume.append(L"a", "x");
    volume.plant(doing(Request::read_journal, 0, [this] { volume.restamp_journal(); }));
    expect_refused();
    EXPECT_EQ(volume.calls(Request::read_journal).at(0).error, DWORD{ERROR_INVALID_PARAMETER});
}

TEST_F(UsnDeltaReadingTest, AJournalThatWrapsBeforeItIsReadIsRefused) {
    volume.append(L"a", "x");
    volume.plant(doing(Request::read_journal, 0, [this] { volume.purge_journal(); }));
    expect_refused();
    EXPECT_EQ(volume.calls(Request::read_journal).at(0).error, DWORD{ERROR_JOURNAL_ENTRY_DELETED});
}

// ---- answers of the journal that make no sense, at the first call and at a later one ------------

class UsnDeltaBadAnswerTest
    : public UsnDeltaReadingTest,
      public ::testing::WithParamInterface<std::tuple<BadAnswer, std::size_t>> {};

TEST_P(UsnDeltaBadAnswerTest, ABadAnswerStopsTheDelta) {
    const auto& [answer, call] = GetParam();
    journal_several_answers();
    volume.plant(answer.fault(Request::read_journal, call));
    expect_refused();
    EXPECT_EQ(volume.count(Request::read_journal), call + 1);
}

INSTANTIATE_TEST_SUITE_P(Journal, UsnDeltaBadAnswerTest,
                         ::testing::Combine(::testing::ValuesIn(bad_answers),
                                            ::testing::Values(0, 1)));

TEST_F(UsnDeltaReadingTest, TheNextUsnIsSigned) {
    volume.append(L"a", "x");
    volume.plant(going_on_at(Request::read_journal, 0, 0x8000'0000'0000'0000));
    expect_refused();
}

TEST_F(UsnDeltaReadingTest, AnAnswerShorterThanItsContinuationFieldIsRefused) {
    volume.append(L"a", "x");
    volume.plant(claiming(Request::read_journal, 0, 7));
    expect_refused();
    EXPECT_EQ(progress.entries_seen, 0u);
}

TEST_F(UsnDeltaReadingTest, AnAnswerLargerThanTheBufferIsRefused) {
    volume.append(L"a", "x");
    claim_a_record_beyond_the_room(FSCTL_READ_USN_JOURNAL);
    expect_refused();
}

TEST_F(UsnDeltaReadingTest, AnAnswerWithoutRecordsThatAdvancesIsAccepted) {
    volume.append(L"a", "x");
    volume.plant(claiming(Request::read_journal, 0, 8));
    ASSERT_TRUE(apply());
    EXPECT_EQ(statistics.journal_changes, 0u);
    EXPECT_FALSE(changed);
}

class UsnDeltaBadRecordTest : public UsnDeltaReadingTest,
                              public ::testing::WithParamInterface<RecordDamage> {};

TEST_P(UsnDeltaBadRecordTest, ADamagedLastRecordStopsTheDelta) {
    volume.append(L"a", "x");
    volume.append(L"f\\b", "x");
    volume.plant(damaging(Request::read_journal, 0, GetParam(), last_record));
    expect_refused();
    EXPECT_EQ(progress.entries_seen, 3u);
}

INSTANTIATE_TEST_SUITE_P(EveryDamage, UsnDeltaBadRecordTest,
                         ::testing::ValuesIn(every_record_damage));

}  // namespace
}  // namespace larkspine::testing
