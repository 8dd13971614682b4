// BLAKE3 digests of candidate files, computed on the worker pool and written back into the
// candidates. Reused digests are trusted as they stand; whoever updates a candidate's metadata
// clears them. Runs on the scan thread; only its jobs run on the pool, and all that they share is
// the request to stop.
#pragma once

#include <atomic>
#include <cstdint>
#include <optional>
#include <span>
#include <vector>

#include "base/blake3_digest.h"
#include "base/scan_records.h"
#include "pool/worker_pool.h"

namespace larkspine {

enum class hash_stage : std::uint8_t {
    sample = 0,  // a prefix, the size, and the first and last 64 KiB (all of it up to 128 KiB)
    full = 1,    // the plain BLAKE3 hash of whatever the file holds while it is read
};

namespace detail {

// One digest per candidate, at the same index; empty where the file could not be opened or read,
// which is counted in `failures` and leaves the candidate as it was. A candidate that already has
// the stage's digest is not opened. Returns when every job that it submitted has finished.
//
// At most twice the pool's threads are queued or running: a full batch is awaited whole before the
// next is submitted, which bounds open handles and pending futures.
//
// When `stop` is set, files that are not hashed yet stay without a digest: no further one is
// opened, and none is read on. Jobs read `stop`, so it must outlive the pool.
//
// Rethrows what a job threw (memory exhaustion); the jobs still queued run on without effect.
[[nodiscard]] std::vector<std::optional<blake3_digest>> hash_candidates_parallel(
    std::span<FileCandidate* const> candidates, hash_stage stage, worker_pool& pool,
    ScanStatistics& stats, const std::atomic<bool>& stop = never_stopped);

}  // namespace detail
}  // namespace larkspine
