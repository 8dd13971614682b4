// Which way the driver takes through a whole NTFS volume and which calls it makes on that way. It
// finds the same on every way.
#include "base/win32_api.h"

#include <cstdint>
#include <gtest/gtest.h>
#include <string>
#include <vector>

#include "support/file_writes.h"
#include "support/import_replacement.h"
#include "support/scanned_volume.h"

namespace larkspine::testing {
namespace {

class ScanDriverNtfsTest : public ScannedVolumeTest {
  protected:
    void SetUp() override {
        volume.write(L"a", "same");
        volume.write(L"f\\b", "same");
        volume.write(L"f\\g\\c", "SAME");
        volume.write(L"f\\g\\alone", "of its size");
        volume.write(L"x", "other");
        volume.write(L"y", "other");
        volume.make_folder(L"empty");
    }

    // The scan went this way and found everything, without any failure.
    void expect(const ScanResult& result, Way way) {
        EXPECT_EQ(way_of(result), way);
        EXPECT_EQ(result.failures, 0u);
        EXPECT_EQ(progress.phase, ScanPhase::done);
        EXPECT_EQ(progress.documents, volume.files().size());
        EXPECT_EQ(result.statistics.files, volume.files().size());
        EXPECT_EQ(result.statistics.directories, volume.folders().size() + 1);
        EXPECT_EQ(volume.open_handles(), 0u);
        EXPECT_EQ(groups_of(result), expected());
    }
};

// ---- without an index ---------------------------------------------------------------------------

TEST_F(ScanDriverNtfsTest, TheFirstScanReadsTheTableAndSavesTheIndex) {
    const ScanResult result = run();
    EXPECT_EQ(volume.count(Request::open_volume), 1u);
    EXPECT_EQ(volume.count(Request::read_journal), 0u);
    EXPECT_EQ(volume.count(Request::list_folder), 0u);
    EXPECT_EQ(volume.paths(Request::query_attributes), volume.files());
    EXPECT_FALSE(result.statistics.index_loaded);
    EXPECT_EQ(result.statistics.index_entries, 10u);
    expect(result, Way::table);

    const detail::IndexSnapshot saved = stored();
    EXPECT_EQ(saved.root, volume.root());
    EXPECT_TRUE(saved.journal_valid);
    EXPECT_EQ(saved.journal_id, volume.journal().UsnJournalID);
    EXPECT_EQ(saved.next_usn, volume.journal().NextUsn);
    EXPECT_EQ(saved.entries.size(), 10u) << "folders and the root too";
}

TEST_F(ScanDriverNtfsTest, OnlyFilesThatShareTheirSizeAreRead) {
    (void)run();
    EXPECT_EQ(volume.paths(Request::open_file),
              (std::vector<std::wstring>{L"", L"a", L"a", L"f\\b", L"f\\b", L"f\\g\\c", L"x", L"x",
                                         L"y", L"y"}))
        << "the root for its reference; samples, and contents where the samples agree";
}

// ---- the unchanged fast path --------------------------------------------------------------------

TEST_F(ScanDriverNtfsTest, AnUnchangedVolumeIsNotTouchedAndNothingIsWritten) {
    (void)run();
    const std::string before = index_bytes();
    answer_writes([](FileWrite&, DWORD&) -> std::optional<BOOL> {
        ADD_FAILURE() << "something is written";
        return FALSE;
    });
    const ScanResult result = run();
    hooks().WriteFile = nullptr;
    EXPECT_EQ(volume.requests(),
              (std::vector<Request>{Request::volume_information, Request::open_volume,
                                    Request::query_journal}));
    EXPECT_EQ(volume.files_touched(), 0u);
    EXPECT_TRUE(result.statistics.index_loaded);
    EXPECT_EQ(result.statistics.sample_hashes_computed, 0u);
    EXPECT_EQ(result.statistics.full_hashes_computed, 0u);
    EXPECT_EQ(result.statistics.sample_hashes_reused, 5u);
    EXPECT_EQ(result.statistics.write_ms, 0u);
    EXPECT_EQ(result.statistics.index_entries, 10u);
    EXPECT_EQ(result.statistics.journal_changes, 0u);
    expect(result, Way::unchanged);
    EXPECT_EQ(index_bytes(), before);
}

TEST_F(ScanDriverNtfsTest, AFastPathThatComputesADigestSavesIt) {
    volume.plant(failing_at(Request::read_file, L"x", ERROR_CRC));
    EXPECT_EQ(run().failures, 1u);
    volume.clear_faults();
    const std::string before = index_bytes();
    const ScanResult result = run();
    EXPECT_EQ(result.statistics.sample_hashes_computed, 1u);
    expect(result, Way::unchanged);
    EXPECT_NE(index_bytes(), before);
    EXPECT_EQ(run().statistics.sample_hashes_computed, 0u);
}

// The whole journal was purged, but no change was lost.
TEST_F(ScanDriverNtfsTest, AJournalThatBeginsAtThePositionOfTheIndexCoversIt) {
    (void)run();
    volume.purge_journal();
    ASSERT_EQ(volume.journal().FirstUsn, stored().next_usn);
    expect(run(), Way::unchanged);
    volume.append(L"a", "x");
    expect(run(), Way::delta);
}

// ---- the delta ----------------------------------------------------------------------------------

TEST_F(ScanDriverNtfsTest, AfterOneChangeOnlyThatFileIsTouchedAndTheIndexIsSaved) {
    (void)run();
    volume.write(L"f\\g\\c", "same");
    const ScanResult result = run();
    EXPECT_EQ(volume.count(Request::open_volume), 1u);
    EXPECT_EQ(volume.count(Request::list_table), 0u);
    EXPECT_EQ(volume.count(Request::list_folder), 0u);
    EXPECT_EQ(volume.paths(Request::query_attributes), std::vector<std::wstring>{L"f\\g\\c"});
    EXPECT_EQ(volume.paths(Request::open_file),
              (std::vector<std::wstring>{L"", L"f\\g\\c", L"f\\g\\c"}));
    EXPECT_TRUE(result.statistics.index_loaded);
    EXPECT_EQ(result.statistics.journal_changes, 3u);
    EXPECT_EQ(result.statistics.sample_hashes_computed, 1u);
    EXPECT_EQ(result.statistics.full_hashes_computed, 1u);
    EXPECT_EQ(result.statistics.index_entries, 10u);
    expect(result, Way::delta);
    EXPECT_EQ(stored().next_usn, volume.journal().NextUsn);
    EXPECT_EQ(stored().journal_id, volume.journal().UsnJournalID);
    expect(run(), Way::unchanged);
}

TEST_F(ScanDriverNtfsTest, ADeltaThatChangesEntriesIsSavedWithoutAnyDigest) {
    (void)run();
    volume.rename(L"f", L"h");
    const std::string before = index_bytes();
    const ScanResult result = run();
    EXPECT_EQ(result.statistics.sample_hashes_computed, 0u);
    EXPECT_EQ(result.statistics.full_hashes_computed, 0u);
    EXPECT_EQ(volume.files_touched(), 0u);
    expect(result, Way::delta);
    EXPECT_NE(index_bytes(), before);
    EXPECT_EQ(stored().next_usn, volume.journal().NextUsn);
}

TEST_F(ScanDriverNtfsTest, ADeltaThatChangesNoEntryIsNotSaved) {
    (void)run();
    const std::string before = index_bytes();
    volume.append_to_journal({make_reference(900, 1), root_reference, 0, 0,
                              usn_reason::file_delete | usn_reason::close, 0, 0, 0x20, L"z"});
    const ScanResult result = run();
    EXPECT_EQ(result.statistics.journal_changes, 1u);
    EXPECT_EQ(result.statistics.write_ms, 0u);
    expect(result, Way::delta);
    EXPECT_EQ(index_bytes(), before);
    EXPECT_EQ(run().statistics.journal_changes, 1u) << "reported again, as nothing was saved";
}

// The file was an entry between its two records.
TEST_F(ScanDriverNtfsTest, ADeltaOfAFileMadeAndDeletedIsSaved) {
    (void)run();
    const std::string before = index_bytes();
    volume.write(L"short", "x");
    volume.remove(L"short");
    expect(run(), Way::delta);
    EXPECT_NE(index_bytes(), before);
    expect(run(), Way::unchanged);
}

// The index does not hold these files. Their next record, of any kind, adds them with their size.
// With size zero they would be grouped with the empty file.
TEST_F(ScanDriverNtfsTest, FilesUnreadableAtTheFirstScanAreGroupedAfterARecordOfAnyKind) {
    volume.write(L"empty file", "");
    for (const wchar_t* file : {L"f\\b", L"f\\g\\c"})
        volume.plant(failing_at(Request::query_attributes, file, ERROR_SHARING_VIOLATION));
    EXPECT_EQ(run().failures, 2u);
    volume.clear_faults();
    EXPECT_EQ(groups_of(run()).size(), 1u) << "the journal has no record of them";
    volume.journal_reasons(L"f\\b", usn_reason::extended_attribute_change);
    volume.journal_reasons(L"f\\g\\c", usn_reason::close);
    expect(run(), Way::delta);
    expect(run(), Way::unchanged);
}

// ---- every way ----------------------------------------------------------------------------------

TEST_F(ScanDriverNtfsTest, EveryWayLeadsToTheSameGroups) {
    volume.set_file_system(L"FAT32");
    expect(run(IndexMode::disabled), Way::walk);
    volume.set_file_system(L"NTFS");
    expect(run(), Way::table);
    expect(run(), Way::unchanged);
    volume.set_attributes(L"empty", FILE_ATTRIBUTE_HIDDEN);
    expect(run(), Way::delta);
    volume.set_attributes(L"empty", FILE_ATTRIBUTE_NORMAL);
    volume.plant(failing(Request::read_journal, 0, ERROR_JOURNAL_ENTRY_DELETED));
    expect(run(), Way::table);
    volume.restamp_journal();
    expect(run(), Way::table);
    volume.plant(failing(Request::open_volume, every_call, ERROR_ACCESS_DENIED));
    expect(run(), Way::walk);
}

}  // namespace
}  // namespace larkspine::testing
