// Access rights and tokens.
#pragma once

#include <string>

#include "base/win32_handle.h"

namespace larkspine::check {

// Whether this process has administrative rights.
[[nodiscard]] bool is_administrator();

// This process's token without the administrators' group and without privileges. Throws
// SystemError.
[[nodiscard]] unique_handle restricted_token();

// Makes a folder that only its user, the administrators and the system may use, whatever its parent
// grants. A run without administrative rights writes there too. Throws SystemError.
void make_own_folder(const std::wstring& path);

// Takes from everyone the right to read a file, or to list a folder. Throws SystemError.
void deny_reading(const std::wstring& path);
// Restores the right that deny_reading took, as far as the system allows it.
void allow_reading(const std::wstring& path) noexcept;

}  // namespace larkspine::check
