// From files of one size to confirmed duplicate groups: hard links collapsed by identity, then
// samples, then whole contents, then (on request) bytes. Each stage works only on buckets that
// still hold two candidates or more. Runs on the scan thread; only hashing jobs run on the pool.
#pragma once

#include <atomic>
#include <cstdint>
#include <span>
#include <vector>

#include "base/scan_records.h"
#include "pool/worker_pool.h"

namespace larkspine::detail {

// Appends to `results` the duplicate groups among `candidates`, which all have `size` bytes.
// Identities and digests that it learns are written into the candidates. A file that cannot be
// hashed is dropped and counted, one that cannot be compared only dropped; exceptions of hashing
// jobs pass through. When `progress.stop_requested` is set on the way, what is appended may be
// incomplete; what is written into the candidates is right all the same.
void process_size_group(std::uint64_t size, std::span<FileCandidate* const> candidates,
                        worker_pool& pool, bool verify_bytes, ScanStatistics& stats,
                        std::vector<DuplicateGroup>& results, ScanProgress& progress);

// The candidates that are different physical files, sorted by path: of several names of one file
// only the first in path order stays. Reads and stores the identity of those that have none; a
// candidate whose identity cannot be read stays. One whose entry says 0 bytes and whose file
// has some is dropped and counted in `failures`. None when `stop` is set on the way.
[[nodiscard]] std::vector<FileCandidate*> collapse_hardlinks(
    std::span<FileCandidate* const> candidates, ScanStatistics& stats,
    const std::atomic<bool>& stop = never_stopped);

// The last step for candidates whose full digests agree, in path order: emits them as one group,
// or, with `verify_bytes`, one group for each class of identical contents.
void split_by_content(std::span<FileCandidate* const> bucket, std::uint64_t size, bool verify_bytes,
                      std::vector<DuplicateGroup>& results, ScanProgress& progress,
                      ScanStatistics& stats);

// Appends the group of `candidates`, sorted by path; nothing when there are fewer than two.
void emit_group(std::span<FileCandidate* const> candidates, std::uint64_t size,
                std::vector<DuplicateGroup>& results, ScanProgress& progress);

}  // namespace larkspine::detail
