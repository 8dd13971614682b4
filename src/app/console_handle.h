// Tells a console from a file or a pipe. When a test fails, there is no console.
#pragma once

#include "base/win32_api.h"

namespace larkspine {

// Whether GetStdHandle returned a handle.
[[nodiscard]] inline bool is_valid_handle(HANDLE handle) noexcept {
    return handle != nullptr && handle != INVALID_HANDLE_VALUE;
}

[[nodiscard]] inline bool is_console(HANDLE handle) noexcept {
    DWORD mode = 0;
    return is_valid_handle(handle) && GetConsoleMode(handle, &mode);
}

}  // namespace larkspine
