// Other programs of the test build, started from a test.
#pragma once

#include <string>

#include "fs/win32_handle.h"

namespace larkspine::testing {

// Starts NAME.exe, which lies in the test program's own folder, with these arguments and this
// process's environment. Throws std::runtime_error when it does not start.
[[nodiscard]] unique_handle start_child(const std::wstring& name, const std::wstring& arguments);

// Waits for the end and returns the exit code; throws after a minute.
[[nodiscard]] unsigned exit_code_of(const unique_handle& child);

}  // namespace larkspine::testing
