// 64-bit FNV-1a, the hash behind index file names and digest tables. A leaf: includes nothing of
// this project. Pure, so any thread may call it.
#pragma once

#include <cstdint>

namespace larkspine {

// The offset basis and the prime of the 64-bit variant, from the algorithm's definition.
inline constexpr std::uint64_t fnv1a_offset_basis = 0xcbf29ce484222325;
inline constexpr std::uint64_t fnv1a_prime = 0x100000001b3;

// One step: the hash of the bytes behind `hash` followed by `byte`.
[[nodiscard]] constexpr std::uint64_t fnv1a_step(std::uint64_t hash, std::uint8_t byte) noexcept {
    return (hash ^ byte) * fnv1a_prime;
}

}  // namespace larkspine
