// The exclusions of this process: the system folder and the folders of the index files, which the
// environment names. Any thread may ask.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace larkspine {

// The folders of the index files in comparison form, read from the environment at the first call
// and kept for the life of the process.
[[nodiscard]] const std::vector<std::wstring>& excluded_folders();

// Whether `path` must not be scanned.
[[nodiscard]] bool is_excluded_path(std::wstring_view path);

}  // namespace larkspine
