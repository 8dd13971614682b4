#include "support/headless_console.h"

#include <stdexcept>

namespace larkspine::testing {
namespace {

void set_standard_handles(HANDLE input, HANDLE output, HANDLE error) {
    SetStdHandle(STD_INPUT_HANDLE, input);
    SetStdHandle(STD_OUTPUT_HANDLE, output);
    SetStdHandle(STD_ERROR_HANDLE, error);
}

}  // namespace

StandardHandlesAside::StandardHandlesAside()
    : input_(GetStdHandle(STD_INPUT_HANDLE)),
      output_(GetStdHandle(STD_OUTPUT_HANDLE)),
      error_(GetStdHandle(STD_ERROR_HANDLE)) {
    set_standard_handles(nullptr, nullptr, nullptr);
}

StandardHandlesAside::~StandardHandlesAside() {
    set_standard_handles(input_, output_, error_);
}

HeadlessConsole::HeadlessConsole() {
    DWORD mode = 0;
    if (GetConsoleMode(GetStdHandle(STD_OUTPUT_HANDLE), &mode))
        return;
    const StandardHandlesAside aside;
    FreeConsole();
    available_ = AllocConsole() != FALSE;
}

HeadlessConsole::~HeadlessConsole() {
    const StandardHandlesAside aside;
    if (available_)
        FreeConsole();
}

ScreenBuffer::ScreenBuffer(COORD size)
    : buffer_(own_handle(CreateConsoleScreenBuffer(GENERIC_READ | GENERIC_WRITE,
                                                   FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr,
                                                   CONSOLE_TEXTMODE_BUFFER, nullptr))),
      size_(size) {
    // A buffer is never smaller than its window, so the window shrinks first.
    const SMALL_RECT corner = {0, 0, 0, 0};
    if (!buffer_ || !SetConsoleWindowInfo(handle(), TRUE, &corner) ||
        !SetConsoleScreenBufferSize(handle(), size))
        throw std::runtime_error("no screen buffer of that size");
}

void ScreenBuffer::put_cursor(COORD place) {
    if (!SetConsoleCursorPosition(handle(), place))
        throw std::runtime_error("SetConsoleCursorPosition failed");
}

void ScreenBuffer::set_cursor(CONSOLE_CURSOR_INFO cursor) {
    if (!SetConsoleCursorInfo(handle(), &cursor))
        throw std::runtime_error("SetConsoleCursorInfo failed");
}

COORD ScreenBuffer::cursor_place() const {
    CONSOLE_SCREEN_BUFFER_INFO info = {};
    if (!GetConsoleScreenBufferInfo(handle(), &info))
        throw std::runtime_error("GetConsoleScreenBufferInfo failed");
    return info.dwCursorPosition;
}

CONSOLE_CURSOR_INFO ScreenBuffer::cursor() const {
    CONSOLE_CURSOR_INFO info = {};
    if (!GetConsoleCursorInfo(handle(), &info))
        throw std::runtime_error("GetConsoleCursorInfo failed");
    return info;
}

std::wstring ScreenBuffer::cells(SHORT row) const {
    std::wstring text(static_cast<std::size_t>(size_.X), L'\0');
    DWORD got = 0;
    ReadConsoleOutputCharacterW(handle(), text.data(), static_cast<DWORD>(text.size()), {0, row},
                                &got);
    text.resize(got);
    return text;
}

std::wstring ScreenBuffer::row(SHORT number) const {
    const std::wstring text = cells(number);
    return text.substr(0, text.find_last_not_of(L' ') + 1);
}

std::vector<std::wstring> ScreenBuffer::rows(SHORT first, SHORT count) const {
    std::vector<std::wstring> texts;
    for (SHORT i = 0; i < count; ++i)
        texts.push_back(row(static_cast<SHORT>(first + i)));
    return texts;
}

}  // namespace larkspine::testing
