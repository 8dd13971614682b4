#include "support/fake_console.h"

#include <algorithm>
#include <string_view>

#include "support/file_writes.h"
#include "support/import_replacement.h"

namespace larkspine::testing {
namespace {

std::string utf8(std::wstring_view text) {
    std::string bytes(3 * text.size(), '\0');
    bytes.resize(static_cast<std::size_t>(
        WideCharToMultiByte(CP_UTF8, 0, text.data(), static_cast<int>(text.size()), bytes.data(),
                            static_cast<int>(bytes.size()), nullptr, nullptr)));
    return bytes;
}

}  // namespace

FakeConsole::FakeConsole() {
    hooks().GetStdHandle = [this](DWORD which) {
        return which == STD_INPUT_HANDLE ? input : which == STD_OUTPUT_HANDLE ? output : error;
    };
    hooks().GetConsoleMode = [this](HANDLE handle, LPDWORD got) {
        // The program should never ask without a handle, so that is recorded too.
        return is_mine(handle) || handle == nullptr || handle == INVALID_HANDLE_VALUE
                   ? mode(handle, got)
                   : real_imports().GetConsoleMode(handle, got);
    };
    hooks().GetConsoleCursorInfo = [this](HANDLE handle, PCONSOLE_CURSOR_INFO info) -> BOOL {
        if (handle != output)
            return record("GetConsoleCursorInfo", "of another handle");
        *info = cursor;
        return record("GetConsoleCursorInfo");
    };
    hooks().SetConsoleCursorInfo = [this](HANDLE handle, const CONSOLE_CURSOR_INFO* info) -> BOOL {
        return handle == output ? set_cursor(*info)
                                : record("SetConsoleCursorInfo", "of another handle");
    };
    hooks().GetConsoleScreenBufferInfo = [this](HANDLE handle, PCONSOLE_SCREEN_BUFFER_INFO info) {
        info->dwSize = size;
        info->dwCursorPosition = place;
        return record("GetConsoleScreenBufferInfo", handle == output ? "" : "of another handle");
    };
    hooks().SetConsoleCursorPosition = [this](HANDLE handle, COORD to) {
        return record("SetConsoleCursorPosition",
                      std::to_string(to.X) + "," + std::to_string(to.Y) +
                          (handle == output ? "" : " of another handle"));
    };
    hooks().WriteConsoleW = [this](HANDLE handle, const void* text, DWORD count, LPDWORD written,
                                   LPVOID reserved) {
        if (handle != output)
            return real_imports().WriteConsoleW(handle, text, count, written, reserved);
        return write("WriteConsoleW", utf8({static_cast<const wchar_t*>(text), count}), count,
                     written);
    };
    hooks().ReadConsoleW = [this](HANDLE handle, LPVOID text, DWORD count, LPDWORD got, auto) {
        *static_cast<wchar_t*>(text) = L'x';
        *got = 1;
        return record("ReadConsoleW",
                      std::to_string(count) + (handle == input ? "" : " from another handle"));
    };
    answer_writes([this](const FileWrite& made, DWORD& written) -> std::optional<BOOL> {
        if (made.file != error || !is_mine(made.file))
            return std::nullopt;
        return write("WriteFile", made.text(), made.length, &written);
    });
    hooks().GetConsoleProcessList = [this](LPDWORD identifiers, DWORD capacity) {
        return list(identifiers, capacity);
    };
    hooks().TerminateProcess = [this](HANDLE process, UINT code) -> BOOL {
        if (process != GetCurrentProcess())
            return real_imports().TerminateProcess(process, code);
        record("TerminateProcess", std::to_string(code));
        throw ProcessEnded{code};
    };
}

HANDLE FakeConsole::fake_handle(std::uintptr_t number) {
    return reinterpret_cast<HANDLE>(0x7ffe0000 + number);
}

FakeConsole::Calls FakeConsole::calls() const {
    const std::lock_guard lock(mutex_);
    return calls_;
}

FakeConsole::Calls FakeConsole::calls(const std::string& beginning) const {
    Calls all = calls();
    std::erase_if(all, [&](const std::string& call) { return !call.starts_with(beginning); });
    return all;
}

BOOL FakeConsole::record(const std::string& name, const std::string& details) {
    const std::string call = details.empty() ? name : name + " " + details;
    {
        const std::lock_guard lock(mutex_);
        calls_.push_back(call);
    }
    if (on_call)
        on_call(call);
    return failing.contains(name) ? FALSE : TRUE;
}

bool FakeConsole::is_mine(HANDLE handle) const {
    for (std::uintptr_t number : {1, 2, 3})
        if (handle == fake_handle(number))
            return true;
    return false;
}

BOOL FakeConsole::mode(HANDLE handle, LPDWORD mode) {
    *mode = 3;
    const char* const name = handle == input ? "input" : handle == output ? "output" : "error";
    return record("GetConsoleMode", name) && !redirected.contains(handle) ? TRUE : FALSE;
}

BOOL FakeConsole::set_cursor(const CONSOLE_CURSOR_INFO& set) {
    const BOOL done = record("SetConsoleCursorInfo",
                             std::to_string(set.dwSize) + (set.bVisible ? " visible" : " hidden"));
    if (done)
        cursor = set;
    return done;
}

BOOL FakeConsole::write(const std::string& name, const std::string& text, DWORD count,
                        LPDWORD written) {
    *written = count;
    return record(name, text);
}

DWORD FakeConsole::list(LPDWORD identifiers, DWORD capacity) {
    const BOOL done = record("GetConsoleProcessList", std::to_string(capacity));
    // Writes nothing when there is no room for all.
    if (done && processes.size() <= capacity)
        std::copy(processes.begin(), processes.end(), identifiers);
    return done ? static_cast<DWORD>(processes.size()) : 0;
}

}  // namespace larkspine::testing
