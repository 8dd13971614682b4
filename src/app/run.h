// One run, from the command line to the exit code. All text goes through std::wcout and std::wcerr,
// which the caller has made able to carry it (wide_output). Called on the main thread.
#pragma once

namespace larkspine {

// One exit code for each outcome.
inline constexpr int exit_success = 0;
inline constexpr int exit_invalid_parameters = 1;
inline constexpr int exit_folder_not_accessible = 2;
inline constexpr int exit_exception = 3;
inline constexpr int exit_report_not_written = 4;
// Ctrl+C and its like during a scan: what Windows gives a program that does not handle them.
inline constexpr int exit_interrupted = static_cast<int>(0xC000013A);

// Banner, options, scan, report, summary. Returns the exit code of a normal outcome, exit_exception
// when the scan threw, or exit_interrupted, after which run_guarded does not pause. Exceptions from
// anywhere else escape.
[[nodiscard]] int run(int argc, const wchar_t* const* argv);

// Calls run() and turns an exception that escapes it into a message on the error stream and
// exit_exception, with the console cursor visible again. Flushes both streams and pauses.
[[nodiscard]] int run_guarded(int argc, const wchar_t* const* argv);

}  // namespace larkspine
