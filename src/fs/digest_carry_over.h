// What a directory walk keeps of the last run: each fresh entry takes over the identity and digests
// of the entry that it was, when its size and times say that its contents are the same. Portable
// but for the identity of a file, which the caller may have read in another way.
#pragma once

#include <functional>
#include <vector>

#include "base/scan_records.h"
#include "fs/entry_identity.h"

namespace larkspine::detail {

// Matches each fresh entry with its previous one, by path and then by file identity, and copies
// identity and digests where size, creation time and last write time are all equal. A file is
// opened (for its identity, which the entry keeps) only when its path tells nothing. A file that
// cannot be opened inherits nothing; that is no failure. Runs on the scan thread; reads
// `loaded_snapshot` only.
void carry_over_digests(
    std::vector<FileCandidate>& fresh_entries, const IndexSnapshot& loaded_snapshot,
    const std::function<IdentityAnswer(FileCandidate&)>& identify = read_identity);

}  // namespace larkspine::detail
