#include "base/path.h"

#include "base/win32_api.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <optional>

namespace larkspine {

std::wstring to_long_path(const std::wstring& path) {
    if (starts_with(path, long_path_prefix))
        return path;

    // The first call counts the terminating null, the second does not.
    const DWORD capacity = GetFullPathNameW(path.c_str(), 0, nullptr, nullptr);
    if (capacity == 0)
        return path;
    std::wstring full(capacity, L'\0');
    const DWORD length = GetFullPathNameW(path.c_str(), capacity, full.data(), nullptr);
    // A length that does not fit means that the current directory changed in between and that
    // nothing was written.
    if (length == 0 || length >= capacity)
        return path;
    full.resize(length);

    if (starts_with(full, L"\\\\"))
        return full.replace(0, 2, long_unc_prefix);
    return full.insert(0, long_path_prefix);
}

namespace {

constexpr wchar_t upper_ascii(wchar_t unit) noexcept {
    return unit >= L'a' && unit <= L'z' ? static_cast<wchar_t>(unit - (L'a' - L'A')) : unit;
}

constexpr bool is_ascii(wchar_t unit) noexcept {
    return unit < 0x80;
}

// How many code units the two begin with in common, rounded down to a multiple of four: paths that
// are sorted together mostly begin alike, so this looks at four at a time.
std::size_t common_prefix(std::wstring_view a, std::wstring_view b) noexcept {
    const std::size_t shorter = std::min(a.size(), b.size());
    constexpr std::size_t step = sizeof(std::uint64_t) / sizeof(wchar_t);
    std::size_t common = 0;
    while (shorter - common >= step &&
           std::memcmp(a.data() + common, b.data() + common, sizeof(std::uint64_t)) == 0)
        common += step;
    return common;
}

// The ordering, as far as it can be told without the system, whose table of capitals is not needed
// while only ASCII differs: by the first difference in upper case, then by length, then by the
// first difference. Empty when another code unit differs.
std::optional<bool> less_in_ascii(std::wstring_view a, std::wstring_view b) noexcept {
    const std::size_t shorter = std::min(a.size(), b.size());
    std::optional<bool> less_by_case;
    for (std::size_t i = 0; i < shorter; ++i) {
        if (a[i] == b[i])
            continue;
        if (!is_ascii(a[i]) || !is_ascii(b[i]))
            return std::nullopt;
        if (upper_ascii(a[i]) != upper_ascii(b[i]))
            return upper_ascii(a[i]) < upper_ascii(b[i]);
        if (!less_by_case)
            less_by_case = a[i] < b[i];
    }
    if (a.size() != b.size())
        return a.size() < b.size();
    return less_by_case.value_or(false);
}

bool less_by_system(std::wstring_view a, std::wstring_view b) noexcept {
    const int a_length = static_cast<int>(a.size());
    const int b_length = static_cast<int>(b.size());
    const int ignoring_case = CompareStringOrdinal(a.data(), a_length, b.data(), b_length, TRUE);
    if (ignoring_case != CSTR_EQUAL)
        return ignoring_case == CSTR_LESS_THAN;
    const int exact = CompareStringOrdinal(a.data(), a_length, b.data(), b_length, FALSE);
    if (exact != CSTR_EQUAL)
        return exact == CSTR_LESS_THAN;
    return a < b;
}

}  // namespace

bool path_less(std::wstring_view a, std::wstring_view b) noexcept {
    // What the two begin with in common decides nothing.
    const std::size_t common = common_prefix(a, b);
    a.remove_prefix(common);
    b.remove_prefix(common);
    // Most pairs are decided without the system, in a tenth of the time.
    const std::optional<bool> less = less_in_ascii(a, b);
    return less ? *less : less_by_system(a, b);
}

}  // namespace larkspine
