#include "engine/size_groups.h"

#include <algorithm>
#include <cstddef>

namespace larkspine::detail {
namespace {

struct SizedEntry {
    std::uint64_t size = 0;
    FileCandidate* entry = nullptr;
};

std::vector<SizedEntry> sorted_by_size(std::vector<FileCandidate>& entries) {
    std::vector<SizedEntry> sized;
    sized.reserve(entries.size());
    for (FileCandidate& entry : entries)
        if (!entry.path.empty() &&
            (entry.attributes & (attribute_directory | attribute_reparse_point)) == 0)
            sized.push_back({entry.size, &entry});
    // Entries of one size in the order of their addresses, which is that of the snapshot.
    std::sort(sized.begin(), sized.end(), [](const SizedEntry& a, const SizedEntry& b) {
        return a.size != b.size ? a.size < b.size : a.entry < b.entry;
    });
    return sized;
}

}  // namespace

SizeGroups group_by_size(std::vector<FileCandidate>& entries) {
    const std::vector<SizedEntry> sized = sorted_by_size(entries);
    SizeGroups result;
    // The groups look into this buffer, so it must not move any more.
    result.candidates.reserve(sized.size());
    for (std::size_t first = 0; first < sized.size();) {
        std::size_t last = first + 1;
        while (last < sized.size() && sized[last].size == sized[first].size)
            ++last;
        if (last - first >= 2) {
            FileCandidate** const members = result.candidates.data() + result.candidates.size();
            for (std::size_t i = first; i < last; ++i)
                result.candidates.push_back(sized[i].entry);
            result.groups.push_back({sized[first].size, {members, last - first}});
        }
        first = last;
    }
    return result;
}

}  // namespace larkspine::detail
