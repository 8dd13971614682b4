// The physical identity of a file as a hash-table key. A leaf; pure.
#pragma once

#include <cstddef>
#include <cstdint>

#include "base/scan_records.h"

namespace larkspine::detail {

// What the entries of a volume need to know of it.
struct VolumeIdentity {
    std::uint64_t root_reference = 0;  // file reference number of the root folder
    std::uint64_t serial = 0;          // 32 bits, widened
};

// Two paths with equal identities are two names of one file.
struct FileIdentity {
    std::uint32_t volume_serial = 0;
    FileId file_id;

    friend bool operator==(const FileIdentity&, const FileIdentity&) = default;
};

// The identity of an entry that has one. Of the volume's serial number the low 32 bits count: a
// table scan knows no more of it, a query of the file knows all 64, and both mean the same file.
[[nodiscard]] inline FileIdentity identity_of(const FileCandidate& entry) noexcept {
    return {static_cast<std::uint32_t>(entry.volume_serial), entry.file_id};
}

// Gives an entry the identity that the records of a volume know: its serial number and the file
// reference number, which fills the low half of the identifier.
inline void set_identity(FileCandidate& entry, std::uint64_t volume_serial,
                         std::uint64_t reference) noexcept {
    entry.volume_serial = volume_serial;
    entry.file_id = {reference, 0};
    entry.has_file_id = true;
}

// 2^64 divided by the golden ratio, odd: multiplying by it spreads dense small numbers.
inline constexpr std::uint64_t hash_multiplier = 0x9e3779b97f4a7c15;

struct FileIdentityHash {
    [[nodiscard]] std::size_t operator()(const FileIdentity& identity) const noexcept {
        std::uint64_t hash = identity.volume_serial;
        hash = (hash ^ identity.file_id.high) * hash_multiplier;
        hash = (hash ^ identity.file_id.low) * hash_multiplier;
        return hash ^ (hash >> 32);
    }
};

}  // namespace larkspine::detail
