// The file table of a fake volume: which record stands for which file, under which names.
//
// Records are allocated as NTFS does: the root is record 5, those below 24 belong to the system, a
// new file takes the lowest free one, and a reused record has the next sequence number. Names are
// compared without regard to case. Not thread-safe by itself: its owner holds a lock.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <queue>
#include <string>
#include <string_view>
#include <vector>

#include "support/usn_record_writer.h"

namespace larkspine::testing {

inline constexpr std::uint32_t plain_security = 0x108;

class FakeTable {
  public:
    struct Name {
        std::uint64_t parent = 0;
        std::wstring text;
    };
    struct File {
        bool used = false;
        bool held_open = false;
        std::uint16_t sequence = 0;
        std::uint32_t attributes = 0;
        std::uint32_t reasons = 0;  // since the file was last closed
        std::int64_t usn = 0;       // of its last journal record
        std::vector<Name> names;    // the oldest first; none for a reserved record
    };

    FakeTable();

    // Allocates the lowest free record.
    std::uint64_t allocate(std::uint32_t attributes);
    void free(std::uint64_t reference);
    // Reserves a record number that the test uses itself.
    void reserve(std::uint64_t number);

    void add_name(std::uint64_t reference, std::uint64_t parent, std::wstring_view name);
    void remove_name(std::uint64_t parent, std::wstring_view name);
    // The name keeps its age among those of the file.
    void change_name(std::uint64_t parent, std::wstring_view name, std::uint64_t new_parent,
                     std::wstring_view new_name);

    // The file of that path below the root; the root itself for an empty path.
    [[nodiscard]] std::optional<std::uint64_t> find(std::wstring_view path) const;
    [[nodiscard]] std::optional<std::uint64_t> find_in(std::uint64_t parent,
                                                       std::wstring_view name) const;
    // The file of a reference in use.
    [[nodiscard]] File& file(std::uint64_t reference);
    [[nodiscard]] const File& file(std::uint64_t reference) const;
    // One past the highest number.
    [[nodiscard]] std::uint64_t end() const { return files_.size(); }
    // Appends the record of that number as the table lists it, when there is one.
    bool list(std::uint64_t number, std::vector<UsnRecordFields>& records) const;
    void forget_usns();

    // Visits every name with the path of its folder (empty for the root) in order of the names.
    void visit(std::uint64_t folder, const std::wstring& path,
               const std::function<void(const std::wstring& path, std::uint64_t reference)>&
                   visitor) const;

  private:
    struct Key {
        std::uint64_t parent;
        std::wstring name;
    };
    struct KeyLess {
        bool operator()(const Key& a, const Key& b) const;
    };

    // By record number.
    std::vector<File> files_;
    std::priority_queue<std::uint64_t, std::vector<std::uint64_t>, std::greater<>> free_;
    std::map<Key, std::uint64_t, KeyLess> names_;
};

// Splits a path below the root into its folder, which is empty in the root, and its last component.
[[nodiscard]] std::wstring_view folder_of(std::wstring_view path);
[[nodiscard]] std::wstring_view name_of(std::wstring_view path);

}  // namespace larkspine::testing
