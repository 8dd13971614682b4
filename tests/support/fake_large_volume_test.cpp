#include "support/fake_large_volume.h"

#include <gtest/gtest.h>
#include <map>
#include <set>

#include "base/win32_handle.h"
#include "fs/volume.h"
#include "support/volume_client.h"

namespace larkspine::testing {
namespace {

std::optional<WIN32_FILE_ATTRIBUTE_DATA> attributes(const std::wstring& path) {
    WIN32_FILE_ATTRIBUTE_DATA data = {};
    if (!GetFileAttributesExW(path.c_str(), GetFileExInfoStandard, &data))
        return std::nullopt;
    return data;
}

// 250 files: 24 of them in each of ten folders, the rest in an eleventh.
class FakeLargeVolumeTest : public ::testing::Test {
  protected:
    FakeLargeVolume volume{{.files = 250, .files_per_folder = 24}};
    VolumeClient client;
};

TEST_F(FakeLargeVolumeTest, ItsTableHoldsTheRootTheFoldersAndTheFiles) {
    EXPECT_EQ(volume.folders(), 11u);
    EXPECT_EQ(volume.records(), 262u);
    const std::vector<UsnRecordFields> records = client.list_all(1000);
    ASSERT_EQ(records.size(), 262u);
    EXPECT_EQ(records[0].reference, root_reference);
    EXPECT_EQ(records[0].name, L".");
    EXPECT_EQ(records[1].parent, root_reference);
    EXPECT_EQ(records[12].reference, volume.file_reference(0));
    EXPECT_EQ(records.back().reference, volume.file_reference(249));
    EXPECT_EQ(records.back().usn, 0);
}

TEST_F(FakeLargeVolumeTest, TheParentLinksLeadToThePathsThatItAnswersFor) {
    std::map<std::uint64_t, UsnRecordFields> by_reference;
    for (const UsnRecordFields& record : client.list_all())
        by_reference[record.reference] = record;
    std::set<std::wstring> paths;
    for (std::uint64_t file = 0; file < 250; ++file) {
        const UsnRecordFields* record = &by_reference.at(volume.file_reference(file));
        std::wstring path = record->name;
        while (record->parent != root_reference) {
            record = &by_reference.at(record->parent);
            path = record->name + L'\\' + path;
        }
        EXPECT_EQ(path, volume.file_path(file));
        EXPECT_TRUE(attributes(volume.root() + path).has_value());
        paths.insert(path);
    }
    EXPECT_EQ(paths.size(), 250u);
}

TEST_F(FakeLargeVolumeTest, NoTwoFilesHaveTheSameSize) {
    std::set<DWORD> sizes;
    for (std::uint64_t file = 0; file < 250; ++file)
        sizes.insert(attributes(volume.root() + volume.file_path(file))->nFileSizeLow);
    EXPECT_EQ(sizes.size(), 250u);
    EXPECT_EQ(volume.count(Request::query_attributes), 250u);
}

TEST_F(FakeLargeVolumeTest, FoldersHaveAttributesAndWhatIsNotThereHasNone) {
    EXPECT_EQ(attributes(volume.root())->dwFileAttributes, DWORD{FILE_ATTRIBUTE_DIRECTORY});
    EXPECT_EQ(attributes(volume.root() + L"folder00000000")->dwFileAttributes,
              DWORD{FILE_ATTRIBUTE_DIRECTORY});
    for (const wchar_t* path : {L"document-00000000", L"folder00000011", L"folder0000000x",
                                L"folder00000000\\document-00000024", L"folder00000000\\x"}) {
        EXPECT_FALSE(attributes(volume.root() + path)) << ::testing::PrintToString(path);
        EXPECT_EQ(GetLastError(), DWORD{ERROR_FILE_NOT_FOUND});
    }
}

TEST_F(FakeLargeVolumeTest, IdentitiesAreKnownAndContentsAreNot) {
    EXPECT_EQ(file_reference_of(volume.root()), std::optional(root_reference));
    EXPECT_EQ(file_reference_of(volume.root() + volume.file_path(77)),
              std::optional(volume.file_reference(77)));
    EXPECT_FALSE(file_identity_of(volume.root() + volume.file_path(77)).has_value());
    EXPECT_EQ(GetLastError(), DWORD{ERROR_NOT_SUPPORTED});
    EXPECT_EQ(volume.open_handles(), 1u);
}

TEST_F(FakeLargeVolumeTest, AChangedFileIsJournalledAndItsWriteTimeRises) {
    const std::wstring path = volume.root() + volume.file_path(77);
    const auto before = attributes(path);
    const std::int64_t start = volume.journal().NextUsn;
    volume.change_file(77);
    const auto after = attributes(path);
    EXPECT_GT(filetime_value(after->ftLastWriteTime), filetime_value(before->ftLastWriteTime));
    EXPECT_EQ(after->nFileSizeLow, before->nFileSizeLow);
    const auto records = client.read(start, volume.journal().UsnJournalID).records();
    ASSERT_EQ(records.size(), 2u);
    EXPECT_EQ(records[0].reason, 0x2u);
    EXPECT_EQ(records[1].reason, 0x80000002u);
    EXPECT_EQ(records[1].reference, volume.file_reference(77));
    EXPECT_EQ(records[1].name, volume.file_path(77).substr(volume.file_path(77).rfind(L'\\') + 1));
    EXPECT_EQ(client.list(record_number(volume.file_reference(77))).records().at(0).usn,
              records[1].usn);
}

TEST_F(FakeLargeVolumeTest, ChangesAreSpreadOverAllFiles) {
    volume.change_files(10);
    std::set<std::uint64_t> changed;
    for (const auto& record :
         client.read(volume.journal().FirstUsn, volume.journal().UsnJournalID).records())
        changed.insert(record.reference);
    EXPECT_EQ(changed.size(), 10u);
    EXPECT_EQ(*changed.begin(), volume.file_reference(0));
    EXPECT_EQ(*changed.rbegin(), volume.file_reference(225));
}

TEST_F(FakeLargeVolumeTest, FaultsCanBePlantedInItToo) {
    volume.plant(failing(Request::list_table, 0, ERROR_IO_DEVICE));
    EXPECT_EQ(client.list(0).error, DWORD{ERROR_IO_DEVICE});
    volume.forget_calls();
    EXPECT_EQ(volume.count(Request::list_table), 0u);
}

TEST(FakeLargeVolumeSizeTest, TenMillionRecordsAreListedFromTheirEnd) {
    const FakeLargeVolume volume({.files = 10'000'000, .files_per_folder = 100});
    const VolumeClient client;
    EXPECT_EQ(volume.records(), 10'100'001u);
    const VolumeAnswer answer = client.list(10'100'000);
    EXPECT_EQ(answer.records().size(), 24u);
    EXPECT_EQ(answer.records().back().reference, volume.file_reference(9'999'999));
    EXPECT_EQ(attributes(volume.root() + volume.file_path(9'999'999))->nFileSizeLow, 10'000'000u);
}

TEST(FakeLargeVolumeSizeTest, AVolumeWithoutFilesHasOnlyItsRoot) {
    const FakeLargeVolume volume({.files = 0});
    EXPECT_EQ(volume.records(), 1u);
    EXPECT_EQ(VolumeClient().list(0).names(), (std::vector<std::wstring>{L"."}));
}

}  // namespace
}  // namespace larkspine::testing
