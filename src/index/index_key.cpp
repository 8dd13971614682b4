#include "index/index_key.h"

#include "base/fnv1a.h"

namespace larkspine {

std::wstring normalize_index_key(std::wstring_view root) {
    std::wstring key(root);
    for (wchar_t& unit : key) {
        if (unit == L'/')
            unit = L'\\';
        else if (unit >= L'A' && unit <= L'Z')
            unit = static_cast<wchar_t>(unit + (L'a' - L'A'));
    }
    while (key.size() > 3 && key.back() == L'\\')
        key.pop_back();
    return key;
}

std::uint64_t hash_index_key(std::wstring_view key) noexcept {
    std::uint64_t hash = fnv1a_offset_basis;
    for (const wchar_t unit : key) {
        const auto value = static_cast<std::uint16_t>(unit);
        hash = fnv1a_step(hash, static_cast<std::uint8_t>(value & 0xff));
        hash = fnv1a_step(hash, static_cast<std::uint8_t>(value >> 8));
    }
    return hash;
}

std::wstring index_file_name(std::uint64_t hash) {
    std::wstring name = L"index-0000000000000000.lsi";
    for (std::size_t place = 21; hash != 0; hash >>= 4, --place)
        name[place] = L"0123456789abcdef"[hash & 0xf];
    return name;
}

}  // namespace larkspine
