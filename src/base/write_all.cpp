#include "base/write_all.h"

#include <algorithm>
#include <limits>

namespace larkspine {

bool write_all(HANDLE file, std::span<const std::byte> bytes) {
    while (!bytes.empty()) {
        // The system counts bytes in 32 bits.
        const auto request = static_cast<DWORD>(
            std::min<std::size_t>(bytes.size(), std::numeric_limits<DWORD>::max()));
        DWORD written = 0;
        if (!WriteFile(file, bytes.data(), request, &written, nullptr) || written == 0 ||
            written > request)
            return false;
        bytes = bytes.subspan(written);
    }
    return true;
}

}  // namespace larkspine
