// The fake drive as a program sees it: its files, its identities, and the calls that it records.
#include "support/fake_volume.h"

#include <algorithm>
#include <cstring>
#include <gtest/gtest.h>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "fs/directory_walk.h"
#include "fs/entry_identity.h"
#include "fs/volume.h"
#include "support/volume_client.h"

namespace larkspine::testing {
namespace {

class FakeVolumeTest : public ::testing::Test {
  protected:
    std::vector<std::wstring> walk() {
        std::vector<detail::FileCandidate> files;
        ScanStatistics statistics;
        ScanProgress progress;
        EXPECT_TRUE(detail::walk_directory_tree(volume.root(), files, statistics, progress));
        EXPECT_EQ(statistics.failures, 0u);
        std::vector<std::wstring> found;
        for (const detail::FileCandidate& file : files)
            found.push_back(file.path);
        std::sort(found.begin(), found.end());
        return found;
    }

    static std::optional<DWORD> attributes(const std::wstring& path) {
        const DWORD found = GetFileAttributesW(path.c_str());
        return found == INVALID_FILE_ATTRIBUTES ? std::nullopt : std::optional(found);
    }

    static DWORD error_of_opening(const std::wstring& path, DWORD access, DWORD disposition) {
        const unique_handle file =
            own_handle(CreateFileW(path.c_str(), access, 0, nullptr, disposition, 0, nullptr));
        return file ? 0 : GetLastError();
    }

