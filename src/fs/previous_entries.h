// The entries of the last run, found by the paths and identities of this one. Portable and pure;
// one thread.
//
// A walk lists an unchanged folder in the same order as the last time, so the entry that follows
// the one found last is looked at first. An index of all paths is made when that fails for the
// first time. For a million unchanged entries this takes less than a tenth of the time of an index
// that is made and asked. The answers are those of the index, whatever the order.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <unordered_set>
#include <vector>

#include "base/file_identity.h"
#include "base/path_forms.h"
#include "base/scan_records.h"

namespace larkspine::detail {

// Entries by path. Folders can be made to tell case apart: where several entries have one
// comparison form, the path as it is spelled says which of them is meant, and of several that are
// spelled alike it is the first.
class PathIndex {
  public:
    explicit PathIndex(const std::vector<FileCandidate>& entries);

    // Null when no entry has that path.
    [[nodiscard]] const FileCandidate* find(std::wstring_view path) const;
    // Whether two entries are spelled alike.
    [[nodiscard]] bool has_repeated_spelling() const noexcept { return repeated_spelling_; }

  private:
    struct Slot {
        const FileCandidate* entry = nullptr;  // the first of its comparison form
        std::uint32_t print = 0;               // the bits of the hash that do not choose the slot
        bool is_several = false;               // then by_spelling_ has them all
    };

    // Where that form is, or the empty slot where it belongs.
    [[nodiscard]] std::size_t place_of(const ComparisonForm& form, std::uint64_t hash) const;
    void add(const FileCandidate& entry);
    void add_spelling(const FileCandidate& entry);

    std::vector<Slot> slots_;  // open addressing; never more than half full
    std::unordered_map<std::wstring_view, const FileCandidate*> by_spelling_;
    bool repeated_spelling_ = false;
};

// The paths that were met so far. Made for those of a walk: the files of a folder stand together,
// so a name is looked for among those of its folder alone, which are in the processor's cache.
class MetPaths {
  public:
    // Adds a path, which must outlive this. False when it may have been added before: it was, or
    // its folder was left in between, or two names have one hash of 64 bits.
    [[nodiscard]] bool add(std::wstring_view path);

  private:
    struct Slot {
        std::uint64_t hash = 0;
        std::uint32_t folder = 0;  // the slot is empty unless this is the current folder
    };

    [[nodiscard]] bool add_name(std::uint64_t hash);
    void grow();

    std::unordered_set<std::wstring_view> folders_;
    std::wstring_view folder_;
    std::uint32_t folder_number_ = 0;  // from 1
    std::size_t names_ = 0;            // in the current folder
    std::vector<Slot> slots_;          // open addressing; never more than half full
};

class PreviousEntries {
  public:
    // `entries` must outlive this and stay as they are.
    explicit PreviousEntries(const std::vector<FileCandidate>& entries);

    // The entry that had that path (PathIndex); null when there is none.
    [[nodiscard]] const FileCandidate* at(std::wstring_view path);
    // The entry of that file; null when there is none. Of several names of one file only the one
    // that was kept has been hashed, so the one with the most digests counts.
    [[nodiscard]] const FileCandidate* of_file(const FileIdentity& identity);

  private:
    [[nodiscard]] bool is_next(std::wstring_view path);

    const std::vector<FileCandidate>& entries_;
    std::size_t next_ = 0;  // behind the one found last
    MetPaths met_;          // those before next_, until there is an index
    std::optional<PathIndex> by_path_;
    std::optional<std::unordered_map<FileIdentity, const FileCandidate*, FileIdentityHash>>
        by_identity_;
};

}  // namespace larkspine::detail
