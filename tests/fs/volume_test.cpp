#include "fs/volume.h"

#include <cstdint>
#include <cstring>
#include <gtest/gtest.h>
#include <optional>
#include <string>

#include "base/win32_handle.h"
#include "support/temp_tree.h"

namespace larkspine::testing {
namespace {

TEST(IsDriveRootTest, TheRootOfALetteredVolumeIsADriveRootInAnySpelling) {
    for (const std::wstring path :
         {L"C:\\", L"\\\\?\\C:\\", L"c:/", L"z:\\", L"A:\\", L"D:\\\\\\", L"\\\\?\\d:/"})
        EXPECT_TRUE(is_drive_root(path)) << ::testing::PrintToString(path);
}

TEST(IsDriveRootTest, ALetterWithoutABackslashIsNoDriveRoot) {
    EXPECT_FALSE(is_drive_root(L"C:"));
    EXPECT_FALSE(is_drive_root(L"\\\\?\\C:"));
}

TEST(IsDriveRootTest, FoldersSharesAndDevicesAreNoDriveRoots) {
    for (const std::wstring path :
         {L"C:\\Data", L"C:\\D", L"\\\\server\\share\\", L"\\\\?\\UNC\\server\\share\\",
          L"\\\\.\\C:", L"\\\\?\\UNC\\", L"\\\\", L"\\", L"", L"photos"})
        EXPECT_FALSE(is_drive_root(path)) << ::testing::PrintToString(path);
}

TEST(IsDriveRootTest, OnlyAnAsciiLetterNamesADrive) {
    for (unsigned value = 1; value <= 0xFFFF; ++value) {
        const std::wstring path = {static_cast<wchar_t>(value), L':', L'\\'};
        const bool letter = (value >= 0x41 && value <= 0x5A) || (value >= 0x61 && value <= 0x7A);
        EXPECT_EQ(is_drive_root(path), letter) << value;
    }
}

TEST(IsDriveRootTest, AnythingButAColonAndASeparatorAfterTheLetterIsNoDriveRoot) {
    for (const std::wstring path : {L"C;\\", L"C\\\\", L"C:x", L"C::", L"CC\\"})
        EXPECT_FALSE(is_drive_root(path)) << ::testing::PrintToString(path);
}

class VolumeTest : public ::testing::Test {
  protected:
    // The root of the volume that holds the temporary folder, which is NTFS on the machines that
    // run this.
    [[nodiscard]] std::wstring drive() const { return tree.root().substr(0, 7); }

    TempTree tree;
};

TEST_F(VolumeTest, TheRootOfAnNtfsVolumeIsAnNtfsDriveRoot) {
    EXPECT_TRUE(is_ntfs_drive_root(drive()));
    EXPECT_TRUE(is_ntfs_drive_root(drive().substr(4)));
}

TEST_F(VolumeTest, AFileOrAnInvalidHandleHasNoJournal) {
    const std::wstring path = tree.file(L"a.txt", "a");
    const unique_handle file = own_handle(CreateFileW(path.c_str(), GENERIC_READ, FILE_SHARE_READ,
                                                      nullptr, OPEN_EXISTING, 0, nullptr));
    ASSERT_NE(file, nullptr);
    EXPECT_FALSE(query_usn_journal(file.get()).has_value());
    EXPECT_FALSE(query_usn_journal(INVALID_HANDLE_VALUE).has_value());
}

class FileIdentityTest : public VolumeTest {
  protected:
    static std::string bytes_of(const std::optional<FILE_ID_INFO>& identity) {
        if (!identity)
            return "none";
        std::string bytes(sizeof *identity, '\0');
        std::memcpy(bytes.data(), &*identity, bytes.size());
        return bytes;
    }

    // The reference number in the low half of an identifier.
    static std::optional<std::uint64_t> low_half(const std::optional<FILE_ID_INFO>& identity) {
        if (!identity)
            return std::nullopt;
        std::uint64_t low = 0;
        std::memcpy(&low, &identity->FileId, sizeof low);
        return low;
    }
};

TEST_F(FileIdentityTest, HardLinksShareTheirIdentity) {
    const std::wstring file = tree.file(L"a.txt", "a");
    const std::wstring link = tree.hard_link(L"inner\\b.txt", file);
    ASSERT_TRUE(file_identity_of(file).has_value());
    EXPECT_EQ(bytes_of(file_identity_of(file)), bytes_of(file_identity_of(link)));
    ASSERT_TRUE(file_reference_of(file).has_value());
    EXPECT_EQ(file_reference_of(file), file_reference_of(link));
}

TEST_F(FileIdentityTest, TheReferenceIsTheLowHalfOfTheIdentifier) {
    const std::wstring file = tree.file(L"a.txt", "a");
    ASSERT_TRUE(file_reference_of(file).has_value());
    EXPECT_EQ(low_half(file_identity_of(file)), file_reference_of(file));
}

TEST_F(FileIdentityTest, AFolderHasAReferenceButNoIdentity) {
    const std::wstring folder = tree.folder(L"inner");
    EXPECT_TRUE(file_reference_of(folder).has_value());
    EXPECT_TRUE(file_reference_of(drive()).has_value());
    EXPECT_FALSE(file_identity_of(folder).has_value());
}

TEST_F(FileIdentityTest, AMissingFileHasNeitherReferenceNorIdentity) {
    EXPECT_FALSE(file_reference_of(tree.path(L"missing")).has_value());
    EXPECT_FALSE(file_identity_of(tree.path(L"missing")).has_value());
    EXPECT_FALSE(file_reference_of(L"").has_value());
    EXPECT_FALSE(file_identity_of(L"").has_value());
}

TEST_F(FileIdentityTest, AFileOpenedWithoutSharingHasAReferenceButNoIdentity) {
    const std::wstring path = tree.file(L"a.txt", "a");
    const unique_handle holder =
        own_handle(CreateFileW(path.c_str(), GENERIC_READ, 0, nullptr, OPEN_EXISTING, 0, nullptr));
    ASSERT_NE(holder, nullptr);
    EXPECT_TRUE(file_reference_of(path).has_value());
    EXPECT_FALSE(file_identity_of(path).has_value());
}

}  // namespace
}  // namespace larkspine::testing
