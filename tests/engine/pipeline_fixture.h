// One bucket of files of one size, and the groups that the pipeline finds in it.
#pragma once

#include <cstddef>
#include <cstdint>
#include <deque>
#include <gtest/gtest.h>
#include <string>
#include <string_view>
#include <vector>

#include "base/path.h"
#include "engine/candidate_pipeline.h"
#include "support/temp_tree.h"

namespace larkspine::testing {

using Names = std::vector<std::wstring>;
using Counts = std::vector<std::uint64_t>;

class PipelineTest : public ::testing::Test {
  protected:
    explicit PipelineTest(std::size_t threads = 2) : pool(threads) {}

    detail::FileCandidate& add_path(const std::wstring& path) {
        detail::FileCandidate& candidate = candidates.emplace_back();
        candidate.path = path;
        candidate.size = size;
        list.push_back(&candidate);
        return candidate;
    }
    // A file of the bucket's size.
    detail::FileCandidate& add(std::wstring_view name, std::uint64_t changed_at = UINT64_MAX) {
        return add_path(tree.sized_file(name, size, changed_at));
    }
    detail::FileCandidate& add_missing(std::wstring_view name) { return add_path(tree.path(name)); }
    detail::FileCandidate& add_link(std::wstring_view name, const detail::FileCandidate& to) {
        return add_path(tree.hard_link(name, to.path));
    }
    // Gives a candidate an identity that no real file of the test has.
    static detail::FileCandidate& identify(detail::FileCandidate& candidate, std::uint64_t serial,
                                           std::uint64_t low, std::uint64_t high = 0) {
        candidate.volume_serial = serial;
        candidate.file_id = {low, high};
        candidate.has_file_id = true;
        return candidate;
    }

    void process(bool verify_bytes = false) {
        detail::process_size_group(size, list, pool, verify_bytes, statistics, results, progress);
    }
    // The names of the survivors, in order.
    Names collapse() {
        Names names;
        for (const detail::FileCandidate* survivor : detail::collapse_hardlinks(list, statistics))
            names.push_back(survivor->path.substr(tree.root().size() + 1));
        return names;
    }

    // The names in each result group.
    std::vector<Names> groups() const {
        const std::size_t folder = strip_long_path_prefix(tree.root()).size() + 1;
        std::vector<Names> all;
        for (const DuplicateGroup& group : results) {
            Names& names = all.emplace_back();
            for (const DuplicateEntry& entry : group)
                names.push_back(entry.path.substr(folder));
        }
        return all;
    }
    // Files with several names, names dropped.
    Counts links() { return {statistics.hardlink_groups, statistics.hardlinks_collapsed}; }
    // Samples, full hashes.
    Counts hashed() { return {statistics.sample_hashes_computed, statistics.full_hashes_computed}; }

    std::uint64_t size = 1'000;
    TempTree tree;
    worker_pool pool;
    ScanStatistics statistics;
    ScanProgress progress;
    std::deque<detail::FileCandidate> candidates;
    std::vector<detail::FileCandidate*> list;
    std::vector<DuplicateGroup> results;
};

}  // namespace larkspine::testing
