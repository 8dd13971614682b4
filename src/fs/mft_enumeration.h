// The fast enumerator of a whole NTFS volume: one pass over its master file table, paths rebuilt
// from parent links, then sizes and times of the files fetched on the worker pool.
#pragma once

#include "base/win32_api.h"

#include <string>

#include "base/scan_records.h"
#include "fs/record_paths.h"
#include "pool/worker_pool.h"

namespace larkspine::detail {

// Fills `snapshot` with every folder and file of the volume whose root folder is `root` (long
// form), stamped with the volume's journal, so that later runs can go on from there. False when the
// root is no whole NTFS volume, or the volume, its journal or its table cannot be read; `snapshot`
// and `statistics` are untouched then, while progress already counted stays counted.
//
// A record whose path cannot be rebuilt, and a file whose metadata cannot be read, is left out and
// counted in `failures`. Runs on the scan thread; only metadata look-ups run on the pool.
[[nodiscard]] bool scan_ntfs_mft(const std::wstring& root, IndexSnapshot& snapshot,
                                 ScanStatistics& statistics, ScanProgress& progress,
                                 worker_pool& pool);

// Reads the whole table into `records`, leaving out what changed after `journal` was queried; of
// several records of one reference the last stays. False when a call fails, returns a size or a
// next reference that makes no sense, or hands out a record that is not understood.
[[nodiscard]] bool enumerate_usn_records(HANDLE volume, const USN_JOURNAL_DATA_V0& journal,
                                         MftRecordMap& records, ScanProgress& progress);

}  // namespace larkspine::detail
