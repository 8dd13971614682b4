#include "fs/mft_enumeration.h"

#include <cstddef>
#include <memory>
#include <memory_resource>
#include <optional>
#include <utility>
#include <vector>

#include "base/byte_reader.h"
#include "base/entries.h"
#include "base/file_identity.h"
#include "base/path_forms.h"
#include "base/read_buffer.h"
#include "base/win32_handle.h"
#include "fs/exclusions.h"
#include "fs/file_metadata.h"
#include "fs/usn_record.h"
#include "fs/volume.h"
#include "pool/job_batch.h"

namespace larkspine::detail {
namespace {

// Takes the record's name.
void fill_entry(std::uint64_t reference, std::uint64_t volume_serial, MftRecord& record,
                FileCandidate& entry) {
    entry.name = std::move(record.name);
    set_identity(entry, volume_serial, reference);
    entry.record_id = record.parent_reference;
    entry.attributes = record.attributes;
    entry.record_stamp = static_cast<std::uint64_t>(record.usn);
}

// The references that some record names as its parent.
ReferenceSet parents_among(const MftRecordMap& records) {
    ReferenceSet parents;
    for (const auto& [reference, record] : records)
        parents.insert(record.parent_reference);
    return parents;
}

// Builds the path of a record; false when it has none. Leaves are not cached: nothing looks them up
// again.
bool build_path(std::uint64_t reference, const MftRecord& record, bool is_leaf,
                const std::wstring& root, const MftRecordMap& records, PathCache& cache,
                std::wstring& path) {
    if (!is_leaf) {
        const std::wstring* const built = resolve_record_path(reference, root, records, cache);
        if (built != nullptr)
            path = *built;
        return built != nullptr;
    }
    const std::wstring* const parent =
        resolve_record_path(record.parent_reference, root, records, cache, 1);
    if (parent != nullptr)
        assign_joined(path, *parent, record.name);
    return parent != nullptr;
}

// Appends the root and every record that lies below it, with the names taken from the records. The
// indices of the files among them are returned: their sizes and times are still to be fetched.
std::vector<std::size_t> build_entries(const std::wstring& root, const VolumeIdentity& volume,
                                       MftRecordMap& records, std::vector<FileCandidate>& entries,
                                       ScanStatistics& statistics) {
    entries.clear();
    entries.reserve(records.size() + 1);
    MftRecord root_record;
    root_record.parent_reference = volume.root_reference;
    root_record.attributes = attribute_directory;
    FileCandidate& root_entry = entries.emplace_back();
    root_entry.path = root;
    fill_entry(volume.root_reference, volume.serial, root_record, root_entry);
    statistics.directories = 1;

    std::pmr::monotonic_buffer_resource memory;
    PathCache cache(&memory);
    cache.emplace(volume.root_reference, root);
    const ReferenceSet parents = parents_among(records);
    std::vector<std::size_t> files;
    for (auto& [reference, record] : records) {
        if (reference == volume.root_reference)
            continue;
        FileCandidate entry;
        // A folder is cached here, before its name is taken, so that what it holds finds its path.
        const bool is_leaf = !parents.contains(reference);
        if (!build_path(reference, record, is_leaf, root, records, cache, entry.path)) {
            ++statistics.failures;
            continue;
        }
        if (is_excluded_path(entry.path)) {
            ++statistics.excluded_entries;
            continue;
        }
        if (is_reparse_point(record.attributes))
            continue;
        // Folders stay in the snapshot: later journal changes rebuild their children's paths.
        if (is_folder(record.attributes))
            ++statistics.directories;
        else
            files.push_back(entries.size());
        fill_entry(reference, volume.serial, record, entry);
        entries.push_back(std::move(entry));
    }
    return files;
}

// The whole table as entries, and the indices of the files among them; empty, with `entries` as
// they were, when it cannot be read. The records are gone when this returns: at ten million of them
// they would hold 0.8 GB while the metadata is fetched.
std::optional<std::vector<std::size_t>> read_entries(const std::wstring& root, HANDLE volume,
                                                     const USN_JOURNAL_DATA_V0& journal,
                                                     const VolumeIdentity& identity,
                                                     std::vector<FileCandidate>& entries,
                                                     ScanStatistics& statistics,
                                                     ScanProgress& progress) {
    std::pmr::monotonic_buffer_resource memory;
    MftRecordMap records(&memory);
    if (!enumerate_usn_records(volume, journal, records, progress))
        return std::nullopt;
    return build_entries(root, identity, records, entries, statistics);
}

// Fetches the metadata of the entries at `files` and removes those that are files no more.
void fetch_metadata(const std::vector<std::size_t>& files, std::vector<FileCandidate>& entries,
                    ScanStatistics& statistics, ScanProgress& progress, worker_pool& pool) {
    using Result = std::optional<WIN32_FILE_ATTRIBUTE_DATA>;
    std::vector<bool> dropped(entries.size());
    JobBatch<std::size_t, Result> batch(pool, files.size());
    const auto collect = [&](std::size_t index, const Result& metadata) {
        if (!metadata) {
            dropped[index] = true;
            ++statistics.failures;
            return;
        }
        store_metadata(*metadata, entries[index]);
        ++statistics.files;
        ++progress.documents;
    };
    for (const std::size_t index : files)
        batch.submit(
            index, [path = entries[index].path] { return file_metadata_of(path); }, collect);
    batch.drain(collect);

    std::size_t kept = 0;
    for (std::size_t i = 0; i < entries.size(); ++i) {
        if (dropped[i])
            continue;
        if (kept != i)
            entries[kept] = std::move(entries[i]);
        ++kept;
    }
    entries.resize(kept);
}

}  // namespace

bool enumerate_usn_records(HANDLE volume, const USN_JOURNAL_DATA_V0& journal, MftRecordMap& records,
                           ScanProgress& progress) {
    constexpr std::size_t next_reference_size = 8;
    MFT_ENUM_DATA_V0 request = {0, 0, journal.NextUsn};
    const auto buffer = std::make_unique<ReadBuffer>();
    for (;;) {
        DWORD returned = 0;
        if (!DeviceIoControl(volume, FSCTL_ENUM_USN_DATA, &request, sizeof request, buffer->bytes,
                             sizeof buffer->bytes, &returned, nullptr))
            return GetLastError() == ERROR_HANDLE_EOF;
        if (returned > sizeof buffer->bytes || returned < next_reference_size)
            return false;
        if (returned == next_reference_size)
            return true;
        const auto next = load_little_endian<std::uint64_t>(buffer->bytes);
        // Without progress this would loop forever.
        if (next <= request.StartFileReferenceNumber)
            return false;
        request.StartFileReferenceNumber = next;
        const auto store = [&](UsnRecord& record) {
            ++progress.entries_seen;
            records.insert_or_assign(
                record.file_reference,
                MftRecord{record.parent_reference, std::exchange(record.name, {}),
                          record.attributes, record.reason, record.usn});
        };
        if (!for_each_record({buffer->bytes + next_reference_size, returned - next_reference_size},
                             store))
            return false;
    }
}

bool scan_ntfs_mft(const std::wstring& root, IndexSnapshot& snapshot, ScanStatistics& statistics,
                   ScanProgress& progress, worker_pool& pool) {
    if (!is_ntfs_drive_root(root))
        return false;
    const unique_handle volume = own_handle(open_volume(root));
    if (!volume)
        return false;
    const std::optional<VolumeIdentity> identity = volume_identity_of(root);
    if (!identity)
        return false;
    const std::optional<USN_JOURNAL_DATA_V0> journal = query_usn_journal(volume.get());
    if (!journal)
        return false;
    const std::optional<std::vector<std::size_t>> files = read_entries(
        root, volume.get(), *journal, *identity, snapshot.entries, statistics, progress);
    if (!files)
        return false;
    snapshot.root = root;
    snapshot.journal_valid = true;
    snapshot.journal_id = journal->UsnJournalID;
    snapshot.next_usn = journal->NextUsn;
    fetch_metadata(*files, snapshot.entries, statistics, progress, pool);
    statistics.index_entries = snapshot.entries.size();
    statistics.mft_used = true;
    return true;
}

}  // namespace larkspine::detail
