// Snapshots for the tests of the index, made with few words. Portable.
#pragma once

#include <initializer_list>
#include <string>
#include <string_view>
#include <vector>

#include "base/scan_records.h"

namespace larkspine::testing {

// Whether every field of the two is the same.
[[nodiscard]] inline bool same_entry(const detail::FileCandidate& a,
                                     const detail::FileCandidate& b) {
    return a.path == b.path && a.name == b.name && a.volume_serial == b.volume_serial &&
           a.file_id == b.file_id && a.has_file_id == b.has_file_id && a.record_id == b.record_id &&
           a.attributes == b.attributes && a.size == b.size && a.creation_time == b.creation_time &&
           a.last_write_time == b.last_write_time && a.record_stamp == b.record_stamp &&
           a.sample_digest == b.sample_digest && a.full_digest == b.full_digest &&
           a.has_sample_digest == b.has_sample_digest && a.has_full_digest == b.has_full_digest;
}

[[nodiscard]] inline bool same_snapshot(const detail::IndexSnapshot& a,
                                        const detail::IndexSnapshot& b) {
    if (a.root != b.root || a.journal_id != b.journal_id || a.next_usn != b.next_usn ||
        a.journal_valid != b.journal_valid || a.entries.size() != b.entries.size())
        return false;
    for (std::size_t i = 0; i < a.entries.size(); ++i)
        if (!same_entry(a.entries[i], b.entries[i]))
            return false;
    return true;
}

// A digest whose bytes count up from `first`.
[[nodiscard]] inline blake3_digest digest_from(std::uint8_t first) {
    blake3_digest digest;
    for (std::uint8_t& byte : digest.bytes)
        byte = first++;
    return digest;
}

// A file with a different value in every field, so that a swapped pair shows.
[[nodiscard]] inline detail::FileCandidate full_entry(std::wstring_view path,
                                                      std::wstring_view name) {
    detail::FileCandidate entry;
    entry.path = path;
    entry.name = name;
    entry.volume_serial = 0x1112131415161718;
    entry.file_id = {0x2122232425262728, 0x3132333435363738};
    entry.has_file_id = true;
    entry.record_id = 0x4142434445464748;
    entry.attributes = 0x51525354;
    entry.size = 0x6162636465666768;
    entry.creation_time = 0x7172737475767778;
    entry.last_write_time = 0x8182838485868788;
    entry.record_stamp = 0x9192939495969798;
    entry.sample_digest = digest_from(0xA0);
    entry.full_digest = digest_from(0xC0);
    entry.has_sample_digest = true;
    entry.has_full_digest = true;
    return entry;
}

// A file as a walk leaves it.
[[nodiscard]] inline detail::FileCandidate walked_file(std::wstring_view path, std::uint64_t size) {
    detail::FileCandidate entry;
    entry.path = path;
    entry.name = path.substr(path.rfind(L'\\') + 1);
    entry.attributes = 0x20;
    entry.size = size;
    return entry;
}

[[nodiscard]] inline detail::IndexSnapshot snapshot_of(
    std::wstring_view root, std::initializer_list<detail::FileCandidate> entries) {
    detail::IndexSnapshot snapshot;
    snapshot.root = root;
    snapshot.entries = entries;
    return snapshot;
}

}  // namespace larkspine::testing
