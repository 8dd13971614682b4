// Where index files live: the per-user directory and the file of one scan root. Prints nothing;
// every failure is an empty result. Reads the environment. Called on the scan thread, and by the
// first exclusion test, on whichever thread that is.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "index/index_key.h"

namespace larkspine {

// The value of an environment variable. Empty when it is absent, has an empty value, or changed its
// length between the two calls that reading it takes.
[[nodiscard]] std::optional<std::wstring> read_environment(const wchar_t* name);

// The directory of the index files, created if missing: LARKSPINE_INDEX_DIRECTORY exactly as given
// (one level deep, without falling back when it cannot be made), otherwise
// %LOCALAPPDATA%\Larkspine\indexes. Empty when it cannot be determined or created.
[[nodiscard]] std::optional<std::wstring> index_directory();

// The full path of the index file of `root`, which is in long form. Empty when there is no
// directory.
[[nodiscard]] std::optional<std::wstring> index_file_path(std::wstring_view root);

// The folders that hold or may hold index files, in comparison form: the application folder below
// LOCALAPPDATA, then LARKSPINE_INDEX_DIRECTORY, each only when its variable is set. Neither creates
// a folder nor looks at the disk.
[[nodiscard]] std::vector<std::wstring> index_exclusions();

}  // namespace larkspine
