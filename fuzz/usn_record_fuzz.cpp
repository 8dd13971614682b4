// Walks the records of a buffer from the volume as the enumerators do. Whatever the bytes, the walk
// advances and stays inside the buffer, and a decoded name lies inside its record.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <span>

#include "fs/usn_record.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    using namespace larkspine;
    const auto bytes = std::as_bytes(std::span(data, size));
    detail::UsnRecord record;
    for (std::size_t offset = 0; offset < size; offset += record.record_length) {
        if (detail::parse_usn_record_v2(bytes.data() + offset, size - offset, record) !=
            detail::RecordStatus::ok)
            return 0;
        if (record.record_length < 60 || record.record_length > size - offset ||
            2 * record.name.size() > record.record_length - 60)
            std::abort();
    }
    return 0;
}
