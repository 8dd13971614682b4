// How the master file table of a volume becomes entries and counts, and the calls made for them.
#include "fs/mft_enumeration.h"

#include "base/win32_api.h"

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <gtest/gtest.h>
#include <string>
#include <vector>

#include "base/win32_handle.h"
#include "support/bad_answers.h"
#include "support/enumerated_volume.h"
#include "support/import_replacement.h"

namespace larkspine::testing {
namespace {

using detail::scan_ntfs_mft;

constexpr std::uint32_t folder_attribute = FILE_ATTRIBUTE_DIRECTORY;

class MftEnumerationTest : public EnumeratedVolumeTest {
  protected:
    using EnumeratedVolumeTest::EnumeratedVolumeTest;

    WIN32_FILE_ATTRIBUTE_DATA metadata(std::wstring_view relative) {
        WIN32_FILE_ATTRIBUTE_DATA data = {};
        const std::wstring real = volume.real_path(relative);
        EXPECT_TRUE(
            real_imports().GetFileAttributesExW(real.c_str(), GetFileExInfoStandard, &data));
        return data;
    }

    // The fields of an entry that come from the table alone.
    [[nodiscard]] detail::FileCandidate listed(const std::wstring& relative) {
        detail::FileCandidate entry;
        entry.path = volume.path(relative);
        entry.name = name_of(relative);
        entry.volume_serial = 0x1B0C7D42;
        entry.file_id = {volume.reference_of(relative), 0};
        entry.has_file_id = true;
        entry.record_id = volume.reference_of(folder_of(relative));
        entry.attributes = folder_attribute;
        entry.record_stamp = static_cast<std::uint64_t>(volume.usn_of(relative));
        return entry;
    }
};

TEST_F(MftEnumerationTest, EveryFolderAndFileBecomesAnEntry) {
    volume.write(L"a.txt", "one");
    volume.write(L"f\\g\\b.txt", "four");
    volume.make_folder(L"empty");
    ASSERT_TRUE(enumerate());
    EXPECT_EQ(paths(), (Paths{L"", L"a.txt", L"empty", L"f", L"f\\g", L"f\\g\\b.txt"}));
    EXPECT_EQ(counts(), (Counts{4, 2, 0, 0, 6}));
    EXPECT_TRUE(statistics.mft_used);
    EXPECT_FALSE(statistics.usn_delta_applied);
    EXPECT_FALSE(statistics.fast_path_unchanged);
    EXPECT_EQ(progress.documents, 2u);
    EXPECT_EQ(progress.entries_seen, 6u) << "the root's own record too";
}

TEST_F(MftEnumerationTest, TheSnapshotIsStampedWithTheJournalPositionBeforeTheEnumeration) {
    volume.write(L"a.txt", "one");
    const USN_JOURNAL_DATA_V0 before = volume.journal();
    volume.plant(doing(Request::list_table, 0, [this] { volume.write(L"late.txt", "x"); }));
    ASSERT_TRUE(enumerate());
    EXPECT_EQ(snapshot.root, volume.root());
    EXPECT_TRUE(snapshot.journal_valid);
    EXPECT_EQ(snapshot.journal_id, before.UsnJournalID);
    EXPECT_EQ(snapshot.next_usn, before.NextUsn);
    EXPECT_EQ(paths(), (Paths{L"", L"a.txt"})) << "the journal reports later changes";
}

TEST_F(MftEnumerationTest, AFileHasTheFieldsOfItsRecordAndTheMetadataOfTheSystem) {
    volume.write(L"f\\b.txt", "four");
    SetFileAttributesW(volume.real_path(L"f\\b.txt").c_str(), FILE_ATTRIBUTE_READONLY);
    ASSERT_TRUE(enumerate());
    const WIN32_FILE_ATTRIBUTE_DATA data = metadata(L"f\\b.txt");
    detail::FileCandidate expected = listed(L"f\\b.txt");
    expected.attributes = data.dwFileAttributes;
    expected.size = 4;
    expected.creation_time = filetime_value(data.ftCreationTime);
    expected.last_write_time = filetime_value(data.ftLastWriteTime);
    EXPECT_TRUE(same_entry(entry(L"f\\b.txt"), expected));
    EXPECT_EQ(expected.attributes & FILE_ATTRIBUTE_READONLY, DWORD{FILE_ATTRIBUTE_READONLY});
    SetFileAttributesW(volume.real_path(L"f\\b.txt").c_str(), FILE_ATTRIBUTE_NORMAL);
}

TEST_F(MftEnumerationTest, AFolderHasTheFieldsOfItsRecordAlone) {
    volume.make_folder(L"f\\g");
    ASSERT_TRUE(enumerate());
    EXPECT_TRUE(same_entry(entry(L"f\\g"), listed(L"f\\g")));
}

TEST_F(MftEnumerationTest, TheRootIsTheFirstEntryAndItsOwnParent) {
    volume.write(L"a.txt", "one");
    ASSERT_TRUE(enumerate());
    EXPECT_TRUE(same_entry(snapshot.entries.at(0), listed(L"")));
}

TEST_F(MftEnumerationTest, EarlierEntriesOfTheSnapshotAreGone) {
    volume.write(L"a.txt", "one");
    snapshot = snapshot_of(L"old", {full_entry(L"old\\x", L"x")});
    ASSERT_TRUE(enumerate());
    EXPECT_EQ(paths(), (Paths{L"", L"a.txt"}));
}

TEST_F(MftEnumerationTest, TheFoldersFoundAreCountedAnewAndFailuresAreAdded) {
    volume.plant_orphan(L"lost");
    statistics.directories = 7;
    statistics.failures = 2;
    ASSERT_TRUE(scan_ntfs_mft(volume.root(), snapshot, statistics, progress, pool));
    EXPECT_EQ(counts(), (Counts{1, 0, 0, 3, 1}));
}

TEST_F(MftEnumerationTest, OnlyTheVolumeItsRootAndTheAttributesOfFilesAreQueried) {
    volume.write(L"a", "one");
    volume.write(L"f\\b", "two");
    ASSERT_TRUE(enumerate());
    EXPECT_EQ(
        volume.requests(),
        (std::vector<Request>{Request::volume_information, Request::open_volume, Request::open_file,
                              Request::identify_file, Request::volume_information,
                              Request::query_journal, Request::list_table, Request::list_table,
                              Request::query_attributes, Request::query_attributes}));
    EXPECT_EQ(volume.paths(Request::open_file), Paths{L""});
    EXPECT_EQ(queried(), (Paths{L"a", L"f\\b"}));
}

TEST_F(MftEnumerationTest, TheVolumeIsOpenedForReadingAndSharedWithEveryone) {
    ASSERT_TRUE(enumerate());
    const VolumeCall call = volume.calls(Request::open_volume).at(0);
    EXPECT_EQ(call.as_given, L"\\\\.\\q:");
    EXPECT_EQ(call.access, GENERIC_READ);
    EXPECT_EQ(call.share, DWORD{FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE});
    EXPECT_EQ(call.disposition, DWORD{OPEN_EXISTING});
    EXPECT_EQ(call.flags, DWORD{FILE_ATTRIBUTE_NORMAL});
}

TEST_F(MftEnumerationTest, TheTableIsReadInLargeAnswersFromItsBeginningToItsEnd) {
    fill_several_answers();
    ASSERT_TRUE(enumerate());
    EXPECT_EQ(snapshot.entries.size(), 2501u);
    const std::vector<VolumeCall> calls = volume.calls(Request::list_table);
    ASSERT_EQ(calls.size(), 3u);
    EXPECT_EQ(calls[0].table.StartFileReferenceNumber, 0u);
    EXPECT_GT(calls[1].table.StartFileReferenceNumber, first_free_record_number);
    EXPECT_EQ(calls[2].table.StartFileReferenceNumber, first_free_record_number + 2500);
    EXPECT_EQ(calls[2].error, DWORD{ERROR_HANDLE_EOF});
    for (const VolumeCall& call : calls) {
        EXPECT_EQ(call.code, 0x000900B3u);
        EXPECT_EQ(call.input_size, 24u);
        EXPECT_EQ(call.output_size, 1'048'576u);
        EXPECT_EQ(call.table.LowUsn, 0);
        EXPECT_EQ(call.table.HighUsn, volume.journal().NextUsn);
    }
}

TEST_F(MftEnumerationTest, OneAlignedBufferServesTheWholeEnumeration) {
    fill_several_answers();
    std::vector<LPVOID> buffers;
    note_buffers(FSCTL_ENUM_USN_DATA, buffers);
    ASSERT_TRUE(enumerate());
    expect_one_aligned_buffer(buffers, 3);
}

TEST_F(MftEnumerationTest, ARecordChangedAtTheUpperUsnIsListedAndALaterOneIsNot) {
    const std::int64_t next = volume.journal().NextUsn;
    const auto folder_at = [&](std::uint64_t number, std::int64_t usn, const wchar_t* name) {
        volume.plant_record(
            {make_reference(number, 1), root_reference, usn, 0, 0, 0, 0, folder_attribute, name});
    };
    folder_at(100, next, L"at");
    folder_at(101, next + 8, L"beyond");
    ASSERT_TRUE(enumerate());
    EXPECT_EQ(paths(), (Paths{L"", L"at"}));
    EXPECT_EQ(statistics.failures, 0u);
}

TEST_F(MftEnumerationTest, TheLastOfSeveralRecordsOfOneReferenceWins) {
    volume.make_folder(L"first");
    volume.plant_record(
        {volume.reference_of(L"first"), root_reference, 0, 0, 0, 0, 0, folder_attribute, L"last"});
    ASSERT_TRUE(enumerate());
    EXPECT_EQ(paths(), (Paths{L"", L"last"}));
    EXPECT_EQ(progress.entries_seen, 3u);
}

TEST_F(MftEnumerationTest, AFileOfSeveralNamesIsListedOnceUnderTheNameOfItsRecord) {
    volume.write(L"f\\a", "text");
    volume.link(L"f\\a", L"b");
    ASSERT_TRUE(enumerate());
    EXPECT_EQ(paths(), (Paths{L"", L"f", L"f\\a"}));
    EXPECT_EQ(queried(), Paths{L"f\\a"});
    EXPECT_EQ(counts(), (Counts{2, 1, 0, 0, 3}));
}

TEST_F(MftEnumerationTest, ReparsePointsAreLeftOutUncounted) {
    volume.plant_child(root_reference, L"junction", 0x410);
    volume.plant_child(root_reference, L"link", 0x420);
    volume.write(L"a", "x");
    ASSERT_TRUE(enumerate());
    EXPECT_EQ(paths(), (Paths{L"", L"a"}));
    EXPECT_EQ(counts(), (Counts{1, 1, 0, 0, 2}));
}

// Being a reparse point concerns only the record itself. A cloud folder is one and holds ordinary
// files.
TEST_F(MftEnumerationTest, EntriesBelowAReparsePointAreListed) {
    const std::uint64_t cloud = volume.plant_child(root_reference, L"cloud", 0x410);
    volume.plant_child(cloud, L"below", folder_attribute);
    ASSERT_TRUE(enumerate());
    EXPECT_EQ(paths(), (Paths{L"", L"cloud\\below"}));
    EXPECT_EQ(counts(), (Counts{2, 0, 0, 0, 2}));
}

TEST_F(MftEnumerationTest, AFolderCalledWindowsOnAnotherDriveIsData) {
    volume.write(L"Windows\\a", "x");
    ASSERT_TRUE(enumerate());
    EXPECT_EQ(paths(), (Paths{L"", L"Windows", L"Windows\\a"}));
    EXPECT_EQ(statistics.excluded_entries, 0u);
}

// With two threads four queries are submitted, and awaited before the next four.
TEST_F(MftEnumerationTest, EveryBatchOfQueriesIsAwaitedBeforeTheNext) {
    for (int i = 0; i < 20; ++i)
        volume.write(std::to_wstring(i), "x");
    std::atomic<std::size_t> begun = 0;
    hooks().GetFileAttributesExW = [&, next = hooks().GetFileAttributesExW](auto... arguments) {
        EXPECT_GE(progress.documents, begun++ / 4 * 4);
        return next(arguments...);
    };
    ASSERT_TRUE(enumerate());
    EXPECT_EQ(begun, 20u);
}

class MftOnDriveCTest : public MftEnumerationTest {
  protected:
    MftOnDriveCTest() : MftEnumerationTest(on_drive(L'C')) {}
};

TEST_F(MftOnDriveCTest, EveryRecordInAnExcludedFolderIsCountedAndNoneIsListed) {
    volume.write(L"Windows\\System32\\a.dll", "x");
    volume.write(L"windows.old\\a.dll", "x");
    volume.write(L"data\\Windows\\a", "x");
    ASSERT_TRUE(enumerate());
    EXPECT_EQ(paths(), (Paths{L"", L"data", L"data\\Windows", L"data\\Windows\\a", L"windows.old",
                              L"windows.old\\a.dll"}));
    EXPECT_EQ(counts(), (Counts{4, 2, 3, 0, 6}));
    EXPECT_EQ(queried(), (Paths{L"data\\Windows\\a", L"windows.old\\a.dll"}));
}

TEST_F(MftOnDriveCTest, EveryRecordInAnIndexFolderIsCountedAndNoneIsListed) {
    const std::wstring folder = index_folder();
    const std::wstring parent = folder.substr(0, folder.rfind(L'\\'));
    volume.write(folder + L"\\indexes\\an index", "x");
    volume.write(parent + L"\\beside", "x");
    ASSERT_TRUE(enumerate());
    EXPECT_EQ(statistics.excluded_entries, 3u);
    EXPECT_EQ(paths().back(), parent + L"\\beside");
    EXPECT_EQ(queried(), Paths{parent + L"\\beside"});
}

TEST_F(MftOnDriveCTest, AFolderAsRootIsRefusedBeforeAnyCall) {
    volume.make_folder(L"Data");
    EXPECT_FALSE(enumerate(L"C:\\Data"));
    EXPECT_FALSE(enumerate(L"\\\\?\\C:\\Data"));
    EXPECT_EQ(volume.requests(), std::vector<Request>{});
}

// Tables without a record of the root.
class MftWithoutRootRecordTest : public MftEnumerationTest {
  protected:
    MftWithoutRootRecordTest() : MftEnumerationTest(without_root_record()) {}
};

TEST_F(MftWithoutRootRecordTest, TheRootIsTheOnlyEntryOfAnEmptyTable) {
    ASSERT_TRUE(enumerate());
    EXPECT_EQ(volume.calls(Request::list_table).at(0).error, DWORD{ERROR_HANDLE_EOF});
    EXPECT_EQ(paths(), Paths{L""});
    EXPECT_EQ(counts(), (Counts{1, 0, 0, 0, 1}));
    EXPECT_TRUE(statistics.mft_used);
}

TEST_F(MftWithoutRootRecordTest, PathsBeginAtTheRootEvenWithoutItsRecord) {
    volume.write(L"f\\a", "x");
    ASSERT_TRUE(enumerate());
    EXPECT_EQ(paths(), (Paths{L"", L"f", L"f\\a"}));
}

}  // namespace
}  // namespace larkspine::testing
