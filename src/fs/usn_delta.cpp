#include "fs/usn_delta.h"

#include <algorithm>
#include <cstddef>
#include <memory>
#include <memory_resource>
#include <optional>
#include <utility>

#include "base/byte_reader.h"
#include "base/read_buffer.h"
#include "fs/metadata_refresh.h"
#include "fs/usn_record.h"
#include "fs/volume.h"

namespace larkspine::detail {
namespace {

// Appends the records of one answer; false when one of them is not understood.
bool append_changes(const std::byte* bytes, std::size_t size, std::vector<JournalChange>& out,
                    ScanProgress& progress) {
    UsnRecord record;
    for (std::size_t offset = 0; offset < size; offset += record.record_length) {
        if (parse_usn_record_v2(bytes + offset, size - offset, record) != RecordStatus::ok)
            return false;
        out.push_back({record.file_reference, record.parent_reference,
                       std::exchange(record.name, {}), record.attributes, record.reason,
                       record.usn});
        ++progress.entries_seen;
    }
    return true;
}

// The entries that have an identity, by file reference; the others do not survive a delta. Leaves
// `entries` empty. There is room for as many more as there are changes.
EntryMap take_entries(std::vector<FileCandidate>& entries, std::size_t changes,
                      std::pmr::memory_resource* memory) {
    EntryMap records(memory);
    records.reserve(entries.size() + changes);
    for (FileCandidate& entry : entries)
        if (entry.has_file_id)
            records.insert_or_assign(entry.file_id.low, std::move(entry));
    entries.clear();
    return records;
}

void store_entries(EntryMap& records, IndexSnapshot& snapshot, ScanStatistics& statistics) {
    statistics.directories = 0;
    statistics.files = 0;
    snapshot.entries.clear();
    snapshot.entries.reserve(records.size());
    for (auto& [reference, entry] : records) {
        if ((entry.attributes & attribute_directory) != 0)
            ++statistics.directories;
        else
            ++statistics.files;
        snapshot.entries.push_back(std::move(entry));
    }
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
        if (!append_changes(buffer->bytes + next_usn_size, returned - next_usn_size, out, progress))
            return false;
        const auto next =
            static_cast<std::int64_t>(load_little_endian<std::uint64_t>(buffer->bytes));
        // A call that does not get on would be repeated for ever.
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
    const std::optional<std::uint64_t> root_reference = file_reference_of(root);
    const std::optional<std::uint32_t> serial = volume_serial_of(root);
    if (!root_reference || !serial)
        return false;
    std::vector<JournalChange> changes;
    if (!read_journal_changes(volume, journal, snapshot.next_usn, changes, progress))
        return false;

    std::pmr::monotonic_buffer_resource memory;
    EntryMap records = take_entries(snapshot.entries, changes.size(), &memory);
    ReferenceSet changed_ids;
    for (JournalChange& change : changes)
        if (apply_journal_change(std::move(change), *serial, records, changed_ids))
            changed = true;
    rebuild_paths(root, *root_reference, *serial, records);
    if (erase_lost_names(changes, records))
        changed = true;
    if (!refresh_changed_metadata(records, changed_ids, pool, statistics))
        return false;
    changed = changed || std::ranges::any_of(changed_ids, [&](std::uint64_t reference) {
                  return records.contains(reference);
              });

    store_entries(records, snapshot, statistics);
    snapshot.journal_valid = true;
    snapshot.journal_id = journal.UsnJournalID;
    snapshot.next_usn = journal.NextUsn;
    statistics.journal_changes = changes.size();
    statistics.index_entries = snapshot.entries.size();
    statistics.usn_delta_applied = true;
    return true;
}

}  // namespace larkspine::detail
