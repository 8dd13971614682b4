// Writes the records that a volume returns for its file table and its change journal, byte by byte,
// little-endian, version 2.0 of the public layout:
//
//     offset  size  field
//          0     4  record length in bytes, this field and the padding at the end included
//          4     2  major version, 2
//          6     2  minor version, 0
//          8     8  file reference number
//         16     8  parent's file reference number
//         24     8  USN
//         32     8  time stamp, FILETIME
//         40     4  reason
//         44     4  source
//         48     4  security identifier
//         52     4  file attributes
//         56     2  length of the name in bytes
//         58     2  offset of the name, 60
//         60        name, UTF-16, without a null; then zeros up to a multiple of 8
//
// Pure. Knows nothing of the production decoder, so that neither can hide a fault of the other.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

namespace larkspine::testing {

namespace usn_reason {
inline constexpr std::uint32_t data_overwrite = 0x1;
inline constexpr std::uint32_t data_extend = 0x2;
inline constexpr std::uint32_t data_truncation = 0x4;
inline constexpr std::uint32_t named_data_overwrite = 0x10;
inline constexpr std::uint32_t named_data_extend = 0x20;
inline constexpr std::uint32_t named_data_truncation = 0x40;
inline constexpr std::uint32_t file_create = 0x100;
inline constexpr std::uint32_t file_delete = 0x200;
inline constexpr std::uint32_t extended_attribute_change = 0x400;
inline constexpr std::uint32_t security_change = 0x800;
inline constexpr std::uint32_t rename_old_name = 0x1000;
inline constexpr std::uint32_t rename_new_name = 0x2000;
inline constexpr std::uint32_t indexable_change = 0x4000;
inline constexpr std::uint32_t basic_info_change = 0x8000;
inline constexpr std::uint32_t hard_link_change = 0x10000;
inline constexpr std::uint32_t compression_change = 0x20000;
inline constexpr std::uint32_t encryption_change = 0x40000;
inline constexpr std::uint32_t object_id_change = 0x80000;
inline constexpr std::uint32_t reparse_point_change = 0x100000;
inline constexpr std::uint32_t stream_change = 0x200000;
inline constexpr std::uint32_t transacted_change = 0x400000;
inline constexpr std::uint32_t integrity_change = 0x800000;
inline constexpr std::uint32_t storage_class_change = 0x1000000;
inline constexpr std::uint32_t close = 0x80000000;

// The reasons that a file may have any number of times under one name.
inline constexpr std::uint32_t repeatable[] = {data_overwrite,
                                               data_extend,
                                               data_truncation,
                                               named_data_overwrite,
                                               named_data_extend,
                                               named_data_truncation,
                                               extended_attribute_change,
                                               security_change,
                                               indexable_change,
                                               basic_info_change,
                                               compression_change,
                                               encryption_change,
                                               object_id_change,
                                               reparse_point_change,
                                               stream_change,
                                               transacted_change,
                                               integrity_change,
                                               storage_class_change,
                                               close};
}  // namespace usn_reason

struct UsnRecordFields {
    std::uint64_t reference = 0;
    std::uint64_t parent = 0;
    std::int64_t usn = 0;
    std::uint64_t time_stamp = 0;
    std::uint32_t reason = 0;
    std::uint32_t source = 0;
    std::uint32_t security = 0;
    std::uint32_t attributes = 0;
    std::wstring name;

    friend bool operator==(const UsnRecordFields&, const UsnRecordFields&) = default;
};

// The length of a record whose name has `name_units` code units: a multiple of 8.
[[nodiscard]] std::size_t usn_record_length(std::size_t name_units);

// Writes the record to `bytes`, which must have room for usn_record_length(name.size()) bytes;
// returns that length.
std::size_t write_usn_record(const UsnRecordFields& record, std::byte* bytes);

// Little-endian integers, for headers and for tests that look at bytes.
void store_little_endian(std::byte* bytes, std::uint64_t value, std::size_t size);
[[nodiscard]] std::uint64_t load_little_endian(const std::byte* bytes, std::size_t size);

// A file reference number: 48 bits of record number, 16 bits of sequence number.
[[nodiscard]] constexpr std::uint64_t make_reference(std::uint64_t number, std::uint16_t sequence) {
    return (std::uint64_t{sequence} << 48) | number;
}
[[nodiscard]] constexpr std::uint64_t record_number(std::uint64_t reference) {
    return reference & 0xFFFF'FFFF'FFFF;
}
[[nodiscard]] constexpr std::uint16_t sequence_number(std::uint64_t reference) {
    return static_cast<std::uint16_t>(reference >> 48);
}

inline constexpr std::uint64_t root_record_number = 5;
inline constexpr std::uint64_t root_reference = make_reference(root_record_number, 5);
inline constexpr std::uint64_t first_free_record_number = 24;  // those below are the system's

}  // namespace larkspine::testing
