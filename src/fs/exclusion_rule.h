// Which paths are never scanned. Portable and pure; any thread. Asked for every entry, so a test
// builds no string.
#pragma once

#include <span>
#include <string>
#include <string_view>

namespace larkspine {

// Whether `path` is C:\Windows or one of `index_folders` (in comparison form), or lies below. The
// system folder is that of drive C alone: a folder of that name on another drive is data. An index
// folder that is a drive root excludes itself and nothing below. Allocates nothing.
[[nodiscard]] bool is_excluded_from(std::wstring_view path,
                                    std::span<const std::wstring> index_folders) noexcept;

}  // namespace larkspine
