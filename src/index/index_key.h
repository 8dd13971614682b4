// The key of a scan root's index and the file name made from it. Portable and pure; any thread.
//
// The key does not depend on the locale or on the long-path prefix's presence: callers always pass
// the long form, so the prefix is part of every key.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace larkspine {

// `root` with backslashes only, ASCII capitals lower-cased and trailing backslashes removed while
// longer than 3 code units. Two roots with the same key share an index.
[[nodiscard]] std::wstring normalize_index_key(std::wstring_view root);

// 64-bit FNV-1a over the UTF-16LE bytes of `key`.
[[nodiscard]] std::uint64_t hash_index_key(std::wstring_view key) noexcept;

// "index-" and the 16 lower-case hexadecimal digits of `hash`, then ".lsi".
[[nodiscard]] std::wstring index_file_name(std::uint64_t hash);

}  // namespace larkspine
