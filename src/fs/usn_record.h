// Reading the records that the volume hands out for its master file table and its change journal.
// Both use the same shape, USN_RECORD_V2, little-endian, aligned to 8 bytes:
//
//     offset  size  field
//          0     4  record length in bytes, this field included
//          4     2  major version; only 2 is decoded
//          6     2  minor version
//          8     8  file reference number
//         16     8  file reference number of the parent folder
//         24     8  USN, signed
//         32     8  time stamp
//         40     4  reason
//         44     4  source
//         48     4  security identifier
//         52     4  file attributes
//         56     2  length of the name in bytes
//         58     2  offset of the name
//         60        the name, UTF-16
//
// Pure: bytes in, one record out; calls no system function and allocates only the name. Any thread.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <unordered_set>

namespace larkspine::detail {

struct UsnRecord {
    std::uint32_t record_length = 0;
    std::uint64_t file_reference = 0;
    std::uint64_t parent_reference = 0;
    std::wstring name;  // one path component
    std::uint32_t attributes = 0;
    std::uint32_t reason = 0;
    std::int64_t usn = 0;
};

// File reference numbers.
using ReferenceSet = std::unordered_set<std::uint64_t>;

enum class RecordStatus : std::uint8_t { ok, unsupported_version, malformed };

// Decodes the record at the start of `bytes`, of which `available` may be read.
// On `ok` every field of `parsed` is set. On `unsupported_version` only its length is, so that the
// caller can tell how far the record reaches. On `malformed` nothing counts.
[[nodiscard]] RecordStatus parse_usn_record_v2(const std::byte* bytes, std::size_t available,
                                               UsnRecord& parsed);

// Decodes the records that fill `bytes`, one after the other, and hands each to `take`, which may
// move its name away. False when one of them is not understood; those before it were handed over.
template <typename Take>
[[nodiscard]] bool for_each_record(std::span<const std::byte> bytes, Take&& take) {
    UsnRecord record;
    while (!bytes.empty()) {
        if (parse_usn_record_v2(bytes.data(), bytes.size(), record) != RecordStatus::ok)
            return false;
        bytes = bytes.subspan(record.record_length);
        take(record);
    }
    return true;
}

}  // namespace larkspine::detail
