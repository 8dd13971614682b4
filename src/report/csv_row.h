// The text of the report's rows but for the conversion of their paths. Portable and pure; any
// thread. Everything is appended to the caller's text, whose room is used again from row to row.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

namespace larkspine {

// Doubles each double quote from `start` on, as a quoted field wants it.
void double_quotes(std::string& text, std::size_t start);

// What a row says besides its path. The rows of a group share a number and mostly a size, so both
// are put into digits only when they change.
class CsvRowFrame {
  public:
    // The rows that follow are those of group `number`, from 1.
    void begin_group(std::uint64_t number);
    // What stands before the path; `original` is the first row of its group.
    void append_start(std::string& text, bool original) const;
    // What stands behind the path, `size` in bytes, with the end of the line.
    void append_end(std::string& text, std::uint64_t size);

  private:
    std::string number_;
    std::uint64_t size_ = 0;
    std::string end_ = ";0\r\n";
};

}  // namespace larkspine
