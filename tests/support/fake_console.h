// A console that exists only as replaced imports. It records every call in order, and fails those
// that a test names. Calls that concern other handles go to the real system.
//
// A call reads like "WriteConsoleW <text>" in UTF-8, "SetConsoleCursorPosition 0,6",
// "SetConsoleCursorInfo 25 hidden", "TerminateProcess 3".
#pragma once

#include "base/win32_api.h"

#include <cstdint>
#include <functional>
#include <mutex>
#include <set>
#include <string>
#include <vector>

namespace larkspine::testing {

// Thrown in place of ending the process.
struct ProcessEnded {
    UINT code;
};

// Sets the hooks that it needs; its test owns an ImportReset.
class FakeConsole {
  public:
    using Calls = std::vector<std::string>;

    FakeConsole();
    FakeConsole(const FakeConsole&) = delete;
    FakeConsole& operator=(const FakeConsole&) = delete;

    [[nodiscard]] static HANDLE fake_handle(std::uintptr_t number);

    // The calls so far.
    [[nodiscard]] Calls calls() const;
    // Of those, the ones that start with `beginning`.
    [[nodiscard]] Calls calls(const std::string& beginning) const;

    // Set by the test before the first call.
    HANDLE input = fake_handle(1);
    HANDLE output = fake_handle(2);
    HANDLE error = fake_handle(3);
    std::set<HANDLE> redirected;              // those of the three that are no console
    std::set<std::string> failing;            // names of functions
    CONSOLE_CURSOR_INFO cursor = {25, TRUE};  // replaced by what was set last
    COORD size = {80, 25};
    COORD place = {0, 10};                                   // of the cursor, as queried
    std::vector<DWORD> processes = {GetCurrentProcessId()};  // attached to the console
    std::function<void(const std::string& call)> on_call;    // after it was recorded

  private:
    BOOL record(const std::string& name, const std::string& details = "");
    bool is_mine(HANDLE handle) const;
    BOOL mode(HANDLE handle, LPDWORD mode);
    BOOL set_cursor(const CONSOLE_CURSOR_INFO& set);
    BOOL write(const std::string& name, const std::string& text, DWORD count, LPDWORD written);
    DWORD list(LPDWORD identifiers, DWORD capacity);

    mutable std::mutex mutex_;
    Calls calls_;
};

}  // namespace larkspine::testing
