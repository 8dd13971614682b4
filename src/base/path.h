// The path operations that call the system: the absolute long form, and the one ordering. Those
// that only look at the text are in path_forms. Neither opens a file. Any thread may call them;
// to_long_path depends on the process's current directory.
#pragma once

#include <string>
#include <string_view>

#include "base/path_forms.h"

namespace larkspine {

// The absolute form of `path` with the long-path prefix, which lifts the limit of 260 characters.
// A path that already has the prefix comes back unchanged, canonical or not. When the system cannot
// give the absolute form, the path comes back as it is, and whoever opens it meets the error.
// No trailing separator is added or removed.
[[nodiscard]] std::wstring to_long_path(const std::wstring& path);

// The one ordering for every sort of paths: case-insensitive ordinal, then case-sensitive ordinal,
// then code units with the shorter first. A strict weak ordering; total between different paths.
[[nodiscard]] bool path_less(std::wstring_view a, std::wstring_view b) noexcept;

}  // namespace larkspine
