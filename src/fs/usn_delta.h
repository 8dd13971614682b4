// Bringing a snapshot up to date from the change journal instead of enumerating its volume again.
#pragma once

#include "base/win32_api.h"

#include <cstdint>
#include <string>
#include <vector>

#include "base/scan_records.h"
#include "fs/journal_changes.h"
#include "pool/worker_pool.h"

namespace larkspine::detail {

// Edits `snapshot` in place: applies what `journal` (just queried on the open `volume`) recorded
// since the snapshot's position, rebuilds every path, reads the metadata of changed files again on
// the pool, and stamps the snapshot with the journal's position. `changed`: an indexed entry was
// deleted, or one whose metadata was read again is still there. `root` is a drive root in long
// form.
//
// False when the journal does not cover the snapshot or cannot be read; the snapshot may be partly
// edited then, and only a full enumeration is right. Runs on the scan thread.
[[nodiscard]] bool apply_usn_delta(const std::wstring& root, HANDLE volume,
                                   const USN_JOURNAL_DATA_V0& journal, IndexSnapshot& snapshot,
                                   ScanStatistics& statistics, ScanProgress& progress,
                                   worker_pool& pool, bool& changed);

// Appends the records from `start_usn` up to the journal's next USN, in journal order. False when
// that range is not in the journal, a call fails or makes no progress, or a record is not
// understood.
[[nodiscard]] bool read_journal_changes(HANDLE volume, const USN_JOURNAL_DATA_V0& journal,
                                        std::int64_t start_usn, std::vector<JournalChange>& out,
                                        ScanProgress& progress);

}  // namespace larkspine::detail
