// What does the candidate pipeline cost when nothing is left to read?
//
// Candidates of made_snapshot.h in groups of three, each group of one size and one content, all
// identities and digests known; seed 1. SIZE is the number of candidates.
//
// pipeline  the groups of one size handed over one after the other; beside: one insertion of a
//           candidate's identity into one hash map for each candidate
#include <memory>
#include <unordered_map>
#include <vector>

#include "base/file_identity.h"
#include "engine/candidate_pipeline.h"
#include "made_snapshot.h"
#include "rounds.h"

namespace {

using namespace larkspine;
using namespace larkspine::bench;
using detail::FileCandidate;
using detail::IndexSnapshot;

constexpr std::size_t group_size = 3;

std::vector<DuplicateGroup> narrow(std::vector<FileCandidate*>& candidates, worker_pool& pool) {
    ScanStatistics statistics;
    ScanProgress progress;
    std::vector<DuplicateGroup> groups;
    for (std::size_t first = 0; first < candidates.size(); first += group_size)
        detail::process_size_group(candidates[first]->size,
                                   std::span(candidates).subspan(first, group_size), pool, false,
                                   statistics, groups, progress);
    require(progress.duplicates == groups.size() * (group_size - 1) &&
                statistics.full_hashes_reused == candidates.size(),
            "narrowing");
    return groups;
}

Ask pipeline(std::uint64_t size) {
    auto snapshot = std::make_shared<IndexSnapshot>(made_snapshot(size - size % group_size));
    std::vector<FileCandidate*> candidates;
    for (std::size_t i = 0; i < snapshot->entries.size(); ++i) {
        FileCandidate& entry = snapshot->entries[i];
        const FileCandidate& first = snapshot->entries[i - i % group_size];
        entry.size = first.size;
        entry.sample_digest = entry.full_digest = first.full_digest;
        candidates.push_back(&entry);
    }
    auto pool = std::make_shared<worker_pool>(1);
    return [snapshot, pool, candidates]() mutable {
        Round round;
        std::vector<DuplicateGroup> groups;
        round.ours = seconds_for([&] { groups = narrow(candidates, *pool); });
        groups = {};
        std::unordered_map<detail::FileIdentity, FileCandidate*, detail::FileIdentityHash> map;
        round.beside = seconds_for([&] {
            for (FileCandidate* const candidate : candidates)
                map.emplace(detail::identity_of(*candidate), candidate);
        });
        require(map.size() == candidates.size(), "the bare map");
        return round;
    };
}

constexpr Row rows[] = {{L"pipeline", pipeline}};

}  // namespace

int wmain(int count, wchar_t** arguments) {
    return answer(count, arguments, rows);
}
