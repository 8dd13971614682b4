// Entries bucketed by size, the first narrowing. Portable and pure.
#pragma once

#include <cstdint>
#include <unordered_map>
#include <vector>

#include "engine/scan_records.h"

namespace larkspine::detail {

// From a size in bytes to the entries of that size, in the order of the snapshot.
using SizeMap = std::unordered_map<std::uint64_t, std::vector<FileCandidate*>>;

// Buckets every entry that can have duplicates: those with a path that are neither folders nor
// reparse points, empty files included. The map points into `entries`, so what later stages write
// lands there, and `entries` must neither grow nor move while it lives.
[[nodiscard]] SizeMap group_by_size(std::vector<FileCandidate>& entries);

}  // namespace larkspine::detail
