#include "console_text.h"

#include "base/win32_api.h"

#include <array>
#include <string>

#include "text.h"

namespace larkspine::check {
namespace {

void put(DWORD stream, std::string_view text) {
    const HANDLE handle = GetStdHandle(stream);
    DWORD mode = 0;
    DWORD written = 0;
    if (GetConsoleMode(handle, &mode)) {
        const std::wstring units = wide(text);
        WriteConsoleW(handle, units.data(), static_cast<DWORD>(units.size()), &written, nullptr);
    } else {
        WriteFile(handle, text.data(), static_cast<DWORD>(text.size()), &written, nullptr);
    }
}

// Reads up to the end of the line. Only plain ASCII matters.
std::string read_line() {
    std::string line;
    char byte = 0;
    DWORD got = 0;
    while (ReadFile(GetStdHandle(STD_INPUT_HANDLE), &byte, 1, &got, nullptr) && got == 1 &&
           byte != '\n')
        if (byte != '\r')
            line.push_back(byte);
    return line;
}

}  // namespace

void say(std::string_view text) {
    put(STD_OUTPUT_HANDLE, text);
}

void say_error(std::string_view text) {
    put(STD_ERROR_HANDLE, text);
}

bool agreed() {
    const std::string line = read_line();
    return line == "oui" || line == "yes" || line == "o" || line == "y";
}

void pause_in_own_window() {
    std::array<DWORD, 2> processes{};
    DWORD mode = 0;
    if (!GetConsoleMode(GetStdHandle(STD_INPUT_HANDLE), &mode) ||
        GetConsoleProcessList(processes.data(), 2) != 1)
        return;
    say("\nEntrée pour fermer / Enter to close\n");
    read_line();
}

}  // namespace larkspine::check
