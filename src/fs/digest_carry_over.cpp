#include "fs/digest_carry_over.h"

#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>

#include "base/file_identity.h"
#include "base/fnv1a.h"
#include "base/path_forms.h"
#include "fs/entry_identity.h"

namespace larkspine::detail {
namespace {

struct ComparisonHash {
    std::size_t operator()(const ComparisonView& path) const noexcept {
        std::uint64_t hash = fnv1a_offset_basis;
        for (std::size_t i = 0; i < path.size(); ++i)
            hash = (hash ^ static_cast<std::uint16_t>(path.at(i))) * fnv1a_prime;
        return hash;
    }
};

using IdentityIndex = std::unordered_map<FileIdentity, const FileCandidate*, FileIdentityHash>;

// The previous entries by path. Folders can be made to tell case apart: where several entries have
// one comparison form, the path as it is spelled says which of them is meant.
class PathIndex {
  public:
    explicit PathIndex(const IndexSnapshot& loaded) {
        by_form_.reserve(loaded.entries.size());
        for (const FileCandidate& entry : loaded.entries) {
            const auto [place, added] = by_form_.emplace(ComparisonView(entry.path), &entry);
            if (added)
                continue;
            if (place->second != nullptr)
                by_spelling_.emplace(place->second->path, place->second);
            place->second = nullptr;
            by_spelling_.emplace(entry.path, &entry);
        }
    }

    // Null when no entry has that path.
    const FileCandidate* find(const std::wstring& path) const {
        const auto known = by_form_.find(ComparisonView(path));
        if (known == by_form_.end())
            return nullptr;
        if (known->second != nullptr)
            return known->second;
        const auto spelled = by_spelling_.find(path);
        return spelled == by_spelling_.end() ? nullptr : spelled->second;
    }

  private:
    std::unordered_map<ComparisonView, const FileCandidate*, ComparisonHash> by_form_;
    std::unordered_map<std::wstring_view, const FileCandidate*> by_spelling_;
};

int digest_count(const FileCandidate& entry) {
    return int{entry.has_sample_digest} + int{entry.has_full_digest};
}

// Of several names of one file only the one that was kept has been hashed, so that one counts.
IdentityIndex index_by_identity(const IndexSnapshot& loaded) {
    IdentityIndex index;
    for (const FileCandidate& entry : loaded.entries) {
        if (!entry.has_file_id)
            continue;
        const FileCandidate*& known = index[identity_of(entry)];
        if (known == nullptr || digest_count(entry) > digest_count(*known))
            known = &entry;
    }
    return index;
}

void inherit(FileCandidate& entry, const FileCandidate& previous) {
    if (entry.size != previous.size || entry.creation_time != previous.creation_time ||
        entry.last_write_time != previous.last_write_time)
        return;
    entry.volume_serial = previous.volume_serial;
    entry.file_id = previous.file_id;
    entry.has_file_id = previous.has_file_id;
    entry.sample_digest = previous.sample_digest;
    entry.full_digest = previous.full_digest;
    entry.has_sample_digest = previous.has_sample_digest;
    entry.has_full_digest = previous.has_full_digest;
}

}  // namespace

void carry_over_digests(std::vector<FileCandidate>& fresh, const IndexSnapshot& loaded) {
    const PathIndex by_path(loaded);
    // Made when the first moved or new file asks for it: an unchanged tree never does.
    std::optional<IdentityIndex> by_identity;
    for (FileCandidate& entry : fresh) {
        if (const FileCandidate* const previous = by_path.find(entry.path)) {
            inherit(entry, *previous);
            continue;
        }
        if (read_identity(entry) != IdentityAnswer::read)
            continue;
        if (!by_identity)
            by_identity = index_by_identity(loaded);
        const auto same_file = by_identity->find(identity_of(entry));
        if (same_file != by_identity->end())
            inherit(entry, *same_file->second);
    }
}

}  // namespace larkspine::detail
