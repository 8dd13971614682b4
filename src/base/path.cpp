#include "base/path.h"

#include "base/win32_api.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>

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

// How many code units the two have in common at least, of the first `length`. Paths that are sorted
// together mostly begin alike, so this looks at four code units at a time.
std::size_t equal_start(std::wstring_view a, std::wstring_view b, std::size_t length) noexcept {
    constexpr std::size_t step = sizeof(std::uint64_t) / sizeof(wchar_t);
    std::size_t equal = 0;
    while (length - equal >= step &&
           std::memcmp(a.data() + equal, b.data() + equal, sizeof(std::uint64_t)) == 0)
        equal += step;
    return equal;
}

bool path_less_by_system(std::wstring_view a, std::wstring_view b) noexcept {
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
    // Ignoring case, the system compares the upper case of one code unit after the other. As long
    // as only ASCII differs its table is not needed, and most pairs are decided here, in a tenth of
    // the time. Case decides between paths that are otherwise alike, by its first difference.
    const std::size_t shorter = std::min(a.size(), b.size());
    const std::size_t start = equal_start(a, b, shorter);
    std::size_t case_difference = shorter;
    for (std::size_t i = start; i < shorter; ++i) {
        if (a[i] == b[i])
            continue;
        if (!is_ascii(a[i]) || !is_ascii(b[i]))
            return path_less_by_system(a.substr(start), b.substr(start));
        const wchar_t a_upper = upper_ascii(a[i]);
        const wchar_t b_upper = upper_ascii(b[i]);
        if (a_upper != b_upper)
            return a_upper < b_upper;
        case_difference = std::min(case_difference, i);
    }
    if (a.size() != b.size())
        return a.size() < b.size();
    return case_difference < shorter && a[case_difference] < b[case_difference];
}

}  // namespace larkspine
