// What a scan must find, by the shortest way there is: every file is compared with every other,
// byte by byte. Shares no code with the engine.
#pragma once

#include <string>
#include <vector>

namespace larkspine::testing {

// The groups of files with the same contents among `paths` (long form), as display paths: sorted
// inside a group and by the first path of each. Of several names of one file only the first in path
// order counts. Reads every file into memory; throws std::runtime_error when one cannot be read.
[[nodiscard]] std::vector<std::vector<std::wstring>> reference_groups(
    std::vector<std::wstring> paths);

}  // namespace larkspine::testing
