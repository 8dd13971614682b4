#include "fs/volume.h"

#include "base/case_folding.h"
#include "base/path_forms.h"
#include "base/win32_handle.h"

namespace larkspine {

bool is_drive_root(std::wstring_view path) noexcept {
    const ComparisonForm view(path);
    return view.size() == 3 && view.at(0) >= L'a' && view.at(0) <= L'z' && view.at(1) == L':' &&
           view.at(2) == L'\\';
}

bool is_ntfs_drive_root(const std::wstring& path) {
    if (!is_drive_root(path))
        return false;
    wchar_t file_system[MAX_PATH] = {};
    if (!GetVolumeInformationW(path.c_str(), nullptr, 0, nullptr, nullptr, nullptr, file_system,
                               MAX_PATH))
        return false;
    // Not the comparison form of paths: nothing is trimmed from a file system's name.
    const std::wstring_view name(file_system);
    const std::wstring_view ntfs = L"ntfs";
    if (name.size() != ntfs.size())
        return false;
    for (std::size_t i = 0; i < ntfs.size(); ++i)
        if (fold_code_unit(name[i]) != ntfs[i])
            return false;
    return true;
}

HANDLE open_volume(const std::wstring& path) {
    if (!is_drive_root(path))
        return INVALID_HANDLE_VALUE;
    const wchar_t device[] = {L'\\', L'\\', L'.', L'\\', ComparisonForm(path).at(0), L':', L'\0'};
    return CreateFileW(device, GENERIC_READ, share_everything, nullptr, OPEN_EXISTING,
                       FILE_ATTRIBUTE_NORMAL, nullptr);
}

std::optional<USN_JOURNAL_DATA_V0> query_usn_journal(HANDLE volume) {
    USN_JOURNAL_DATA_V0 journal = {};
    DWORD returned = 0;
    if (!DeviceIoControl(volume, FSCTL_QUERY_USN_JOURNAL, nullptr, 0, &journal, sizeof journal,
                         &returned, nullptr) ||
        returned < sizeof journal)
        return std::nullopt;
    return journal;
}

std::optional<std::uint32_t> volume_serial_of(const std::wstring& root) {
    DWORD serial = 0;
    if (!GetVolumeInformationW(root.c_str(), nullptr, 0, &serial, nullptr, nullptr, nullptr, 0))
        return std::nullopt;
    return serial;
}

std::optional<std::uint64_t> file_reference_of(const std::wstring& path) {
    // Backup semantics let a folder be opened; no access to data is asked for.
    const unique_handle file =
        own_handle(CreateFileW(path.c_str(), 0, share_everything, nullptr, OPEN_EXISTING,
                               FILE_FLAG_BACKUP_SEMANTICS, nullptr));
    BY_HANDLE_FILE_INFORMATION information = {};
    if (!file || !GetFileInformationByHandle(file.get(), &information))
        return std::nullopt;
    return join_halves(information.nFileIndexHigh, information.nFileIndexLow);
}

std::optional<detail::VolumeIdentity> volume_identity_of(const std::wstring& root) {
    const std::optional<std::uint64_t> root_reference = file_reference_of(root);
    const std::optional<std::uint32_t> serial = volume_serial_of(root);
    if (!root_reference || !serial)
        return std::nullopt;
    return detail::VolumeIdentity{*root_reference, *serial};
}

std::optional<FILE_ID_INFO> identity_of_open(HANDLE file) {
    FILE_ID_INFO identity = {};
    if (!GetFileInformationByHandleEx(file, FileIdInfo, &identity, sizeof identity))
        return std::nullopt;
    return identity;
}

std::optional<FILE_ID_INFO> file_identity_of(const std::wstring& path) {
    const unique_handle file = open_for_reading(path, FILE_ATTRIBUTE_NORMAL);
    return file ? identity_of_open(file.get()) : std::nullopt;
}

}  // namespace larkspine
