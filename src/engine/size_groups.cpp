#include "engine/size_groups.h"

#include <algorithm>
#include <cstddef>
#include <tuple>

#include "base/entries.h"
#include "base/file_identity.h"

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
        if (!entry.path.empty() && !is_folder(entry.attributes) &&
            !is_reparse_point(entry.attributes))
            sized.push_back({entry.size, &entry});
    // Entries of one size in the order of their addresses, which is that of the snapshot.
    std::sort(sized.begin(), sized.end(), [](const SizedEntry& a, const SizedEntry& b) {
        return a.size != b.size ? a.size < b.size : a.entry < b.entry;
    });
    return sized;
}

bool identity_less(const FileIdentity& a, const FileIdentity& b) noexcept {
    return std::tie(a.volume_serial, a.file_id.low, a.file_id.high) <
           std::tie(b.volume_serial, b.file_id.low, b.file_id.high);
}

// Counts the members that are still to be read (SizeGroup::unread). `known` is room for identities.
std::size_t count_unread(const SizeGroup& group, std::vector<FileIdentity>& known) {
    const auto is_unread = [&group](const FileCandidate* member) {
        return group.size == 0 ? !member->has_file_id : !member->has_sample_digest;
    };
    const auto unread = std::count_if(group.members.begin(), group.members.end(), is_unread);
    if (unread == 0)
        return 0;
    known.clear();
    for (const FileCandidate* member : group.members)
        if (!is_unread(member) && member->has_file_id)
            known.push_back(identity_of(*member));
    std::sort(known.begin(), known.end(), identity_less);
    // Of several names of a file one is kept, and that one has the digests.
    const auto is_further_name = [&](const FileCandidate* member) {
        return is_unread(member) && member->has_file_id &&
               std::binary_search(known.begin(), known.end(), identity_of(*member), identity_less);
    };
    return static_cast<std::size_t>(
        unread - std::count_if(group.members.begin(), group.members.end(), is_further_name));
}

}  // namespace

SizeGroups group_by_size(std::vector<FileCandidate>& entries) {
    const std::vector<SizedEntry> sized = sorted_by_size(entries);
    SizeGroups result;
    std::vector<FileIdentity> identities;
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
            result.groups.back().unread = count_unread(result.groups.back(), identities);
        }
        first = last;
    }
    return result;
}

}  // namespace larkspine::detail
