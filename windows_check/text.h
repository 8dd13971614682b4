// Converts text between the two encodings of the kit: UTF-16 of the system, UTF-8 of files. Usable
// from any thread.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace larkspine::check {

// Empty when `text` is no valid UTF-16: a path with an unpaired surrogate has no UTF-8.
[[nodiscard]] std::string strict_utf8(std::wstring_view text);
// Invalid units become U+FFFD. For texts that people read.
[[nodiscard]] std::string utf8(std::wstring_view text);
[[nodiscard]] std::wstring wide(std::string_view text);

[[nodiscard]] std::vector<std::string> split_lines(std::string_view text);

// `count` bytes that differ for each seed, with a period longer than any buffer.
[[nodiscard]] std::string patterned(std::size_t count, unsigned seed);

}  // namespace larkspine::check
