// What a directory walk keeps of the last run: each fresh entry takes over the identity and digests
// of the entry that it was, when its size and times say that its contents are the same.
#pragma once

#include <vector>

#include "base/scan_records.h"

namespace larkspine::detail {

// Matches each fresh entry with its previous one, by path and then by file identity, and copies
// identity and digests where size, creation time and last write time are all equal. A file is
// opened (for its identity, which the entry keeps) only when its path tells nothing. A file that
// cannot be opened inherits nothing; that is no failure. Runs on the scan thread; reads `loaded`
// only.
void carry_over_digests(std::vector<FileCandidate>& fresh, const IndexSnapshot& loaded);

}  // namespace larkspine::detail
