// Entries grouped by size, the first narrowing. Portable and pure.
#pragma once

#include <cstdint>
#include <span>
#include <vector>

#include "base/scan_records.h"

namespace larkspine::detail {

// At least two entries of one size in bytes, in the order of the snapshot.
struct SizeGroup {
    std::uint64_t size = 0;
    std::span<FileCandidate* const> members;
    // An estimate of how many members are still to be read: those without a sample digest, but for
    // the names of a file that has one under another name. A sample without a full digest mostly
    // means that no other file has that sample and nothing is left to read. It is too low after an
    // interruption, by one group, and where a new file has the sample of an old one. Of an empty
    // file only the identity is read.
    std::size_t unread = 0;
};

// By ascending size. `groups` looks into `candidates`: it may be moved, not copied.
struct SizeGroups {
    std::vector<FileCandidate*> candidates;  // the members of every group
    std::vector<SizeGroup> groups;
};

// Groups every entry that shares its size with another one and can have duplicates: those with a
// path that are neither folders nor reparse points, empty files included. The groups point into
// `entries`, so what later stages write lands there, and `entries` must neither grow nor move while
// they live.
//
// Sorts pairs of size and entry rather than filling a table of lists: most files are alone of their
// size, and a node and a list for each of them took two thirds of a scan on the fast path.
[[nodiscard]] SizeGroups group_by_size(std::vector<FileCandidate>& entries);

}  // namespace larkspine::detail
