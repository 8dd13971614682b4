// A console of the test program alone, without a window, and screen buffers to draw into and to
// read back cell by cell.
#pragma once

#include <string>
#include <vector>

#include "base/win32_handle.h"

namespace larkspine::testing {

// Clears the three standard handles and restores them. A new console sets the empty ones, and
// closes all three when it is freed; these must not be the program's own output.
class StandardHandlesAside {
  public:
    StandardHandlesAside();
    ~StandardHandlesAside();
    StandardHandlesAside(const StandardHandlesAside&) = delete;
    StandardHandlesAside& operator=(const StandardHandlesAside&) = delete;

  private:
    HANDLE input_;
    HANDLE output_;
    HANDLE error_;
};

// The console exists while this object lives. It is not available when the console that would be
// freed carries the program's own output.
class HeadlessConsole {
  public:
    HeadlessConsole();
    ~HeadlessConsole();
    HeadlessConsole(const HeadlessConsole&) = delete;
    HeadlessConsole& operator=(const HeadlessConsole&) = delete;

    [[nodiscard]] bool available() const { return available_; }

  private:
    bool available_ = false;
};

// A screen buffer of the console, blank at first. Throws std::runtime_error when it cannot be made.
class ScreenBuffer {
  public:
    explicit ScreenBuffer(COORD size = {80, 25});

    [[nodiscard]] HANDLE handle() const { return buffer_.get(); }
    void put_cursor(COORD place);
    void set_cursor(CONSOLE_CURSOR_INFO cursor);
    [[nodiscard]] COORD cursor_place() const;
    [[nodiscard]] CONSOLE_CURSOR_INFO cursor() const;
    // Every cell of a row.
    [[nodiscard]] std::wstring cells(SHORT row) const;
    // A row without the blanks at its end.
    [[nodiscard]] std::wstring row(SHORT number) const;
    [[nodiscard]] std::vector<std::wstring> rows(SHORT first, SHORT count) const;

  private:
    unique_handle buffer_;
    COORD size_;
};

}  // namespace larkspine::testing
