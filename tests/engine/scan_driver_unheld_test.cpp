// Whole scans over files that the index does not hold: a record about something else brings them
// in, and they are in the right groups.
#include "base/win32_api.h"

#include <algorithm>
#include <gtest/gtest.h>
#include <string>

#include "base/win32_handle.h"
#include "support/enumerated_volume.h"
#include "support/scanned_volume.h"

namespace larkspine::testing {
namespace {

class ScanDriverUnheldTest : public ScannedVolumeTest {
  protected:
    explicit ScanDriverUnheldTest(const VolumeSettings& settings = {})
        : ScannedVolumeTest(settings) {}

    // The entry is what the system says of the file.
    void expect_saved_true(const std::wstring& file) {
        WIN32_FILE_ATTRIBUTE_DATA data = {};
        ASSERT_TRUE(GetFileAttributesExW(volume.path(file).c_str(), GetFileExInfoStandard, &data));
        const detail::IndexSnapshot saved = stored();
        const auto entry =
            std::ranges::find(saved.entries, volume.path(file), &detail::FileCandidate::path);
        ASSERT_NE(entry, saved.entries.end());
        EXPECT_EQ(entry->size, data.nFileSizeLow);
        EXPECT_EQ(entry->creation_time, filetime_value(data.ftCreationTime));
        EXPECT_EQ(entry->last_write_time, filetime_value(data.ftLastWriteTime));
    }
};

// Were the entries taken for empty files, they would be a group with the one that is.
TEST_F(ScanDriverUnheldTest, FilesUnreadableAtTheFirstScanAreGroupedAfterARecordOfAnyKind) {
    volume.write(L"a", "same");
    volume.write(L"b", "same");
    volume.write(L"c", "other");
    volume.write(L"empty", "");
    for (const wchar_t* file : {L"b", L"c"})
        volume.plant(failing_at(Request::query_attributes, file, ERROR_SHARING_VIOLATION));
    EXPECT_EQ(run().failures, 2u);
    volume.clear_faults();
    EXPECT_TRUE(groups_of(run()).empty()) << "nothing is told of them";
    volume.journal_reasons(L"b", usn_reason::extended_attribute_change);
    volume.journal_reasons(L"c", usn_reason::close);
    const ScanResult result = run();
    EXPECT_EQ(way_of(result), Way::delta);
    EXPECT_EQ(result.failures, 0u);
    EXPECT_EQ(groups_of(result), expected());
    expect_saved_true(L"b");
    expect_saved_true(L"c");
    EXPECT_EQ(way_of(run()), Way::unchanged);
}

TEST_F(ScanDriverUnheldTest, AReparsePointThatBecomesAnOrdinaryFileIsGrouped) {
    volume.write(L"a", "same");
    volume.write(L"b", "same");
    volume.set_reparse_point(L"b", true);
    EXPECT_TRUE(groups_of(run()).empty());
    volume.set_file_system(L"FAT32");
    EXPECT_TRUE(groups_of(run(IndexMode::disabled)).empty()) << "the walk leaves it out too";
    volume.set_file_system(L"NTFS");
    volume.set_reparse_point(L"b", false);
    const ScanResult result = run();
    EXPECT_EQ(way_of(result), Way::delta);
    EXPECT_EQ(groups_of(result), expected());
    expect_saved_true(L"b");
}

class ScanDriverSystemDriveTest : public ScanDriverUnheldTest {
  protected:
    ScanDriverSystemDriveTest() : ScanDriverUnheldTest(on_drive(L'C')) {}
};

TEST_F(ScanDriverSystemDriveTest, AFileWithANameInsideTheSystemFolderIsGroupedUnderOneOutside) {
    volume.write(L"a", "same");
    volume.write(L"Windows\\b", "same");
    volume.write(L"empty", "");
    EXPECT_TRUE(groups_of(run()).empty());
    volume.link(L"Windows\\b", L"c");
    const ScanResult result = run();
    EXPECT_EQ(way_of(result), Way::delta);
    EXPECT_EQ(groups_of(result), (Groups{{L"C:\\a", L"C:\\c"}}));
    expect_saved_true(L"c");
}

}  // namespace
}  // namespace larkspine::testing
