#include "fs/journal_changes.h"

#include <cstddef>
#include <functional>
#include <memory_resource>
#include <string_view>
#include <utility>

#include "base/entries.h"
#include "base/path_forms.h"
#include "fs/exclusion_rule.h"

namespace larkspine::detail {
namespace {

// Reasons of journal records, from the public NTFS documentation.
constexpr std::uint32_t reason_deleted = 0x200;
constexpr std::uint32_t reason_old_name = 0x1000;
constexpr std::uint32_t reason_new_name = 0x2000;
constexpr std::uint32_t reason_basic_information = 0x8000;
// Data or a named stream overwritten, extended or truncated, or the file created.
constexpr std::uint32_t reason_contents = 0x1 | 0x2 | 0x4 | 0x10 | 0x20 | 0x40 | 0x100;
constexpr std::uint32_t reason_metadata =
    reason_contents | reason_new_name | reason_basic_information;

enum class Resolution : std::uint8_t { untouched, resolving_or_failed, resolved };

using ResolutionMap = std::pmr::unordered_map<std::uint64_t, Resolution>;

struct NameInFolder {
    std::uint64_t folder = 0;
    std::wstring_view name;

    friend bool operator==(const NameInFolder&, const NameInFolder&) = default;
};

struct NameInFolderHash {
    std::size_t operator()(const NameInFolder& place) const noexcept {
        return std::hash<std::wstring_view>{}(place.name) ^
               std::hash<std::uint64_t>{}(place.folder);
    }
};

// The folders in which a change gave an entry its name.
ReferenceSet folders_named_in(const std::vector<JournalChange>& changes, const RecordMap& records) {
    ReferenceSet folders;
    for (const JournalChange& change : changes)
        if (const auto named = records.find(change.file_reference); named != records.end())
            folders.insert(named->second.record_id);
    return folders;
}

// Of two entries with one name, the one that has it: a folder, which has no other name, or else the
// one with the later record.
bool has_the_name(const FileCandidate& a, const FileCandidate& b) {
    if (is_folder(a.attributes) != is_folder(b.attributes))
        return is_folder(a.attributes);
    return a.record_stamp > b.record_stamp;
}

// Builds the path of one entry; false when its chain of parents does not reach the root. Follows
// the chain up to a known end and then back, without recursion: an index may hold a chain of any
// length.
class PathResolver {
  public:
    PathResolver(const std::wstring& root, std::uint64_t root_reference, RecordMap& records)
        : root_(root), root_reference_(root_reference), records_(records) {
        resolve_state_.reserve(records.size());
    }

    bool resolve(std::uint64_t reference) {
        chain_.clear();
        const FileCandidate* parent = climb(reference);
        if (parent == nullptr)
            return false;
        for (; !chain_.empty(); chain_.pop_back()) {
            const auto [child_reference, child] = chain_.back();
            // In place: most paths come out as they were, and need no room but their own.
            assign_joined(child->path, parent->path, child->name);
            resolve_state_[child_reference] = Resolution::resolved;
            parent = child;
        }
        return true;
    }

  private:
    // Collects the unresolved entries from `reference` upwards and returns the first one that has
    // its path; null when there is none.
    const FileCandidate* climb(std::uint64_t reference) {
        for (;;) {
            const auto found = records_.find(reference);
            if (found == records_.end())
                return nullptr;
            FileCandidate& entry = found->second;
            if (reference == root_reference_) {
                entry.path = root_;
                return &entry;
            }
            Resolution& state = resolve_state_[reference];
            if (state == Resolution::resolved)
                return &entry;
            if (state == Resolution::resolving_or_failed)
                return nullptr;
            state = Resolution::resolving_or_failed;
            chain_.emplace_back(reference, &entry);
            reference = entry.record_id;
        }
    }

    const std::wstring& root_;
    std::uint64_t root_reference_;
    RecordMap& records_;
    std::pmr::monotonic_buffer_resource memory_;
    ResolutionMap resolve_state_{&memory_};
    std::vector<std::pair<std::uint64_t, FileCandidate*>> chain_;
};

}  // namespace

bool apply_journal_change(JournalChange&& change, std::uint64_t volume_serial, RecordMap& records,
                          ReferenceSet& changed_ids) {
    if ((change.reason & reason_deleted) != 0)
        return records.erase(change.file_reference) != 0;

    const auto [place, created] = records.try_emplace(change.file_reference);
    FileCandidate& entry = place->second;
    set_identity(entry, volume_serial, change.file_reference);
    entry.record_stamp = static_cast<std::uint64_t>(change.usn);
    // The old half of a rename must not overwrite the new name, which may have come before it.
    if ((change.reason & (reason_old_name | reason_new_name)) != reason_old_name) {
        entry.record_id = change.parent_reference;
        entry.name = std::move(change.name);
        entry.attributes = change.attributes;
    }
    if ((change.reason & reason_contents) != 0)
        drop_digests(entry);
    // A record has neither size nor times. Whatever it is about, an entry that it creates would
    // count as an empty file until its metadata is read.
    if (created || (change.reason & reason_metadata) != 0)
        changed_ids.insert(change.file_reference);
    return false;
}

void rebuild_paths(const std::wstring& root, const VolumeIdentity& volume,
                   std::span<const std::wstring> index_folders, RecordMap& records) {
    if (const auto [place, added] = records.try_emplace(volume.root_reference); added) {
        FileCandidate& entry = place->second;
        entry.attributes = attribute_directory;
        entry.record_id = volume.root_reference;
        set_identity(entry, volume.serial, volume.root_reference);
    }

    PathResolver resolver(root, volume.root_reference, records);
    std::vector<std::uint64_t> pruned;
    for (const auto& [reference, entry] : records)
        if (!resolver.resolve(reference) || is_excluded_from(entry.path, index_folders) ||
            is_reparse_point(entry.attributes))
            pruned.push_back(reference);
    for (const std::uint64_t reference : pruned)
        records.erase(reference);
}

bool erase_lost_names(const std::vector<JournalChange>& changes, RecordMap& records) {
    const ReferenceSet folders = folders_named_in(changes, records);
    using Holder = RecordMap::const_pointer;
    std::unordered_map<NameInFolder, Holder, NameInFolderHash> holders;
    std::vector<std::uint64_t> lost;
    for (const auto& entry : records) {
        const FileCandidate& named = entry.second;
        if (!folders.contains(named.record_id))
            continue;
        Holder& holder = holders[{named.record_id, named.name}];
        if (holder == nullptr) {
            holder = &entry;
        } else if (has_the_name(named, holder->second)) {
            lost.push_back(holder->first);
            holder = &entry;
        } else {
            lost.push_back(entry.first);
        }
    }
    // The keys look into names of entries that are erased here, so nothing is looked up any more.
    for (const std::uint64_t reference : lost)
        records.erase(reference);
    return !lost.empty();
}

}  // namespace larkspine::detail
