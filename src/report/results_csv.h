// The report: a semicolon-separated UTF-8 file with a byte-order mark, made for spreadsheets, one
// row per file of each group. Called on the main thread after the scan.
#pragma once

#include <optional>
#include <span>
#include <string>
#include <string_view>

#include "base/scan_records.h"

namespace larkspine {

// The full path of the report to create: a name made of the local time, to the second, in the
// current directory. Two reports of one second share a name, and the later replaces the earlier.
// Empty when the current directory cannot be read or changed between the two calls that it takes.
[[nodiscard]] std::optional<std::wstring> results_file_path();

// Writes the groups to `path`, groups ordered by their least path and entries by path, whatever
// order they came in. False when the file cannot be created or not written whole; what was written
// before stays. Empty groups are left out and take no number.
[[nodiscard]] bool write_results_csv(const std::wstring& path,
                                     std::span<const DuplicateGroup> groups);

// `path` as one quoted CSV field in UTF-8, inner quotes doubled. A path that is not valid UTF-16
// gives an empty quoted field rather than one with replacement characters.
[[nodiscard]] std::string csv_quote_utf8(std::wstring_view path);

}  // namespace larkspine
