// Ownership of Win32 handles: one owner, one empty state, and closing keeps the last error, so that
// the caller can still report it. Also the one way in which this program opens users' files. A
// leaf. An owner belongs to one thread at a time.
#pragma once

#include "base/win32_api.h"

#include <memory>
#include <string>

namespace larkspine {

template <BOOL(WINAPI* Close)(HANDLE)>
struct KeepingLastError {
    void operator()(HANDLE handle) const noexcept {
        const DWORD before = GetLastError();
        Close(handle);
        SetLastError(before);
    }
};
using unique_handle = std::unique_ptr<void, KeepingLastError<CloseHandle>>;
using unique_find_handle = std::unique_ptr<void, KeepingLastError<FindClose>>;

// Takes over what CreateFileW returned; empty when the call failed (which it says with -1, not
// null).
[[nodiscard]] inline unique_handle own_handle(HANDLE raw) noexcept {
    return unique_handle(raw == INVALID_HANDLE_VALUE ? nullptr : raw);
}

// Other programs may go on reading, writing, renaming and deleting the file meanwhile.
inline constexpr DWORD share_everything = FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE;

// Opens an existing file for reading; empty when the system refuses. `flags`: file attributes and
// flags of CreateFileW. A folder cannot be opened this way.
[[nodiscard]] inline unique_handle open_for_reading(const std::wstring& path, DWORD flags) {
    return own_handle(CreateFileW(path.c_str(), GENERIC_READ, share_everything, nullptr,
                                  OPEN_EXISTING, flags, nullptr));
}

// Takes over what FindFirstFileExW returned; empty when the call failed.
[[nodiscard]] inline unique_find_handle own_find_handle(HANDLE raw) noexcept {
    return unique_find_handle(raw == INVALID_HANDLE_VALUE ? nullptr : raw);
}

// One 64-bit value from the two halves that Win32 hands out.
[[nodiscard]] constexpr std::uint64_t join_halves(DWORD high, DWORD low) noexcept {
    return (std::uint64_t{high} << 32) | low;
}

[[nodiscard]] constexpr std::uint64_t filetime_value(const FILETIME& time) noexcept {
    return join_halves(time.dwHighDateTime, time.dwLowDateTime);
}

}  // namespace larkspine
