// The pause before a console window of the program's own closes, and the cursor, which the progress
// block hides. Every console call may fail; a failure skips its own step.
#pragma once

#include <atomic>

namespace larkspine {

// Whether the program waits for Enter before it ends. Set once at the start; the first thread that
// pauses clears it.
extern std::atomic<bool> pause_on_exit;

// Whether standard input and output are consoles to which this process alone is attached, as after
// a double click. A program started from a command prompt shares the console with it.
[[nodiscard]] bool owns_console();

// Makes the cursor of the standard output visible, keeping its size.
void show_console_cursor();

// When pause_on_exit is set: asks for Enter and waits for it. At most once per process, even when a
// fault strikes during the pause.
void pause_if_owned_console();

// Flushes the wide standard streams, whatever they throw, and pauses.
void flush_and_pause();

}  // namespace larkspine
