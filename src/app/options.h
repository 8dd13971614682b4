// The command line. Portable and pure: prints nothing.
#pragma once

#include <optional>
#include <string_view>

#include "base/scan_records.h"

namespace larkspine {

// The most workers that the command line may ask for, and the most that run by default: a program
// that runs in the background should not take the whole machine.
inline constexpr std::uint64_t max_workers = 64;
inline constexpr std::uint64_t max_default_workers = 4;

// The options in `argv`, whose element 0 is the program's name. Empty when any argument is invalid.
// Defaults: "C:\", the index in use, neither verification nor statistics, and default_workers() of
// the machine.
[[nodiscard]] std::optional<ScanOptions> parse_options(int argc, const wchar_t* const* argv);

// The number of workers for a machine with `hardware_threads` (0: unknown): as many when that is 1
// to 3, otherwise 4.
[[nodiscard]] std::uint64_t default_workers(unsigned hardware_threads) noexcept;

// `text` as a number of workers: decimal digits only, leading zeros allowed, 1 to 64.
[[nodiscard]] std::optional<std::uint64_t> parse_workers(std::wstring_view text) noexcept;

}  // namespace larkspine
