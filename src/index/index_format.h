// The index file's bytes: one snapshot, flat, little-endian, without padding or checksum. Every
// field is bounds-checked on reading, and any inconsistency makes the whole file count as absent.
// docs/index-format.md tells the layout. Portable and pure; any thread.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <string_view>

#include "base/scan_records.h"

namespace larkspine::detail {

// More entries than this are neither written nor read: about 14 GB of fixed fields alone, beyond
// any volume seen, and a bound on what a damaged count can ask for.
inline constexpr std::uint64_t max_index_entries = 100'000'000;

// The longest string, in code units: the system's limit for a path, terminator included.
inline constexpr std::uint32_t max_index_string = 32'768;

// An encoded index. Not a vector: a vector would zero every byte before it is written.
struct EncodedIndex {
    std::unique_ptr<std::byte[]> bytes;
    std::size_t size = 0;

    [[nodiscard]] std::span<const std::byte> span() const noexcept { return {bytes.get(), size}; }
};

// The bytes of `snapshot`, in one allocation. Empty when it has too many entries, or an entry whose
// path or name is too long.
[[nodiscard]] std::optional<EncodedIndex> encode_index(const IndexSnapshot& snapshot);

// The snapshot in `bytes`. Empty when they are no index of this version, are damaged, or belong to
// another root than `root` (compared as index keys). The snapshot keeps the stored spelling of its
// root. Beyond the entries' vector and two strings each nothing is allocated, and nothing is
// reserved for a count that the bytes cannot hold.
[[nodiscard]] std::optional<IndexSnapshot> decode_index(std::span<const std::byte> bytes,
                                                        std::wstring_view root);

}  // namespace larkspine::detail
