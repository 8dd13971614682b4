// Other programs of the test build, started from a test.
#pragma once

#include <cstdint>
#include <string>

#include "base/win32_handle.h"

namespace larkspine::testing {

// Starts NAME.exe, which lies in the test program's own folder, with these arguments and this
// process's environment. Throws std::runtime_error when it does not start.
[[nodiscard]] unique_handle start_child(const std::wstring& name, const std::wstring& arguments);

// Waits for the end and returns the exit code; throws after a minute.
[[nodiscard]] unsigned exit_code_of(const unique_handle& child);

struct EndedChild {
    unsigned code;
    std::string errors;      // what it wrote to its standard error
    std::uint64_t end_time;  // GetTickCount64, which all processes share
};

// Starts it like start_child, without standard input and output, and waits for its end like
// exit_code_of.
[[nodiscard]] EndedChild run_child(const std::wstring& name, const std::wstring& arguments);

}  // namespace larkspine::testing
