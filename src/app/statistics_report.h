// The table that --stats asks for. Called on the main thread after the report was written.
#pragma once

#include "base/scan_records.h"

namespace larkspine {

// Writes to standard output which incremental path the scan took and where its time went. Counters
// that tell a user nothing (folders, exclusions, failures) are left out.
void print_statistics(const ScanStatistics& statistics);

}  // namespace larkspine
