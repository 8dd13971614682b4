// The process that watches: it has a console of its own, starts the program on it, and reads back
// what is drawn there. Started by the kit as `windows_check.exe --watch`.
#pragma once

namespace larkspine::check {

// FILE CODE_PAGE STOP_AT PROGRAM ARGUMENT...: what was seen is in the file afterwards. Returns the
// exit code of this process.
int watch_screen(int argc, const wchar_t* const* argv);

}  // namespace larkspine::check
