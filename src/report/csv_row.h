// The text of the report's rows, once the paths are UTF-8. Portable and pure; any thread.
// Everything is appended to the caller's text, whose room is used again from row to row.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace larkspine {

// One quoted field: `utf8` between double quotes, its own double quotes doubled. The bytes are not
// looked at otherwise. `utf8` must not look into `text`.
void append_csv_field(std::string& text, std::string_view utf8);

// What a row says besides its path.
struct CsvRow {
    std::uint64_t group = 0;  // from 1
    bool original = false;    // the first of its group
    std::uint64_t size = 0;   // bytes
};

// One row with its line end. The path alone is quoted.
void append_csv_row(std::string& text, const CsvRow& row, std::string_view utf8_path);

}  // namespace larkspine
