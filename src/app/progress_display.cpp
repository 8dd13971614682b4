#include "app/progress_display.h"

#include <algorithm>
#include <chrono>
#include <string_view>

#include "app/console_handle.h"
#include "app/progress_frame.h"

namespace larkspine {
namespace {

constexpr std::int64_t nanoseconds_per_millisecond = 1'000'000;
// Eight frames a second.
constexpr std::int64_t frame_interval = 125 * nanoseconds_per_millisecond;
// The longest single sleep, well below what the system's 32-bit count of milliseconds holds.
constexpr std::int64_t longest_sleep_ms = 24 * 60 * 60 * 1000;
constexpr SHORT block_height = 4;

std::int64_t now() {
    return std::chrono::duration_cast<std::chrono::nanoseconds>(
               std::chrono::steady_clock::now().time_since_epoch())
        .count();
}

void sleep_until(std::int64_t deadline) {
    for (std::int64_t left = deadline - now(); left > 0; left = deadline - now()) {
        const std::int64_t milliseconds =
            (left + nanoseconds_per_millisecond - 1) / nanoseconds_per_millisecond;
        Sleep(static_cast<DWORD>(std::min(milliseconds, longest_sleep_ms)));
    }
}

void write(HANDLE console, std::wstring_view text) {
    DWORD written = 0;
    WriteConsoleW(console, text.data(), static_cast<DWORD>(text.size()), &written, nullptr);
}

void hide_cursor(ProgressDisplay& display) {
    if (!GetConsoleCursorInfo(display.console, &display.saved_cursor))
        return;
    display.cursor_saved = true;
    CONSOLE_CURSOR_INFO hidden = display.saved_cursor;
    hidden.bVisible = FALSE;
    SetConsoleCursorInfo(display.console, &hidden);
}

void restore_cursor(const ProgressDisplay& display) {
    if (display.cursor_saved)
        SetConsoleCursorInfo(display.console, &display.saved_cursor);
}

// Makes room for the block below what has been written, scrolling at the bottom of the buffer;
// false when the console does not say where that is.
bool reserve_lines(ProgressDisplay& display) {
    write(display.console, L"\r\n\r\n\r\n\r\n");
    CONSOLE_SCREEN_BUFFER_INFO buffer = {};
    if (!GetConsoleScreenBufferInfo(display.console, &buffer))
        return false;
    display.origin = {
        0, std::max<SHORT>(static_cast<SHORT>(buffer.dwCursorPosition.Y - block_height), 0)};
    return true;
}

void place_cursor_below(const ProgressDisplay& display) {
    COORD below = {0, static_cast<SHORT>(display.origin.Y + block_height)};
    CONSOLE_SCREEN_BUFFER_INFO buffer = {};
    if (GetConsoleScreenBufferInfo(display.console, &buffer))
        below.Y = std::min<SHORT>(below.Y, static_cast<SHORT>(buffer.dwSize.Y - 1));
    SetConsoleCursorPosition(display.console, below);
}

void draw_until_stopped(const ProgressDisplay& display) {
    while (display.running) {
        sleep_until(now() + frame_interval);
        if (display.running)
            display.draw();
    }
}

}  // namespace

ProgressDisplay::~ProgressDisplay() {
    stop();
}

void ProgressDisplay::start(const ScanProgress& shown) {
    if (started)
        return;
    started = true;
    progress = &shown;
    start_time = now();
    enabled = false;
    cursor_saved = false;

    console = GetStdHandle(STD_OUTPUT_HANDLE);
    if (!is_console(console))
        return;
    hide_cursor(*this);
    if (!reserve_lines(*this)) {
        restore_cursor(*this);
        return;
    }
    enabled = true;
    draw();
    running = true;
    thread = std::thread(draw_until_stopped, std::cref(*this));
}

void ProgressDisplay::stop() {
    if (!started)
        return;
    running = false;
    // Joined before the last frame, so that two frames are never drawn at once.
    if (thread.joinable())
        thread.join();
    if (enabled) {
        draw();
        place_cursor_below(*this);
        restore_cursor(*this);
    }
    started = false;
}

void ProgressDisplay::draw() const {
    if (!enabled || progress == nullptr)
        return;
    const ProgressFrame frame = make_progress_frame(*progress, now() - start_time);
    for (std::size_t row = 0; row < frame.size(); ++row) {
        SetConsoleCursorPosition(
            console, {origin.X, static_cast<SHORT>(origin.Y + static_cast<SHORT>(row))});
        write(console, frame[row].text());
        // Erases what is left of a longer earlier text, such as a count that lost digits.
        write(console, L"        ");
    }
}

}  // namespace larkspine
