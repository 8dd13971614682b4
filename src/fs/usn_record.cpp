#include "fs/usn_record.h"

#include <cstring>

#include "base/byte_reader.h"

namespace larkspine::detail {
namespace {

static_assert(sizeof(wchar_t) == 2, "names are UTF-16 code units");

// The fixed fields end where the name may begin.
constexpr std::size_t name_start = 60;
constexpr std::size_t smallest_record = 8;

}  // namespace

RecordStatus parse_usn_record_v2(const std::byte* bytes, std::size_t available, UsnRecord& parsed) {
    if (bytes == nullptr || available < smallest_record)
        return RecordStatus::malformed;
    const auto length = load_little_endian<std::uint32_t>(bytes);
    if (length < smallest_record || length > available)
        return RecordStatus::malformed;
    parsed.record_length = length;
    if (load_little_endian<std::uint16_t>(bytes + 4) != 2)
        return RecordStatus::unsupported_version;
    if (length < name_start)
        return RecordStatus::malformed;

    const auto name_length = load_little_endian<std::uint16_t>(bytes + 56);
    const auto name_offset = load_little_endian<std::uint16_t>(bytes + 58);
    if (name_length % 2 != 0 || name_offset % 2 != 0 || name_offset < name_start ||
        name_offset > length || name_length > length - name_offset)
        return RecordStatus::malformed;

    parsed.file_reference = load_little_endian<std::uint64_t>(bytes + 8);
    parsed.parent_reference = load_little_endian<std::uint64_t>(bytes + 16);
    parsed.usn = static_cast<std::int64_t>(load_little_endian<std::uint64_t>(bytes + 24));
    parsed.reason = load_little_endian<std::uint32_t>(bytes + 40);
    parsed.attributes = load_little_endian<std::uint32_t>(bytes + 52);
    parsed.name.resize(name_length / 2);
    std::memcpy(parsed.name.data(), bytes + name_offset, name_length);
    return RecordStatus::ok;
}

}  // namespace larkspine::detail
