#include <algorithm>
#include <cstdint>
#include <cstring>
#include <gtest/gtest.h>
#include <optional>
#include <string>
#include <vector>

#include "fs/entry_identity.h"
#include "fs/volume.h"
#include "support/import_replacement.h"
#include "support/open_call.h"

namespace larkspine::testing {
namespace {

using detail::IdentityAnswer;
using detail::read_identity;

// A handle that the system never gives out: its own are multiples of four.
const HANDLE test_handle = reinterpret_cast<HANDLE>(std::uintptr_t{0x7EED1});

class VolumeCallsTest : public ::testing::Test {
  private:
    ImportReset reset;
};

// The arguments of a query of a volume's file system.
struct VolumeQuestion {
    std::wstring root;
    DWORD name_capacity;
    DWORD file_system_capacity;
    bool asks_for_more;

    friend bool operator==(const VolumeQuestion&, const VolumeQuestion&) = default;
};

class NtfsDriveRootCallsTest : public VolumeCallsTest {
  protected:
    void file_system_is(const std::wstring& name) { answer(TRUE, name); }
    void volume_query_fails() { answer(FALSE, L"NTFS"); }

    std::vector<VolumeQuestion> questions;

  private:
    void answer(BOOL result, const std::wstring& file_system) {
        hooks().GetVolumeInformationW = [=, this](LPCWSTR root, LPWSTR name, DWORD name_capacity,
                                                  LPDWORD serial, LPDWORD longest, LPDWORD flags,
                                                  LPWSTR text, DWORD capacity) {
            questions.push_back(
                {root, name_capacity, capacity,
                 name != nullptr || serial != nullptr || longest != nullptr || flags != nullptr});
            const std::size_t length = file_system.copy(text, capacity - 1);
            text[length] = L'\0';
            return result;
        };
    }
};

TEST_F(NtfsDriveRootCallsTest, NtfsIsRecognisedInAnyCase) {
    for (const std::wstring name : {L"NTFS", L"ntfs", L"Ntfs", L"nTFs"}) {
        file_system_is(name);
        EXPECT_TRUE(is_ntfs_drive_root(L"C:\\")) << ::testing::PrintToString(name);
    }
}

TEST_F(NtfsDriveRootCallsTest, AnyOtherFileSystemIsNotNtfs) {
    for (const std::wstring name : {L"FAT32", L"exFAT", L"ReFS", L"ntfsx", L"NTF", L"", L"xNTFS",
                                    L"NTFS ", L"NTFS\\", L"NTFS3", L"ntfz", L"mtfs"}) {
        file_system_is(name);
        EXPECT_FALSE(is_ntfs_drive_root(L"C:\\")) << ::testing::PrintToString(name);
    }
}

TEST_F(NtfsDriveRootCallsTest, AVolumeThatCannotBeQueriedIsNotNtfs) {
    volume_query_fails();
    EXPECT_FALSE(is_ntfs_drive_root(L"C:\\"));
    EXPECT_EQ(questions.size(), 1u);
}

TEST_F(NtfsDriveRootCallsTest, TheRootIsPassedAsGivenAndOnlyTheFileSystemIsQueried) {
    file_system_is(L"NTFS");
    std::vector<VolumeQuestion> expected;
    for (const std::wstring root : {L"C:\\", L"\\\\?\\D:\\", L"e:/", L"F:\\\\"}) {
        EXPECT_TRUE(is_ntfs_drive_root(root));
        expected.push_back({root, 0, 260, false});
    }
    EXPECT_EQ(questions, expected);
}

TEST_F(NtfsDriveRootCallsTest, APathThatIsNoDriveRootIsNotQueried) {
    file_system_is(L"NTFS");
    EXPECT_FALSE(is_ntfs_drive_root(L"C:\\Data"));
    EXPECT_TRUE(questions.empty());
}

// Opening a file gives the test's handle, and closing it is counted; other handles go to the
// system.
class HandleCallsTest : public VolumeCallsTest {
  protected:
    HandleCallsTest() {
        hooks().CreateFileW = [this](LPCWSTR path, DWORD access, DWORD sharing,
                                     LPSECURITY_ATTRIBUTES security, DWORD disposition, DWORD flags,
                                     HANDLE model) {
            opened.push_back({path, access, sharing, security, disposition, flags, model});
            if (open_error == 0)
                return test_handle;
            SetLastError(open_error);
            return INVALID_HANDLE_VALUE;
        };
        hooks().CloseHandle = [this](HANDLE handle) {
            if (handle == INVALID_HANDLE_VALUE)
                ++closed_invalid;
            if (handle != test_handle)
                return real_imports().CloseHandle(handle);
            ++closed;
            return TRUE;
        };
    }

