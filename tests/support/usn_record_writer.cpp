#include "support/usn_record_writer.h"

namespace larkspine::testing {
namespace {

constexpr std::size_t name_offset = 60;

}  // namespace

std::size_t usn_record_length(std::size_t name_units) {
    return (name_offset + 2 * name_units + 7) / 8 * 8;
}

std::size_t write_usn_record(const UsnRecordFields& record, std::byte* bytes) {
    const std::size_t length = usn_record_length(record.name.size());
    store_little_endian(bytes, length, 4);
    store_little_endian(bytes + 4, 2, 2);
    store_little_endian(bytes + 6, 0, 2);
    store_little_endian(bytes + 8, record.reference, 8);
    store_little_endian(bytes + 16, record.parent, 8);
    store_little_endian(bytes + 24, static_cast<std::uint64_t>(record.usn), 8);
    store_little_endian(bytes + 32, record.time_stamp, 8);
    store_little_endian(bytes + 40, record.reason, 4);
    store_little_endian(bytes + 44, record.source, 4);
    store_little_endian(bytes + 48, record.security, 4);
    store_little_endian(bytes + 52, record.attributes, 4);
    store_little_endian(bytes + 56, 2 * record.name.size(), 2);
    store_little_endian(bytes + 58, name_offset, 2);
    std::byte* place = bytes + name_offset;
    for (const wchar_t unit : record.name) {
        store_little_endian(place, static_cast<std::uint16_t>(unit), 2);
        place += 2;
    }
    while (place < bytes + length)
        *place++ = std::byte{0};
    return length;
}

void store_little_endian(std::byte* bytes, std::uint64_t value, std::size_t size) {
    for (std::size_t i = 0; i < size; ++i)
        bytes[i] = static_cast<std::byte>(value >> (8 * i));
}

std::uint64_t load_little_endian(const std::byte* bytes, std::size_t size) {
    std::uint64_t value = 0;
    for (std::size_t i = 0; i < size; ++i)
        value |= std::to_integer<std::uint64_t>(bytes[i]) << (8 * i);
    return value;
}

}  // namespace larkspine::testing
