// The one call that turns options into duplicate groups: brings the snapshot of the root up to
// date, narrows its entries, times every phase.
#pragma once

#include "base/scan_records.h"

namespace larkspine {

// Scans `options.root`. `progress` is zeroed by the caller; another thread may read it meanwhile.
// Failures inside (a folder, a file) are absorbed and counted. Throws std::runtime_error("root
// directory is not readable") when no enumeration can read the root; memory exhaustion and
// programming errors pass through. The worker threads live only for the call.
[[nodiscard]] ScanResult scan(const ScanOptions& options, ScanProgress& progress);

}  // namespace larkspine