    DWORD open_error = 0;
    std::vector<OpenCall> opened;
    int closed = 0;
    int closed_invalid = 0;
};

using OpenVolumeCallsTest = HandleCallsTest;

TEST_F(OpenVolumeCallsTest, TheVolumeIsOpenedForReadingByItsLowerCaseLetter) {
    for (const std::wstring root : {L"C:\\", L"\\\\?\\C:\\", L"c:/"})
        EXPECT_EQ(open_volume(root), test_handle);
    const OpenCall call = {L"\\\\.\\c:",  GENERIC_READ,          share_everything, nullptr,
                           OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr};
    EXPECT_EQ(opened, (std::vector<OpenCall>(3, call)));
}

TEST_F(OpenVolumeCallsTest, TheHandleIsTheCallersToClose) {
    EXPECT_EQ(open_volume(L"Z:\\"), test_handle);
    EXPECT_EQ(closed, 0);
    EXPECT_EQ(opened.at(0).path, L"\\\\.\\z:");
}

TEST_F(OpenVolumeCallsTest, ARefusalGivesTheInvalidHandle) {
    open_error = ERROR_ACCESS_DENIED;
    EXPECT_EQ(open_volume(L"C:\\"), INVALID_HANDLE_VALUE);
    EXPECT_EQ(closed_invalid, 0);
}

TEST_F(OpenVolumeCallsTest, APathThatIsNoDriveRootIsNotOpened) {
    EXPECT_EQ(open_volume(L"C:\\Data"), INVALID_HANDLE_VALUE);
    EXPECT_TRUE(opened.empty());
}

class FileReferenceCallsTest : public HandleCallsTest {
  protected:
    void information_answers(BOOL result, DWORD high, DWORD low) {
        hooks().GetFileInformationByHandle = [=, this](HANDLE file,
                                                       LPBY_HANDLE_FILE_INFORMATION information) {
            asked.push_back(file);
            if (file != test_handle)
                return real_imports().GetFileInformationByHandle(file, information);
            information->nFileIndexHigh = high;
            information->nFileIndexLow = low;
            return result;
        };
    }