    TempTree tree;
    FakeVolume volume{tree};
};

TEST_F(FakeVolumeTest, TheRootIsThatOfAnNtfsDrive) {
    EXPECT_EQ(volume.root(), L"\\\\?\\Q:\\");
    EXPECT_TRUE(is_ntfs_drive_root(volume.root()));
    EXPECT_TRUE(is_ntfs_drive_root(L"q:/"));
    EXPECT_EQ(volume.requests(),
              (std::vector<Request>{Request::volume_information, Request::volume_information}));
    volume.set_file_system(L"FAT32");
    EXPECT_FALSE(is_ntfs_drive_root(volume.root()));
}

TEST_F(FakeVolumeTest, CallsForOtherDrivesReachTheSystem) {
    wchar_t name[MAX_PATH] = {};
    EXPECT_TRUE(GetVolumeInformationW(L"C:\\", nullptr, 0, nullptr, nullptr, nullptr, name, 260));
    EXPECT_TRUE(attributes(L"C:\\"));
    EXPECT_FALSE(VolumeClient(L"\\\\.\\r:").opened());
    EXPECT_FALSE(attributes(L"Q:"));
    EXPECT_TRUE(volume.calls().empty());
}

TEST_F(FakeVolumeTest, AFileIsReachedByEveryFormOfItsPath) {
    volume.write(L"a\\b.txt", "text");
    for (const std::wstring path : {L"\\\\?\\Q:\\a\\b.txt", L"Q:\\a\\b.txt", L"q:/A/B.TXT"})
        EXPECT_EQ(read_file(path), "text") << ::testing::PrintToString(path);
    EXPECT_EQ(attributes(L"Q:\\a\\").value_or(0) & FILE_ATTRIBUTE_DIRECTORY, 0x10u);
    EXPECT_FALSE(attributes(L"Q:\\c"));
    EXPECT_EQ(GetLastError(), DWORD{ERROR_FILE_NOT_FOUND});
}

TEST_F(FakeVolumeTest, SizesAndTimesAreThoseOfTheUnderlyingFile) {
    volume.write(L"a", "12345");
    WIN32_FILE_ATTRIBUTE_DATA drive = {};
    WIN32_FILE_ATTRIBUTE_DATA folder = {};
    ASSERT_TRUE(GetFileAttributesExW(volume.path(L"a").c_str(), GetFileExInfoStandard, &drive));
    ASSERT_TRUE(
        GetFileAttributesExW(volume.real_path(L"a").c_str(), GetFileExInfoStandard, &folder));
    EXPECT_EQ(std::memcmp(&drive, &folder, sizeof drive), 0);
    EXPECT_EQ(drive.nFileSizeLow, 5u);
}

TEST_F(FakeVolumeTest, AnEmptyRootListsNothingAndAnEmptyFolderListsItsDots) {
    WIN32_FIND_DATAW found = {};
    EXPECT_EQ(FindFirstFileExW((volume.root() + L"*").c_str(), FindExInfoBasic, &found,
                               FindExSearchNameMatch, nullptr, 0),
              INVALID_HANDLE_VALUE);
    EXPECT_EQ(GetLastError(), DWORD{ERROR_FILE_NOT_FOUND});
    EXPECT_TRUE(walk().empty());
    volume.make_folder(L"f");
    const unique_find_handle listing = own_find_handle(FindFirstFileExW(
        volume.path(L"f\\*").c_str(), FindExInfoBasic, &found, FindExSearchNameMatch, nullptr, 0));
    EXPECT_EQ(std::wstring(found.cFileName), L".");
}

TEST_F(FakeVolumeTest, ChangingFilesThroughTheDriveIsRefused) {
    volume.write(L"a", "1");
    EXPECT_EQ(error_of_opening(volume.path(L"a"), GENERIC_WRITE, OPEN_EXISTING),
              DWORD{ERROR_WRITE_PROTECT});
    EXPECT_EQ(error_of_opening(volume.path(L"b"), GENERIC_READ, CREATE_NEW),
              DWORD{ERROR_WRITE_PROTECT});
    EXPECT_FALSE(DeleteFileW(volume.path(L"a").c_str()));
    EXPECT_EQ(error_of_opening(volume.path(L"a"), GENERIC_READ, OPEN_EXISTING), 0u);
}

TEST_F(FakeVolumeTest, IdentitiesAreTheReferencesOfTheTable) {
    volume.write(L"f\\a", "1");
    volume.link(L"f\\a", L"b");
    const std::uint64_t reference = volume.reference_of(L"f\\a");
    EXPECT_EQ(file_reference_of(volume.root()), std::optional(root_reference));
    EXPECT_EQ(file_reference_of(volume.path(L"f")), std::optional(volume.reference_of(L"f")));
    EXPECT_EQ(file_reference_of(volume.path(L"f\\a")), std::optional(reference));
    EXPECT_EQ(file_reference_of(volume.path(L"b")), std::optional(reference));
    EXPECT_EQ(file_reference_of(volume.path(L"c")), std::nullopt);
    detail::FileCandidate entry;
    entry.path = volume.path(L"b");
    entry.size = 1;
    ASSERT_EQ(detail::read_identity(entry), detail::IdentityAnswer::read);
    EXPECT_EQ(entry.file_id, (detail::FileId{reference, 0}));
    EXPECT_EQ(entry.volume_serial, 0x5EA1'90F3'1B0C'7D42u);
    EXPECT_EQ(volume.open_handles(), 0u);
}

TEST_F(FakeVolumeTest, AFolderBelowTheRootIsNoVolume) {
    volume.make_folder(L"f");
    EXPECT_FALSE(GetVolumeInformationW(volume.path(L"f\\").c_str(), nullptr, 0, nullptr, nullptr,
                                       nullptr, nullptr, 0));
    EXPECT_EQ(GetLastError(), DWORD{ERROR_DIR_NOT_ROOT});
}

TEST_F(FakeVolumeTest, AFileThatNoOperationMadeHasNoIdentity) {
    tree.file(L"stray", "1");
    EXPECT_EQ(read_file(volume.path(L"stray")), "1");
    EXPECT_EQ(file_reference_of(volume.path(L"stray")), std::nullopt);
    EXPECT_FALSE(file_identity_of(volume.path(L"stray")).has_value());
}

TEST_F(FakeVolumeTest, TheVolumeIsOpenedByItsDevicePathAndDescribesItsJournal) {
    {
        const unique_handle device = own_handle(open_volume(volume.root()));
        ASSERT_TRUE(device);
        EXPECT_EQ(volume.open_handles(), 1u);
        const auto journal = query_usn_journal(device.get());
        ASSERT_TRUE(journal.has_value());
        EXPECT_EQ(journal->UsnJournalID, volume.journal().UsnJournalID);
        EXPECT_EQ(journal->NextUsn, volume.journal().NextUsn);
    }
    EXPECT_EQ(volume.open_handles(), 0u);
    EXPECT_EQ(volume.requests(),
              (std::vector<Request>{Request::open_volume, Request::query_journal}));
}

TEST_F(FakeVolumeTest, QueriesOfTheRootTouchNoFile) {
    (void)file_reference_of(volume.root());
    (void)is_ntfs_drive_root(volume.root());
    EXPECT_EQ(volume.files_touched(), 0u);
    (void)read_file((volume.write(L"a", "1"), volume.path(L"a")));
    EXPECT_EQ(volume.files_touched(), 3u);  // opened, read, read to the end
}

TEST_F(FakeVolumeTest, CallsFromSeveralThreadsAreAllRecorded) {
    volume.write(L"a", "1");
    std::vector<std::thread> threads;
    for (int i = 0; i < 4; ++i)
        threads.emplace_back([&] {
            for (int n = 0; n < 50; ++n)
                (void)file_reference_of(volume.path(L"a"));
        });
    for (std::thread& thread : threads)
        thread.join();
    EXPECT_EQ(volume.count(Request::open_file), 200u);
    EXPECT_EQ(volume.calls(Request::identify_file).size(), 200u);
    EXPECT_EQ(volume.open_handles(), 0u);
}

TEST(FakeVolumeSettingsTest, AVolumeMayHideARealDriveExceptForItsTemporaryFiles) {
    TempTree tree;
    TempTree other;
    other.file(L"x", "other");
    VolumeSettings settings;
    settings.letter = L'C';
    FakeVolume volume(tree, settings);
    volume.write(L"Windows\\a", "1");
    EXPECT_EQ(read_file(L"C:\\Windows\\a"), "1");
    EXPECT_FALSE(file_exists(L"C:\\Windows\\system32"));
    EXPECT_EQ(read_file(other.path(L"x")), "other");
    EXPECT_TRUE(VolumeClient(L"\\\\.\\c:").opened());
}

TEST(FakeVolumeSettingsTest, TheDriveDisappearsWhenTheVolumeIsDestroyed) {
    TempTree tree;
    tree.file(L"a", "1");
    { FakeVolume volume(tree); }
    EXPECT_FALSE(file_exists(L"Q:\\a"));
}

}  // namespace
}  // namespace larkspine::testing
