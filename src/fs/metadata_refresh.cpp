#include "fs/metadata_refresh.h"

#include <optional>

#include "base/entries.h"
#include "fs/file_metadata.h"
#include "pool/job_batch.h"

namespace larkspine::detail {

bool refresh_changed_metadata(RecordMap& records, const ReferenceSet& changed_ids,
                              worker_pool& pool, ScanStatistics& statistics) {
    using Result = std::optional<WIN32_FILE_ATTRIBUTE_DATA>;
    JobBatch<std::uint64_t, Result> batch(pool, changed_ids.size());
    const auto collect = [&](std::uint64_t reference, const Result& metadata) {
        const auto found = records.find(reference);
        if (found == records.end())
            return;
        if (!metadata) {
            records.erase(found);
            ++statistics.failures;
            return;
        }
        FileCandidate& entry = found->second;
        // The creation time says nothing about the contents.
        if (size_of(*metadata) != entry.size ||
            last_write_time_of(*metadata) != entry.last_write_time)
            drop_digests(entry);
        store_metadata(*metadata, entry);
    };
    for (const std::uint64_t reference : changed_ids) {
        const auto found = records.find(reference);
        if (found == records.end() || is_folder(found->second.attributes))
            continue;
        batch.submit(
            reference, [path = found->second.path] { return file_metadata_of(path); }, collect);
    }
    batch.drain(collect);
    return true;
}

}  // namespace larkspine::detail