    std::vector<HANDLE> asked;
};

TEST_F(FileReferenceCallsTest, TheTwoHalvesMakeTheReference) {
    information_answers(TRUE, 0x00010203, 0xF0E0D0C0);
    EXPECT_EQ(file_reference_of(L"\\\\?\\C:\\a"), std::optional<std::uint64_t>(0x00010203F0E0D0C0));
    information_answers(TRUE, 0x80000000, 1);
    EXPECT_EQ(file_reference_of(L"\\\\?\\C:\\a"), std::optional<std::uint64_t>(0x8000000000000001));
    EXPECT_EQ(closed, 2);
}

TEST_F(FileReferenceCallsTest, ThePathIsOpenedAsGivenWithoutAccessToDataAndAlsoForFolders) {
    information_answers(TRUE, 0, 0);
    (void)file_reference_of(L"C:/Data\\");
    EXPECT_EQ(opened,
              (std::vector<OpenCall>{{L"C:/Data\\", 0, share_everything, nullptr, OPEN_EXISTING,
                                      FILE_FLAG_BACKUP_SEMANTICS, nullptr}}));
}

TEST_F(FileReferenceCallsTest, AFileThatCannotBeOpenedHasNoReferenceAndNothingIsClosed) {
    information_answers(TRUE, 1, 1);
    open_error = ERROR_ACCESS_DENIED;
    EXPECT_EQ(file_reference_of(L"\\\\?\\C:\\a"), std::nullopt);
    EXPECT_TRUE(asked.empty());
    EXPECT_EQ(closed, 0);
    EXPECT_EQ(closed_invalid, 0);
}

TEST_F(FileReferenceCallsTest, AFileWhoseReferenceCannotBeReadHasNoneAndIsClosed) {
    information_answers(FALSE, 1, 1);
    EXPECT_EQ(file_reference_of(L"\\\\?\\C:\\a"), std::nullopt);
    EXPECT_EQ(opened.size(), 1u);
    EXPECT_EQ(closed, 1);
}

class FileIdentityCallsTest : public HandleCallsTest {
  protected:
    void identity_answers(BOOL result) {
        hooks().GetFileInformationByHandleEx =
            [this, result](HANDLE file, FILE_INFO_BY_HANDLE_CLASS kind, LPVOID buffer, DWORD size) {
                kinds.push_back(kind);
                sizes.push_back(size);
                if (file != test_handle)
                    return real_imports().GetFileInformationByHandleEx(file, kind, buffer, size);
                std::memcpy(buffer, &stored, sizeof stored);
                return result;
            };
        hooks().GetFileSizeEx = [this](HANDLE file, PLARGE_INTEGER size) {
            if (file != test_handle)
                return real_imports().GetFileSizeEx(file, size);
            ++sizes_asked;
            size->QuadPart = size_answer.value_or(0);
            return BOOL{size_answer.has_value()};
        };
    }

    static FILE_ID_INFO numbered_bytes() {
        unsigned char bytes[sizeof(FILE_ID_INFO)];
        for (std::size_t i = 0; i < sizeof bytes; ++i)
            bytes[i] = static_cast<unsigned char>(0xF0 - i);
        FILE_ID_INFO identity;
        std::memcpy(&identity, bytes, sizeof identity);
        return identity;
    }

