// Questions about a root or a file before it is touched: is it a whole NTFS volume, what is its
// change journal, what identifies a file. Each answers by its result alone (false, the invalid
// handle, an empty optional) and keeps no state, so any thread may ask.
#pragma once

#include "base/win32_api.h"

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "base/file_identity.h"

namespace larkspine {

// Whether `path` names the root folder of a lettered volume (C:\, \\?\C:\, c:/). Pure.
[[nodiscard]] bool is_drive_root(std::wstring_view path) noexcept;

// Whether `path` is a drive root whose file system is NTFS.
[[nodiscard]] bool is_ntfs_drive_root(const std::wstring& path);

// Opens the volume of a drive root for reading, which takes administrative rights. The caller owns
// the handle and closes it with CloseHandle. INVALID_HANDLE_VALUE when `path` is no drive root (no
// call is made then) or the system refuses.
[[nodiscard]] HANDLE open_volume(const std::wstring& path);

// The change journal of an open volume; empty when it has none that is active.
[[nodiscard]] std::optional<USN_JOURNAL_DATA_V0> query_usn_journal(HANDLE volume);

// The volume serial number of a drive root.
[[nodiscard]] std::optional<std::uint32_t> volume_serial_of(const std::wstring& root);

// The reference of the root folder and the serial number of a drive root; empty when either cannot
// be read.
[[nodiscard]] std::optional<detail::VolumeIdentity> volume_identity_of(const std::wstring& root);

// The 64-bit file reference number of a file or folder.
[[nodiscard]] std::optional<std::uint64_t> file_reference_of(const std::wstring& path);

// The volume serial number and 128-bit identifier of a file. Not for folders, which cannot be
// opened this way.
[[nodiscard]] std::optional<FILE_ID_INFO> file_identity_of(const std::wstring& path);

// The same of a file that is open.
[[nodiscard]] std::optional<FILE_ID_INFO> identity_of_open(HANDLE file);

}  // namespace larkspine
