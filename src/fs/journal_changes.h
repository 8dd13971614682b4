// What the records of the change journal do to the entries of a snapshot. Portable and pure.
#pragma once

#include <cstdint>
#include <memory_resource>
#include <span>
#include <string>
#include <unordered_map>
#include <vector>

#include "base/file_identity.h"
#include "base/scan_records.h"
#include "fs/usn_record.h"

namespace larkspine::detail {

// One decoded record of the journal.
struct JournalChange {
    std::uint64_t file_reference = 0;
    std::uint64_t parent_reference = 0;
    std::wstring name;
    std::uint32_t attributes = 0;
    std::uint32_t reason = 0;
    std::int64_t usn = 0;
};

// The entries of a volume by file reference number. Its nodes may live in a buffer of the caller's.
using RecordMap = std::pmr::unordered_map<std::uint64_t, FileCandidate>;

// Applies one change: erases a deleted entry, makes or moves any other, drops its digests when its
// contents may differ, and notes in `changed_ids` whose metadata must be read: each entry that it
// makes, whatever the reason, and each whose size or times may differ. True when an entry was
// erased. `volume_serial` is that of the volume.
bool apply_journal_change(JournalChange&& change, std::uint64_t volume_serial, RecordMap& records,
                          ReferenceSet& changed_ids);

// Makes sure that the root folder has an entry, then builds every entry's path anew from its chain
// of parents, so that a renamed folder moves all that is below it, and erases the entries that do
// not lie below the root, are excluded or are reparse points. `index_folders`: those that
// is_excluded_from takes.
void rebuild_paths(const std::wstring& root, const VolumeIdentity& volume,
                   std::span<const std::wstring> index_folders, RecordMap& records);

// Erases entries whose name another file or a folder has taken. A file with several links keeps the
// name of its last record, also when that link was removed; a later entry may have the same name in
// the same folder. Of two such files the one with the older record goes; a folder stays. Only
// folders in which one of `changes` names an entry are looked at. True when an entry was erased.
bool erase_lost_names(const std::vector<JournalChange>& changes, RecordMap& records);

}  // namespace larkspine::detail
