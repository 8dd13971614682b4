// What several stages ask of an entry, or do to it, in one place. A leaf; pure.
#pragma once

#include <cstdint>
#include <span>

#include "base/scan_records.h"

namespace larkspine::detail {

[[nodiscard]] constexpr bool is_folder(std::uint32_t attributes) noexcept {
    return (attributes & attribute_directory) != 0;
}

// A junction, a symbolic link, a mount point or a placeholder of cloud storage.
[[nodiscard]] constexpr bool is_reparse_point(std::uint32_t attributes) noexcept {
    return (attributes & attribute_reparse_point) != 0;
}

// The contents may differ from those that were hashed.
inline void drop_digests(FileCandidate& entry) noexcept {
    entry.has_sample_digest = false;
    entry.has_full_digest = false;
}

// Sets `directories` and `files` to the numbers of folders and of other entries.
inline void count_entries(std::span<const FileCandidate> entries,
                          ScanStatistics& statistics) noexcept {
    statistics.directories = 0;
    for (const FileCandidate& entry : entries)
        if (is_folder(entry.attributes))
            ++statistics.directories;
    statistics.files = entries.size() - statistics.directories;
}

}  // namespace larkspine::detail
