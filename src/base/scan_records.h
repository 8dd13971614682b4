// The plain records that the stages of a scan pass along. A leaf: data only, no behaviour.
//
// All of them are value-initialised to zero and moved, never shared, between stages. The one
// exception is ScanProgress, which the scan writes while the progress display reads it.
//
// Two namespaces: larkspine::detail holds the records of files and snapshots, and the stages of a
// scan that fill, read or store them. larkspine holds the rest: what goes into a scan and comes out
// of it, leaves and probes that know no entry, the pool, and the front end.
#pragma once

#include <atomic>
#include <cstdint>
#include <string>
#include <vector>

#include "base/blake3_digest.h"

namespace larkspine {

enum class IndexMode : std::uint8_t {
    use = 0,       // load and save the index
    disabled = 1,  // neither load nor save it
    rebuild = 2,   // do not load it, but save it
};

enum class ScanPhase : std::uint8_t { enumerating = 0, analysing = 1, done = 2 };

// What the command line asks for. A value that never went through the parser has 0 workers, which
// the scan takes as 1.
struct ScanOptions {
    std::wstring root;          // the folder to analyse, as typed
    std::uint64_t workers = 0;  // worker threads, 1 to 64
    IndexMode index_mode = IndexMode::use;
    bool verify_bytes = false;  // confirm each duplicate byte by byte
    bool show_stats = false;    // print the statistics table
};

namespace detail {

// The Win32 attribute bits that decide what an entry is. They are stored in the index, so they are
// named here rather than taken from a system header.
inline constexpr std::uint32_t attribute_directory = 0x10;
inline constexpr std::uint32_t attribute_reparse_point = 0x400;

// The 128-bit identifier of a file on its volume. A 64-bit file reference number stands in the low
// half with the high half zero, which is also how NTFS fills the 128 bits.
struct FileId {
    std::uint64_t low = 0;
    std::uint64_t high = 0;

    friend bool operator==(const FileId&, const FileId&) = default;
};

// One file or folder below the root.
//
// A digest is only trusted while the file is unchanged since it was computed; whoever updates the
// metadata of an entry clears both flags when the contents may have changed.
struct FileCandidate {
    std::wstring path;                // full path, long form; empty: not grouped, not reported
    std::wstring name;                // last component, as the enumeration reported it
    std::uint64_t volume_serial = 0;  // valid with has_file_id
    FileId file_id;                   // valid with has_file_id
    bool has_file_id = false;
    std::uint64_t record_id = 0;        // file reference number of the parent; 0 from a walk
    std::uint32_t attributes = 0;       // Win32 file attributes
    std::uint64_t size = 0;             // bytes
    std::uint64_t creation_time = 0;    // FILETIME: 100 ns units since 1601
    std::uint64_t last_write_time = 0;  // FILETIME
    std::uint64_t record_stamp = 0;     // USN of the entry's journal record; 0 from a walk
    blake3_digest sample_digest;        // valid with has_sample_digest
    blake3_digest full_digest;          // valid with has_full_digest
    bool has_sample_digest = false;
    bool has_full_digest = false;
};

// The state of one root.
struct IndexSnapshot {
    std::wstring root;             // long form
    std::uint64_t journal_id = 0;  // valid with journal_valid
    std::int64_t next_usn = 0;     // journal position up to which the snapshot is current
    bool journal_valid = false;    // false for every snapshot that a directory walk made
    std::vector<FileCandidate> entries;
};

}  // namespace detail

// One run's counters. Written on the scan thread alone, with plain increments; read after the scan
// returned. Times are whole milliseconds, truncated.
struct ScanStatistics {
    std::uint64_t directories = 0;
    std::uint64_t files = 0;
    std::uint64_t candidates = 0;  // files that share their size with another file
    std::uint64_t sample_hashes_computed = 0;
    std::uint64_t full_hashes_computed = 0;
    std::uint64_t sample_hashes_reused = 0;
    std::uint64_t full_hashes_reused = 0;
    std::uint64_t byte_comparisons = 0;
    std::uint64_t hardlink_groups = 0;      // physical files met under several paths
    std::uint64_t hardlinks_collapsed = 0;  // paths dropped because their file is already kept
    std::uint64_t excluded_entries = 0;
    std::uint64_t empty_files_grouped = 0;
    std::uint64_t index_entries = 0;    // entries in the snapshot after enumeration
    std::uint64_t journal_changes = 0;  // journal records decoded
    std::uint64_t failures = 0;         // folders, files and saves that failed, in one counter
    std::uint64_t index_ms = 0;
    std::uint64_t enumeration_ms = 0;
    std::uint64_t analysis_ms = 0;
    std::uint64_t write_ms = 0;
    std::uint64_t total_ms = 0;
    bool index_loaded = false;
    bool fast_path_unchanged = false;
    bool usn_delta_applied = false;
    bool mft_used = false;
};

// Live counters, written by the scan and read by the progress display's thread about eight times a
// second. The counters of a phase are set before `phase` itself, and every access is sequentially
// consistent, so a reader that sees a phase sees its counters. The last member goes the other way.
struct ScanProgress {
    std::atomic<ScanPhase> phase{ScanPhase::enumerating};
    std::atomic<std::uint64_t> entries_seen{0};
    std::atomic<std::uint64_t> documents{0};         // files detected
    std::atomic<std::uint64_t> candidates_done{0};   // candidates of fully analysed size groups
    std::atomic<std::uint64_t> candidates_total{0};  // files in size groups of two or more
    std::atomic<std::uint64_t> duplicates{0};        // n - 1 for each confirmed group of n
    // Set by whoever wants the analysis to end: it stops between two files, or between two reads of
    // one, and the scan keeps what it knows by then.
    std::atomic<bool> stop_requested{false};
};
static_assert(sizeof(std::atomic<ScanPhase>) == 1);

// For calls that nobody stops.
inline const std::atomic<bool> never_stopped{false};

// One row of the report.
struct DuplicateEntry {
    std::wstring path;       // display form, without the long-path prefix
    std::uint64_t size = 0;  // bytes
};

// At least two files with the same contents, sorted by path; the first is the original.
using DuplicateGroup = std::vector<DuplicateEntry>;

// What a scan hands back. When it was asked to stop before its last group, it has no groups.
struct ScanResult {
    std::vector<DuplicateGroup> groups;  // sorted by the path of each group's first entry
    std::uint64_t failures = 0;          // the statistics field of that name
    ScanStatistics statistics;
    bool index_saved = false;  // the index file holds what this scan knows
};

}  // namespace larkspine
