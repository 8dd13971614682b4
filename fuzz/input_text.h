// How the bytes of a fuzz input become lines of UTF-16 text.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace larkspine::fuzz {

// One text for each line. An ASCII byte is that code unit; any other byte is the upper half of a
// code unit, 0xFF standing for 0, and the byte that follows is the lower half. So the texts of a
// corpus are readable, and every code unit can occur.
inline std::vector<std::wstring> lines_of(const std::uint8_t* data, std::size_t size) {
    std::vector<std::wstring> lines(1);
    for (std::size_t i = 0; i < size; ++i) {
        if (data[i] == '\n') {
            lines.emplace_back();
        } else if (data[i] < 0x80 || i + 1 == size) {
            lines.back().push_back(static_cast<wchar_t>(data[i]));
        } else {
            const unsigned upper = data[i] == 0xFF ? 0 : data[i];
            lines.back().push_back(static_cast<wchar_t>(upper << 8 | data[++i]));
        }
    }
    return lines;
}

}  // namespace larkspine::fuzz
