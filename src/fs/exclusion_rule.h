// Which paths are never scanned: the system folder of drive C: and the folders of the index files.
// Both enumerators and the journal delta ask for every entry, so a test builds no string.
#pragma once

#include <span>
#include <string>
#include <string_view>

namespace larkspine {

// Whether `path` must not be scanned. The list of index folders is read from the environment at the
// first call that needs it, which one for the system folder does not, and kept for the life of the
// process; any thread may make that first call.
// The system folder is C:\Windows alone: a folder of that name on another drive is data.
[[nodiscard]] bool is_excluded_path(std::wstring_view path);

// The test itself, against the given index folders (comparison form). Pure; allocates nothing.
[[nodiscard]] bool is_excluded_from(std::wstring_view path,
                                    std::span<const std::wstring> index_folders) noexcept;

}  // namespace larkspine
