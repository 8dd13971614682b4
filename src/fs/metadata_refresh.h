// Fresh metadata for the entries that the change journal names, read without opening a file.
#pragma once

#include "base/scan_records.h"
#include "fs/journal_changes.h"
#include "pool/worker_pool.h"

namespace larkspine::detail {

// Reads attributes, size and times of the files among `changed_ids` on the pool and stores them in
// `records`. Both digests of an entry are dropped when its size or last write time is another. An
// entry whose file cannot be queried any more, or has become a folder, is erased and counted in
// `failures`. Folders are never queried. Always true; what a job throws passes through.
[[nodiscard]] bool refresh_changed_metadata(RecordMap& records, const ReferenceSet& changed_ids,
                                            worker_pool& pool, ScanStatistics& statistics);

}  // namespace larkspine::detail
