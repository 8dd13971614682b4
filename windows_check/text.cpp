#include "text.h"

#include "base/win32_api.h"

#include <cstdint>

namespace larkspine::check {
namespace {

std::string converted(std::wstring_view text, DWORD flags) {
    const int length = static_cast<int>(text.size());
    const int size =
        WideCharToMultiByte(CP_UTF8, flags, text.data(), length, nullptr, 0, nullptr, nullptr);
    std::string bytes(size > 0 ? static_cast<std::size_t>(size) : 0, '\0');
    if (!bytes.empty())
        WideCharToMultiByte(CP_UTF8, flags, text.data(), length, bytes.data(), size, nullptr,
                            nullptr);
    return bytes;
}

}  // namespace

std::string strict_utf8(std::wstring_view text) {
    return converted(text, WC_ERR_INVALID_CHARS);
}

std::string utf8(std::wstring_view text) {
    return converted(text, 0);
}

std::wstring wide(std::string_view text) {
    const int length = static_cast<int>(text.size());
    const int size = MultiByteToWideChar(CP_UTF8, 0, text.data(), length, nullptr, 0);
    std::wstring units(size > 0 ? static_cast<std::size_t>(size) : 0, L'\0');
    if (!units.empty())
        MultiByteToWideChar(CP_UTF8, 0, text.data(), length, units.data(), size);
    return units;
}

std::vector<std::string> split_lines(std::string_view text) {
    std::vector<std::string> lines;
    while (!text.empty()) {
        const std::size_t end = text.find('\n');
        std::string line(text.substr(0, end));
        if (line.ends_with('\r'))
            line.pop_back();
        lines.push_back(std::move(line));
        text.remove_prefix(end == std::string_view::npos ? text.size() : end + 1);
    }
    return lines;
}

std::string patterned(std::size_t count, unsigned seed) {
    std::string bytes(count, '\0');
    std::uint64_t state = 0x9E3779B97F4A7C15ULL * (seed + 1ULL);
    for (char& byte : bytes) {
        state = state * 6364136223846793005ULL + 1442695040888963407ULL;
        byte = static_cast<char>(state >> 56);
    }
    return bytes;
}

}  // namespace larkspine::check
