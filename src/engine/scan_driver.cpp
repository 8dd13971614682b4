#include "engine/scan_driver.h"

#include <algorithm>
#include <chrono>
#include <cstddef>
#include <optional>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "base/path.h"
#include "base/win32_handle.h"
#include "engine/candidate_pipeline.h"
#include "engine/group_order.h"
#include "engine/size_groups.h"
#include "fs/digest_carry_over.h"
#include "fs/directory_walk.h"
#include "fs/mft_enumeration.h"
#include "fs/usn_delta.h"
#include "fs/volume.h"
#include "index/index_file.h"
#include "pool/worker_pool.h"

namespace larkspine {
namespace {

using detail::IndexSnapshot;
using Clock = std::chrono::steady_clock;

// Whole milliseconds since `start`, truncated.
std::uint64_t milliseconds_since(Clock::time_point start) {
    const auto elapsed = std::chrono::duration_cast<std::chrono::nanoseconds>(Clock::now() - start);
    return static_cast<std::uint64_t>(elapsed.count()) / 1'000'000;
}

// Takes over the loaded snapshot, brought up to date from the change journal of its volume; false
// when the journal does not cover it, and only a full enumeration is right. `dirty` tells whether
// it is worth storing: an entry was deleted, or is one whose metadata was read again.
bool update_from_journal(const std::wstring& root, std::optional<IndexSnapshot>& loaded,
                         IndexSnapshot& current, bool& dirty, ScanStatistics& statistics,
                         ScanProgress& progress, worker_pool& pool) {
    if (!loaded || !loaded->journal_valid || !is_ntfs_drive_root(root))
        return false;
    const unique_handle volume = own_handle(open_volume(root));
    if (!volume)
        return false;
    const std::optional<USN_JOURNAL_DATA_V0> journal = query_usn_journal(volume.get());
    if (!journal || journal->UsnJournalID != loaded->journal_id ||
        loaded->next_usn < journal->FirstUsn || loaded->next_usn > journal->NextUsn)
        return false;
    dirty = false;
    if (loaded->next_usn == journal->NextUsn)
        statistics.fast_path_unchanged = true;
    else if (!detail::apply_usn_delta(root, volume.get(), *journal, *loaded, statistics, progress,
                                      pool, dirty))
        return false;
    current = std::move(*loaded);
    return true;
}

// The enumerators and the delta count as they go; the fast path looks at nothing, so it counts
// here.
void count_entries(const IndexSnapshot& snapshot, ScanStatistics& statistics) {
    for (const detail::FileCandidate& entry : snapshot.entries) {
        if ((entry.attributes & detail::attribute_directory) != 0)
            ++statistics.directories;
        else
            ++statistics.files;
    }
}

// Fills `snapshot` with what is below the root, from nothing: from the master file table, otherwise
// by a walk, to whose unchanged files `loaded` lends its digests. The counts gathered on the way
// replace those of the run, so that an attempt that failed leaves no trace; the index phase is over
// and keeps its own.
void enumerate_fully(const std::wstring& root, const std::optional<IndexSnapshot>& loaded,
                     IndexSnapshot& snapshot, ScanStatistics& statistics, ScanProgress& progress,
                     worker_pool& pool) {
    ScanStatistics fresh;
    snapshot = {};
    if (!detail::scan_ntfs_mft(root, snapshot, fresh, progress, pool)) {
        snapshot = {};
        snapshot.root = root;
        // Doubling a list of millions would hold it twice. Trees grow a little between two runs.
        if (loaded)
            snapshot.entries.reserve(loaded->entries.size() + loaded->entries.size() / 16);
        if (!detail::walk_directory_tree(root, snapshot.entries, fresh, progress))
            throw std::runtime_error("root directory is not readable");
        if (loaded)
            detail::carry_over_digests(snapshot.entries, *loaded);
    }
    fresh.index_loaded = statistics.index_loaded;
    fresh.index_ms = statistics.index_ms;
    statistics = fresh;
}

// The index phase: the snapshot of the last run, when it may be used and there is one.
std::optional<IndexSnapshot> load_snapshot(const std::wstring& root, IndexMode mode,
                                           ScanStatistics& statistics) {
    std::optional<IndexSnapshot> loaded;
    if (mode == IndexMode::disabled)
        return loaded;
    const Clock::time_point start = Clock::now();
    if (mode == IndexMode::use)
        loaded = detail::load_index(root);
    statistics.index_loaded = loaded.has_value();
    statistics.index_ms = milliseconds_since(start);
    return loaded;
}

// Saves the snapshot; a failure costs the next run its speed and this one nothing.
void save_snapshot(const IndexSnapshot& snapshot, ScanStatistics& statistics) {
    const Clock::time_point start = Clock::now();
    if (!detail::save_index(snapshot))
        ++statistics.failures;
    statistics.write_ms = milliseconds_since(start);
}

// Narrows the entries of the snapshot to duplicate groups, sorted by their first path.
std::vector<DuplicateGroup> analyse(IndexSnapshot& snapshot, worker_pool& pool, bool verify_bytes,
                                    ScanStatistics& statistics, ScanProgress& progress) {
    const detail::SizeGroups sizes = detail::group_by_size(snapshot.entries);
    progress.candidates_total = sizes.candidates.size();
    progress.candidates_done = 0;
    progress.phase = ScanPhase::analysing;

    const Clock::time_point start = Clock::now();
    std::vector<DuplicateGroup> groups;
    detail::GroupOrder order(sizes.groups);
    while (const detail::SizeGroup* const group = order.next()) {
        statistics.candidates += group->members.size();
        detail::process_size_group(group->size, group->members, pool, verify_bytes, statistics,
                                   groups, progress);
        progress.candidates_done += group->members.size();
    }
    std::sort(groups.begin(), groups.end(), [](const DuplicateGroup& a, const DuplicateGroup& b) {
        return path_less(a.front().path, b.front().path);
    });
    statistics.analysis_ms = milliseconds_since(start);
    return groups;
}

}  // namespace

ScanResult scan(const ScanOptions& options, ScanProgress& progress) {
    const Clock::time_point start = Clock::now();
    const std::wstring root = to_long_path(options.root);
    worker_pool pool(static_cast<std::size_t>(std::clamp<std::uint64_t>(options.workers, 1, 64)));
    ScanResult result;
    ScanStatistics& statistics = result.statistics;
    std::optional<IndexSnapshot> loaded = load_snapshot(root, options.index_mode, statistics);
    IndexSnapshot current;

    const Clock::time_point enumeration_start = Clock::now();
    bool dirty = true;
    if (!update_from_journal(root, loaded, current, dirty, statistics, progress, pool)) {
        dirty = true;
        enumerate_fully(root, loaded, current, statistics, progress, pool);
    }
    if (statistics.fast_path_unchanged)
        count_entries(current, statistics);
    progress.documents = statistics.files;
    statistics.enumeration_ms = milliseconds_since(enumeration_start);
    statistics.index_entries = current.entries.size();
    loaded.reset();  // not part of any phase's time, and no two snapshots during the analysis

    result.groups = analyse(current, pool, options.verify_bytes, statistics, progress);

    const bool learnt =
        statistics.sample_hashes_computed > 0 || statistics.full_hashes_computed > 0;
    if (options.index_mode != IndexMode::disabled && (dirty || learnt))
        save_snapshot(current, statistics);

    statistics.total_ms = milliseconds_since(start);
    result.failures = statistics.failures;
    progress.phase = ScanPhase::done;
    pool.shutdown();
    return result;
}

}  // namespace larkspine
