#include "engine/scan_driver.h"

#include <algorithm>
#include <chrono>
#include <cstddef>
#include <optional>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "base/entries.h"
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

using namespace detail;
using Clock = std::chrono::steady_clock;

// Whole milliseconds since `start`, truncated.
std::uint64_t milliseconds_since(Clock::time_point start) {
    const auto elapsed = std::chrono::duration_cast<std::chrono::nanoseconds>(Clock::now() - start);
    return static_cast<std::uint64_t>(elapsed.count()) / 1'000'000;
}

// What the steps of one scan share.
struct Scan {
    const std::wstring& root;
    worker_pool& pool;
    ScanStatistics& statistics;
    ScanProgress& progress;
};

// What the change journal says about the loaded snapshot.
enum class JournalAnswer : std::uint8_t {
    unusable,   // nothing that can be relied on: only a full enumeration is right
    unchanged,  // it is current as it was stored
    changed,    // it is current now, and other than it was stored
};

// Brings the loaded snapshot up to date from the change journal of its volume. On `unusable` it may
// be partly edited.
JournalAnswer update_from_journal(const Scan& scan, IndexSnapshot& loaded) {
    if (!loaded.journal_valid || !is_ntfs_drive_root(scan.root))
        return JournalAnswer::unusable;
    const unique_handle volume = own_handle(open_volume(scan.root));
    if (!volume)
        return JournalAnswer::unusable;
    const std::optional<USN_JOURNAL_DATA_V0> journal = query_usn_journal(volume.get());
    if (!journal || journal->UsnJournalID != loaded.journal_id ||
        loaded.next_usn < journal->FirstUsn || loaded.next_usn > journal->NextUsn)
        return JournalAnswer::unusable;
    if (loaded.next_usn == journal->NextUsn) {
        scan.statistics.fast_path_unchanged = true;
        return JournalAnswer::unchanged;
    }
    bool changed = false;
    if (!apply_usn_delta(scan.root, volume.get(), *journal, loaded, scan.statistics, scan.progress,
                         scan.pool, changed))
        return JournalAnswer::unusable;
    return changed ? JournalAnswer::changed : JournalAnswer::unchanged;
}

// The entries below the root, listed anew: from the master file table, otherwise by a walk, to
// whose unchanged files `loaded` lends its digests. The counts gathered on the way replace those of
// the scan, so that an attempt that failed leaves no trace; the index phase is over and keeps its
// own.
IndexSnapshot enumerate_fully(const Scan& scan, const std::optional<IndexSnapshot>& loaded) {
    ScanStatistics fresh;
    IndexSnapshot snapshot;
    if (!scan_ntfs_mft(scan.root, snapshot, fresh, scan.progress, scan.pool)) {
        snapshot = {};
        snapshot.root = scan.root;
        // Doubling a list of millions would hold it twice. Trees grow a little between two runs.
        if (loaded)
            snapshot.entries.reserve(loaded->entries.size() + loaded->entries.size() / 16);
        if (!walk_directory_tree(scan.root, snapshot.entries, fresh, scan.progress))
            throw std::runtime_error("root directory is not readable");
        if (loaded)
            carry_over_digests(snapshot.entries, *loaded);
    }
    fresh.index_loaded = scan.statistics.index_loaded;
    fresh.index_ms = scan.statistics.index_ms;
    scan.statistics = fresh;
    return snapshot;
}

// The index phase: the snapshot of the last run, when it may be used and there is one.
std::optional<IndexSnapshot> load_snapshot(const std::wstring& root, IndexMode mode,
                                           ScanStatistics& statistics) {
    std::optional<IndexSnapshot> loaded;
    if (mode == IndexMode::disabled)
        return loaded;
    const Clock::time_point start = Clock::now();
    if (mode == IndexMode::use)
        loaded = load_index(root);
    statistics.index_loaded = loaded.has_value();
    statistics.index_ms = milliseconds_since(start);
    return loaded;
}

// Saves the snapshot; a failure costs the next run its speed and this one nothing.
bool save_snapshot(const IndexSnapshot& snapshot, ScanStatistics& statistics) {
    const Clock::time_point start = Clock::now();
    const bool saved = save_index(snapshot);
    if (!saved)
        ++statistics.failures;
    statistics.write_ms = milliseconds_since(start);
    return saved;
}

// Narrows the entries of the snapshot to duplicate groups, sorted by their first path. None when
// the scan is asked to stop: they would be incomplete.
std::vector<DuplicateGroup> analyse(const Scan& scan, IndexSnapshot& snapshot, bool verify_bytes) {
    const SizeGroups sizes = group_by_size(snapshot.entries);
    scan.progress.candidates_total = sizes.candidates.size();
    scan.progress.candidates_done = 0;
    scan.progress.phase = ScanPhase::analysing;

    const Clock::time_point start = Clock::now();
    std::vector<DuplicateGroup> groups;
    GroupOrder order(sizes.groups);
    while (const SizeGroup* const group = order.next()) {
        scan.statistics.candidates += group->members.size();
        process_size_group(group->size, group->members, scan.pool, verify_bytes, scan.statistics,
                           groups, scan.progress);
        scan.progress.candidates_done += group->members.size();
        if (scan.progress.stop_requested)
            return {};
    }
    std::sort(groups.begin(), groups.end(), [](const DuplicateGroup& a, const DuplicateGroup& b) {
        return path_less(a.front().path, b.front().path);
    });
    scan.statistics.analysis_ms = milliseconds_since(start);
    return groups;
}

}  // namespace

ScanResult scan(const ScanOptions& options, ScanProgress& progress) {
    const Clock::time_point start = Clock::now();
    const std::wstring root = to_long_path(options.root);
    worker_pool pool(static_cast<std::size_t>(std::clamp<std::uint64_t>(options.workers, 1, 64)));
    ScanResult result;
    ScanStatistics& statistics = result.statistics;
    const Scan scan = {root, pool, statistics, progress};
    std::optional<IndexSnapshot> loaded = load_snapshot(root, options.index_mode, statistics);

    const Clock::time_point enumeration_start = Clock::now();
    const JournalAnswer answer =
        loaded ? update_from_journal(scan, *loaded) : JournalAnswer::unusable;
    const bool dirty = answer != JournalAnswer::unchanged;
    IndexSnapshot current =
        answer == JournalAnswer::unusable ? enumerate_fully(scan, loaded) : std::move(*loaded);
    if (statistics.fast_path_unchanged)
        count_entries(current.entries, statistics);
    progress.documents = statistics.files;
    statistics.enumeration_ms = milliseconds_since(enumeration_start);
    statistics.index_entries = current.entries.size();
    loaded.reset();  // not part of any phase's time, and no two snapshots during the analysis

    result.groups = analyse(scan, current, options.verify_bytes);

    const bool learnt =
        statistics.sample_hashes_computed > 0 || statistics.full_hashes_computed > 0;
    if (options.index_mode != IndexMode::disabled && (dirty || learnt))
        result.index_saved = save_snapshot(current, statistics);

    statistics.total_ms = milliseconds_since(start);
    result.failures = statistics.failures;
    // A scan that was asked to stop is not done, and the last frame of its bar says so.
    if (!progress.stop_requested)
        progress.phase = ScanPhase::done;
    pool.shutdown();
    return result;
}

}  // namespace larkspine
