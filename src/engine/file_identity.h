// The physical identity of a file as a hash-table key. A leaf; pure.
#pragma once

#include <cstddef>
#include <cstdint>

#include "engine/scan_records.h"

namespace larkspine::detail {

// Two paths with equal identities are two names of one file.
struct FileIdentity {
    std::uint64_t volume_serial = 0;
    FileId file_id;

    friend bool operator==(const FileIdentity&, const FileIdentity&) = default;
};

// The identity of an entry that has one. Of the serial number only the low 32 bits are compared: a
// query of the file tells all 64, but the volume's own query, from which a table scan takes it,
// only these. With all of them two names of one file, one listed by a table scan and one read by a
// later walk, would be reported as duplicates of each other. Two volumes below one root whose
// serial numbers share these bits hide a duplicate at worst, which is the harmless side.
[[nodiscard]] inline FileIdentity identity_of(const FileCandidate& entry) noexcept {
    return {entry.volume_serial & 0xFFFFFFFF, entry.file_id};
}

struct FileIdentityHash {
    [[nodiscard]] std::size_t operator()(const FileIdentity& identity) const noexcept {
        // Identifiers are dense small numbers; multiplying by an odd constant (2^64 divided by the
        // golden ratio) spreads them.
        constexpr std::uint64_t odd = 0x9e3779b97f4a7c15;
        std::uint64_t hash = identity.volume_serial;
        hash = (hash ^ identity.file_id.high) * odd;
        hash = (hash ^ identity.file_id.low) * odd;
        return hash ^ (hash >> 32);
    }
};

}  // namespace larkspine::detail
