#include "engine/size_groups.h"

namespace larkspine::detail {

SizeMap group_by_size(std::vector<FileCandidate>& entries) {
    SizeMap groups;
    for (FileCandidate& entry : entries)
        if (!entry.path.empty() &&
            (entry.attributes & (attribute_directory | attribute_reparse_point)) == 0)
            groups[entry.size].push_back(&entry);
    return groups;
}

}  // namespace larkspine::detail
