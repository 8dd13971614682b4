// A 32-byte BLAKE3 output as a value: compared bytewise, usable as a hash-table key. A leaf.
// content_hashing computes them.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

#include "base/fnv1a.h"

namespace larkspine {

// 32 bytes: the default output length of BLAKE3.
struct blake3_digest {
    std::array<std::uint8_t, 32> bytes{};

    friend bool operator==(const blake3_digest&, const blake3_digest&) = default;
};

struct blake3_digest_hash {
    [[nodiscard]] std::size_t operator()(const blake3_digest& digest) const noexcept {
        std::uint64_t hash = fnv1a_offset_basis;
        for (const std::uint8_t byte : digest.bytes)
            hash = fnv1a_step(hash, byte);
        return hash;
    }
};

}  // namespace larkspine
