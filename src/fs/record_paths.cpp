#include "fs/record_paths.h"

#include "base/path_forms.h"

namespace larkspine::detail {

const std::wstring* resolve_record_path(std::uint64_t reference, const std::wstring& root,
                                        const MftRecordMap& records, PathCache& cache,
                                        unsigned depth) {
    if (const auto known = cache.find(reference); known != cache.end())
        return &known->second;
    if (depth > max_record_depth)
        return nullptr;
    const auto found = records.find(reference);
    if (found == records.end())
        return nullptr;
    const MftRecord& record = found->second;
    if (record.parent_reference == reference)
        return &cache.emplace(reference, root).first->second;
    const std::wstring* const parent =
        resolve_record_path(record.parent_reference, root, records, cache, depth + 1);
    if (parent == nullptr)
        return nullptr;
    return &cache.emplace(reference, join_path(*parent, record.name)).first->second;
}

}  // namespace larkspine::detail
