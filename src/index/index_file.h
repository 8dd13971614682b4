// Loading and saving the index file of a root. A reader never sees half an index: a save goes to a
// temporary file that is flushed and then renamed over the old one. Called on the scan thread;
// several processes may save the same root, and the last rename wins.
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

#include "base/scan_records.h"

namespace larkspine::detail {

// The snapshot stored for `root` (long form). Empty when there is no usable index, for whatever
// reason: missing, unreadable, damaged, of another version or root.
[[nodiscard]] std::optional<IndexSnapshot> load_index(const std::wstring& root);

// Stores `snapshot` as the index of its root. False when it could not; the old index, if any, is
// then as it was, and the temporary file is deleted. A process that ends in between leaves at most
// its temporary file.
[[nodiscard]] bool save_index(const IndexSnapshot& snapshot);

// The complete contents of a file; empty when it cannot be opened or read to its end.
[[nodiscard]] std::optional<std::vector<std::byte>> read_whole_file(const std::wstring& path);

}  // namespace larkspine::detail
