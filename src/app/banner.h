// What the program calls itself, and the banner that opens every run. Portable.
#pragma once

#include <string_view>

namespace larkspine {

// The whole banner, from its empty first line to the empty line after the rule.
[[nodiscard]] std::wstring_view banner_text() noexcept;

}  // namespace larkspine
