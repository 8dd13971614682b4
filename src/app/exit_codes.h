// One exit code for each outcome of a run. A leaf.
#pragma once

namespace larkspine {

inline constexpr int exit_success = 0;
inline constexpr int exit_invalid_parameters = 1;
inline constexpr int exit_folder_not_accessible = 2;
inline constexpr int exit_exception = 3;
inline constexpr int exit_report_not_written = 4;
// Ctrl+C and its like during a scan: what Windows gives a program that does not handle them.
inline constexpr int exit_interrupted = static_cast<int>(0xC000013A);

}  // namespace larkspine
