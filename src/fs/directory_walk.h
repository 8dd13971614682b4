// The enumerator that works on every kind of root: lists folder after folder, without recursion of
// the call stack, and takes each file's metadata from the listing, so that no file is opened.
#pragma once

#include <string>
#include <vector>

#include "base/scan_records.h"

namespace larkspine::detail {

// Appends one candidate for each regular file below `root` (long form), in discovery order: path,
// name, attributes, size and the two times are set, all else is zero. Excluded entries and reparse
// points are neither recorded nor followed.
//
// False only when the root itself cannot be listed; `files` is untouched then. A folder inside that
// cannot be listed, or not to its end, is counted in `failures`, and the walk goes on. Runs on the
// scan thread; the progress counters may be read from another.
[[nodiscard]] bool walk_directory_tree(const std::wstring& root, std::vector<FileCandidate>& files,
                                       ScanStatistics& statistics, ScanProgress& progress);

}  // namespace larkspine::detail
