#include "fs/usn_delta.h"

#include <algorithm>
#include <cstddef>
#include <memory>
#include <memory_resource>
#include <optional>
#include <utility>

#include "base/byte_reader.h"
#include "base/entries.h"
#include "base/read_buffer.h"
#include "fs/exclusions.h"
#include "fs/metadata_refresh.h"
#include "fs/usn_record.h"
#include "fs/volume.h"

namespace larkspine::detail {
namespace {

// The entries that have an identity, by file reference; the others do not survive a delta. Leaves
// `entries` empty. There is room for as many more as there are changes.
RecordMap take_entries(std::vector<FileCandidate>& entries, std::size_t changes,
                       std::pmr::memory_resource* memory) {
    RecordMap records(memory);
    records.reserve(entries.size() + changes);
    for (FileCandidate& entry : entries)
        if (entry.has_file_id)
            records.insert_or_assign(entry.file_id.low, std::move(entry));
    entries.clear();
    return records;
}

void store_entries(RecordMap& records, std::vector<FileCandidate>& entries) {
    entries.clear();
    entries.reserve(records.size());
    for (auto& [reference, entry] : records)
        entries.push_back(std::move(entry));
}

}  // namespace

bool read_journal_changes(HANDLE volume, const USN_JOURNAL_DATA_V0& journal, std::int64_t start_usn,
                          std::vector<JournalChange>& out, ScanProgress& progress) {
    constexpr std::size_t next_usn_size = 8;
    // Purged, or from another journal: only a full enumeration is right.
    if (start_usn < journal.FirstUsn || start_usn > journal.NextUsn)
        return false;
    const auto buffer = std::make_unique<ReadBuffer>();
    READ_USN_JOURNAL_DATA_V0 request = {start_usn, 0xFFFFFFFF, 0, 0, 0, journal.UsnJournalID};
    while (request.StartUsn < journal.NextUsn) {
        DWORD returned = 0;
        if (!DeviceIoControl(volume, FSCTL_READ_USN_JOURNAL, &request, sizeof request,
                             buffer->bytes, sizeof buffer->bytes, &returned, nullptr) ||
            returned < next_usn_size || returned > sizeof buffer->bytes)
            return false;
        const auto append = [&](UsnRecord& record) {
            out.push_back({record.file_reference, record.parent_reference,
                           std::exchange(record.name, {}), record.attributes, record.reason,
                           record.usn});
            ++progress.entries_seen;
        };
        if (!for_each_record({buffer->bytes + next_usn_size, returned - next_usn_size}, append))
            return false;
        const auto next =
            static_cast<std::int64_t>(load_little_endian<std::uint64_t>(buffer->bytes));
        // Without progress this would loop forever.
        if (next <= request.StartUsn)
            return false;
        request.StartUsn = next;
    }
    return true;
}

bool apply_usn_delta(const std::wstring& root, HANDLE volume, const USN_JOURNAL_DATA_V0& journal,
                     IndexSnapshot& snapshot, ScanStatistics& statistics, ScanProgress& progress,
                     worker_pool& pool, bool& changed) {
    changed = false;
    const std::optional<VolumeIdentity> identity = volume_identity_of(root);
    if (!identity)
        return false;
    std::vector<JournalChange> changes;
    if (!read_journal_changes(volume, journal, snapshot.next_usn, changes, progress))
        return false;

    std::pmr::monotonic_buffer_resource memory;
    RecordMap records = take_entries(snapshot.entries, changes.size(), &memory);
    ReferenceSet changed_ids;
    for (JournalChange& change : changes)
        if (apply_journal_change(std::move(change), identity->serial, records, changed_ids))
            changed = true;
    rebuild_paths(root, *identity, excluded_folders(), records);
    if (erase_lost_names(changes, records))
        changed = true;
    if (!refresh_changed_metadata(records, changed_ids, pool, statistics))
        return false;
    changed = changed || std::ranges::any_of(changed_ids, [&](std::uint64_t reference) {
                  return records.contains(reference);
              });

    store_entries(records, snapshot.entries);
    count_entries(snapshot.entries, statistics);
    snapshot.journal_valid = true;
    snapshot.journal_id = journal.UsnJournalID;
    snapshot.next_usn = journal.NextUsn;
    statistics.journal_changes = changes.size();
    statistics.index_entries = snapshot.entries.size();
    statistics.usn_delta_applied = true;
    return true;
}

}  // namespace larkspine::detail
