#include "app/console_pause.h"

#include "base/win32_api.h"

#include <iostream>
#include <string_view>

#include "app/console_handle.h"

namespace larkspine {
namespace {

constexpr std::wstring_view request = L"\r\nAppuyez sur Entrée pour fermer Larkspine...";
static_assert(request.size() == 45);

void flush(std::wostream& stream) {
    try {
        stream.flush();
    } catch (...) {
        // There is no other stream on which to report that this one failed.
    }
}

}  // namespace

std::atomic<bool> pause_on_exit{false};

bool owns_console() {
    if (!is_console(GetStdHandle(STD_INPUT_HANDLE)) || !is_console(GetStdHandle(STD_OUTPUT_HANDLE)))
        return false;
    DWORD processes[2] = {};
    return GetConsoleProcessList(processes, 2) == 1 && processes[0] == GetCurrentProcessId();
}

void show_console_cursor() {
    const HANDLE console = GetStdHandle(STD_OUTPUT_HANDLE);
    CONSOLE_CURSOR_INFO cursor = {};
    if (!is_valid_handle(console) || !GetConsoleCursorInfo(console, &cursor))
        return;
    cursor.bVisible = TRUE;
    SetConsoleCursorInfo(console, &cursor);
}

void pause_if_owned_console() {
    if (!pause_on_exit.exchange(false))
        return;
    show_console_cursor();
    const HANDLE output = GetStdHandle(STD_OUTPUT_HANDLE);
    DWORD count = 0;
    if (is_valid_handle(output))
        WriteConsoleW(output, request.data(), static_cast<DWORD>(request.size()), &count, nullptr);
    const HANDLE input = GetStdHandle(STD_INPUT_HANDLE);
    wchar_t typed = L'\0';
    if (is_valid_handle(input))
        ReadConsoleW(input, &typed, 1, &count, nullptr);
}

void flush_and_pause() {
    flush(std::wcout);
    flush(std::wcerr);
    pause_if_owned_console();
}

}  // namespace larkspine
