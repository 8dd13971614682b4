// Full paths from the parent links of file records. Portable and pure.
#pragma once

#include <cstdint>
#include <memory_resource>
#include <string>
#include <unordered_map>

namespace larkspine::detail {

// What is kept of one record of the master file table.
struct MftRecord {
    std::uint64_t parent_reference = 0;
    std::wstring name;
    std::uint32_t attributes = 0;
    std::uint32_t reason = 0;
    std::int64_t usn = 0;
};

// By file reference number; folders and files alike. Their nodes may live in a buffer of the
// caller's.
using MftRecordMap = std::pmr::unordered_map<std::uint64_t, MftRecord>;
using PathCache = std::pmr::unordered_map<std::uint64_t, std::wstring>;

// A chain of at most one more record than this is followed. Deeper than any tree that can be made
// through paths of ordinary length, and a bound on chains that loop.
inline constexpr unsigned max_record_depth = 256;

// The path of the record `reference`, built once and kept in `cache`, where the pointer stays
// valid; null when a parent is missing or the chain is deeper than the bound, for which nothing is
// cached. `root` is the path of the volume's root folder, which is its own parent. The first call
// passes depth 0.
[[nodiscard]] const std::wstring* resolve_record_path(std::uint64_t reference,
                                                      const std::wstring& root,
                                                      const MftRecordMap& records, PathCache& cache,
                                                      unsigned depth = 0);

}  // namespace larkspine::detail
