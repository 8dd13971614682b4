#include "fs/path.h"

#include "fs/win32_api.h"

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

bool path_less(std::wstring_view a, std::wstring_view b) noexcept {
    // The system refuses the null pointer that an empty view may hold.
    if (a.empty() || b.empty())
        return a.size() < b.size();
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

}  // namespace larkspine