    const FILE_ID_INFO stored = numbered_bytes();
    std::vector<FILE_INFO_BY_HANDLE_CLASS> kinds;
    std::vector<DWORD> sizes;
    std::optional<std::int64_t> size_answer = 0;  // none: the query fails
    int sizes_asked = 0;
};

TEST_F(FileIdentityCallsTest, TheIdentityIsWhatTheSystemStored) {
    identity_answers(TRUE);
    const std::optional<FILE_ID_INFO> identity = file_identity_of(L"\\\\?\\C:\\a");
    ASSERT_TRUE(identity.has_value());
    EXPECT_EQ(std::memcmp(&*identity, &stored, sizeof stored), 0);
    EXPECT_EQ(kinds, (std::vector<FILE_INFO_BY_HANDLE_CLASS>{FileIdInfo}));
    EXPECT_EQ(sizes, (std::vector<DWORD>{24}));
    EXPECT_EQ(closed, 1);
}

TEST_F(FileIdentityCallsTest, ThePathIsOpenedAsGivenForReading) {
    identity_answers(TRUE);
    (void)file_identity_of(L"C:/a");
    EXPECT_EQ(opened, (std::vector<OpenCall>{{L"C:/a", GENERIC_READ, share_everything, nullptr,
                                              OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr}}));
}

TEST_F(FileIdentityCallsTest, AFileThatCannotBeOpenedHasNoIdentityAndNothingIsClosed) {
    identity_answers(TRUE);
    open_error = ERROR_SHARING_VIOLATION;
    EXPECT_FALSE(file_identity_of(L"\\\\?\\C:\\a").has_value());
    EXPECT_TRUE(kinds.empty());
    EXPECT_EQ(closed, 0);
    EXPECT_EQ(closed_invalid, 0);
}

TEST_F(FileIdentityCallsTest, AFileWhoseIdentityCannotBeReadHasNoneAndIsClosed) {
    identity_answers(FALSE);
    EXPECT_FALSE(file_identity_of(L"\\\\?\\C:\\a").has_value());
    EXPECT_EQ(opened.size(), 1u);
    EXPECT_EQ(closed, 1);
}

TEST_F(FileIdentityCallsTest, AnEntryTakesTheIdentityOfItsFile) {
    identity_answers(TRUE);
    detail::FileCandidate entry;
    entry.path = L"\\\\?\\C:\\a";
    EXPECT_EQ(read_identity(entry), IdentityAnswer::read);
    EXPECT_TRUE(entry.has_file_id);
    EXPECT_EQ(entry.volume_serial, 0xE9EAEBECEDEEEFF0u);
    EXPECT_EQ(entry.file_id.low, 0xE1E2E3E4E5E6E7E8u);
    EXPECT_EQ(entry.file_id.high, 0xD9DADBDCDDDEDFE0u);
    EXPECT_EQ(opened.at(0).path, entry.path);
}

TEST_F(FileIdentityCallsTest, AnEntryWhoseIdentityCannotBeReadStaysAsItWas) {
    identity_answers(FALSE);
    detail::FileCandidate entry;
    entry.path = L"\\\\?\\C:\\a";
    entry.volume_serial = 5;
    entry.file_id = {6, 7};
    EXPECT_EQ(read_identity(entry), IdentityAnswer::unreadable);
    EXPECT_FALSE(entry.has_file_id);
    EXPECT_EQ(entry.volume_serial, 5u);
    EXPECT_EQ(entry.file_id, (detail::FileId{6, 7}));
}

TEST_F(FileIdentityCallsTest, AnEntryOfSizeZeroWhoseFileHasContentsStaysAsItWas) {
    identity_answers(TRUE);
    detail::FileCandidate entry;
    entry.path = L"\\\\?\\C:\\a";
    size_answer = std::int64_t{1} << 40;
    EXPECT_EQ(read_identity(entry), IdentityAnswer::not_empty);
    EXPECT_FALSE(entry.has_file_id);
    EXPECT_EQ(entry.volume_serial, 0u);
    EXPECT_EQ(closed, 1);
}

TEST_F(FileIdentityCallsTest, AFileWithContentsIsNotEmptyEvenIfItsIdentityCannotBeRead) {
    identity_answers(FALSE);
    detail::FileCandidate entry;
    entry.path = L"\\\\?\\C:\\a";
    size_answer = 7;
    EXPECT_EQ(read_identity(entry), IdentityAnswer::not_empty);
}

TEST_F(FileIdentityCallsTest, AnEmptyFileOrOneOfUnknownSizeGetsItsIdentity) {
    identity_answers(TRUE);
    for (const std::optional<std::int64_t> answer :
         {std::optional<std::int64_t>(0), std::optional<std::int64_t>()}) {
        detail::FileCandidate entry;
        entry.path = L"\\\\?\\C:\\a";
        size_answer = answer;
        EXPECT_EQ(read_identity(entry), IdentityAnswer::read);
        EXPECT_TRUE(entry.has_file_id);
    }
    EXPECT_EQ(sizes_asked, 2);
}

TEST_F(FileIdentityCallsTest, OnlyFilesOfEntriesOfSizeZeroAreQueriedForTheirSize) {
    identity_answers(TRUE);
    detail::FileCandidate entry;
    entry.path = L"\\\\?\\C:\\a";
    entry.size = 1;
    EXPECT_EQ(read_identity(entry), IdentityAnswer::read);
    EXPECT_EQ(sizes_asked, 0);
}

}  // namespace
}  // namespace larkspine::testing
