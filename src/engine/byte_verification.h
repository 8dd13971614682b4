// Byte-by-byte comparison of two files, for those who do not want to trust a digest alone.
#pragma once

#include <atomic>
#include <string>

#include "base/scan_records.h"

namespace larkspine::detail {

// True only when both files could be opened and read to their ends and hold the same bytes in the
// same number; false in every other case, errors included. Reads 1 MiB at a time from each, into
// two buffers that the calling thread keeps, and stops at the first block that differs. Throws only
// std::bad_alloc. Called on the scan thread. False as well when `stop` is set before the end.
[[nodiscard]] bool files_identical(const std::wstring& first, const std::wstring& second,
                                   const std::atomic<bool>& stop = never_stopped);

}  // namespace larkspine::detail
