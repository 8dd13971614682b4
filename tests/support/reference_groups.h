// The groups that a scan must find, by the simplest method: every file is compared with every
// other, byte by byte. Shares no code with the engine.
#pragma once

#include <string>
#include <vector>

#include "base/scan_records.h"

namespace larkspine::testing {

using PathGroups = std::vector<std::vector<std::wstring>>;

// The groups of files with the same contents among `paths` (long form), as display paths: sorted
// inside a group and by the first path of each. Of several names of one file only the first in path
// order counts. Reads every file into memory; throws std::runtime_error when one cannot be read.
[[nodiscard]] PathGroups reference_groups(std::vector<std::wstring> paths);

// The groups that a scan found, in the same form.
[[nodiscard]] inline PathGroups groups_of(const ScanResult& result) {
    PathGroups groups;
    for (const DuplicateGroup& group : result.groups) {
        std::vector<std::wstring>& paths = groups.emplace_back();
        for (const DuplicateEntry& entry : group)
            paths.push_back(entry.path);
    }
    return groups;
}

}  // namespace larkspine::testing
