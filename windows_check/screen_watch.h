// The process that watches: it has its own console, starts the program on it, and reads the screen
// back. Started by the kit as `windows_check.exe --watch`.
#pragma once

namespace larkspine::check {

// FILE CODE_PAGE STOP_AT PROGRAM ARGUMENT...: writes the observation into the file. Returns the
// exit code of this process.
int watch_screen(int argc, const wchar_t* const* argv);

}  // namespace larkspine::check
