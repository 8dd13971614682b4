#include "engine/candidate_pipeline.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <memory_resource>
#include <optional>
#include <unordered_map>
#include <utility>

#include "base/file_identity.h"
#include "base/path.h"
#include "engine/byte_verification.h"
#include "engine/content_hashing.h"
#include "fs/entry_identity.h"

namespace larkspine::detail {
namespace {

using Candidates = std::pmr::vector<FileCandidate*>;
using IdentityBuckets = std::pmr::unordered_map<FileIdentity, Candidates, FileIdentityHash>;
using DigestBuckets = std::pmr::unordered_map<blake3_digest, Candidates, blake3_digest_hash>;

// Where the tables of one stage live. Most size groups hold a few files: those never go to the
// heap, which was two thirds of the time of a scan that knows all digests.
class StageMemory {
  public:
    [[nodiscard]] std::pmr::memory_resource* resource() noexcept { return &resource_; }

  private:
    std::array<std::byte, 4096> buffer_;
    std::pmr::monotonic_buffer_resource resource_{buffer_.data(), buffer_.size()};
};

bool candidate_less(const FileCandidate* a, const FileCandidate* b) noexcept {
    return path_less(a->path, b->path);
}

// Buckets the candidates by their digest of `stage`, keeping their order; those that could not be
// hashed are left out. The table and its lists are in `memory`, which must outlive them: a span of
// a bucket is good as long as the table and `memory` are. The candidates belong to the snapshot.
DigestBuckets bucket_by_digest(std::span<FileCandidate* const> candidates, hash_stage stage,
                               worker_pool& pool, ScanStatistics& stats,
                               const std::atomic<bool>& stop, StageMemory& memory) {
    const std::vector<std::optional<blake3_digest>> digests =
        hash_candidates_parallel(candidates, stage, pool, stats, stop);
    DigestBuckets buckets(memory.resource());
    for (std::size_t i = 0; i < candidates.size(); ++i)
        if (digests[i])
            buckets[*digests[i]].push_back(candidates[i]);
    return buckets;
}

// Each class holds files with the same bytes, in path order.
using ContentClasses = std::vector<std::vector<FileCandidate*>>;

// The class with the contents of `candidate`, which is compared with the first of each in turn;
// null when there is none. Counts the comparisons.
std::vector<FileCandidate*>* find_class_of(const FileCandidate& candidate, ContentClasses& classes,
                                           std::uint64_t& comparisons,
                                           const std::atomic<bool>& stop) {
    for (std::vector<FileCandidate*>& members : classes) {
        ++comparisons;
        if (files_identical(members.front()->path, candidate.path, stop))
            return &members;
    }
    return nullptr;
}

}  // namespace

std::vector<FileCandidate*> collapse_hardlinks(std::span<FileCandidate* const> candidates,
                                               ScanStatistics& stats,
                                               const std::atomic<bool>& stop) {
    std::vector<FileCandidate*> survivors;
    survivors.reserve(candidates.size());
    StageMemory memory;
    IdentityBuckets buckets(memory.resource());
    for (FileCandidate* candidate : candidates) {
        if (stop)
            return {};
        const IdentityAnswer answer =
            candidate->has_file_id ? IdentityAnswer::read : read_identity(*candidate);
        if (answer == IdentityAnswer::read)
            buckets[identity_of(*candidate)].push_back(candidate);
        else if (answer == IdentityAnswer::unreadable)
            survivors.push_back(candidate);
        else
            ++stats.failures;
    }
    for (auto& [identity, names] : buckets) {
        if (names.size() > 1) {
            ++stats.hardlink_groups;
            stats.hardlinks_collapsed += names.size() - 1;
        }
        survivors.push_back(*std::min_element(names.begin(), names.end(), candidate_less));
    }
    std::sort(survivors.begin(), survivors.end(), candidate_less);
    return survivors;
}

void emit_group(std::span<FileCandidate* const> candidates, std::uint64_t size,
                std::vector<DuplicateGroup>& results, ScanProgress& progress) {
    if (candidates.size() < 2)
        return;
    DuplicateGroup group;
    group.reserve(candidates.size());
    for (const FileCandidate* candidate : candidates)
        group.push_back({strip_long_path_prefix(candidate->path), size});
    // Candidates come in path order, which their display form changes only where local and network
    // paths meet.
    const auto entry_less = [](const DuplicateEntry& a, const DuplicateEntry& b) {
        return path_less(a.path, b.path);
    };
    if (!std::is_sorted(group.begin(), group.end(), entry_less))
        std::sort(group.begin(), group.end(), entry_less);
    progress.duplicates += group.size() - 1;
    results.push_back(std::move(group));
}

void split_by_content(std::span<FileCandidate* const> bucket, std::uint64_t size, bool verify_bytes,
                      std::vector<DuplicateGroup>& results, ScanProgress& progress,
                      ScanStatistics& stats) {
    if (!verify_bytes) {
        emit_group(bucket, size, results, progress);
        return;
    }
    ContentClasses classes;
    for (FileCandidate* candidate : bucket) {
        if (progress.stop_requested)
            return;
        if (auto* const members =
                find_class_of(*candidate, classes, stats.byte_comparisons, progress.stop_requested))
            members->push_back(candidate);
        else
            classes.push_back({candidate});
    }
    for (const std::vector<FileCandidate*>& members : classes)
        emit_group(members, size, results, progress);
}

void process_size_group(std::uint64_t size, std::span<FileCandidate* const> candidates,
                        worker_pool& pool, bool verify_bytes, ScanStatistics& stats,
                        std::vector<DuplicateGroup>& results, ScanProgress& progress) {
    const std::vector<FileCandidate*> survivors =
        collapse_hardlinks(candidates, stats, progress.stop_requested);
    if (survivors.size() < 2)
        return;
    if (size == 0) {
        // Empty files have nothing to read: they are the same by definition.
        stats.empty_files_grouped += survivors.size();
        emit_group(survivors, size, results, progress);
        return;
    }
    StageMemory sample_memory;
    for (const auto& [sample, alike] : bucket_by_digest(survivors, hash_stage::sample, pool, stats,
                                                        progress.stop_requested, sample_memory)) {
        if (alike.size() < 2)
            continue;
        StageMemory full_memory;
        for (const auto& [full, same] : bucket_by_digest(alike, hash_stage::full, pool, stats,
                                                         progress.stop_requested, full_memory))
            if (same.size() >= 2)
                split_by_content(same, size, verify_bytes, results, progress, stats);
    }
}

}  // namespace larkspine::detail
