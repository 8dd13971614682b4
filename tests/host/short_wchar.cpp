// The wide functions that std::char_traits<wchar_t> calls, for a wchar_t of 16 bits: the C
// library's own are for 32 bits.
#include <cstddef>

static_assert(sizeof(wchar_t) == 2);

extern "C" {

std::size_t wcslen(const wchar_t* text) {
    std::size_t length = 0;
    while (text[length] != 0)
        ++length;
    return length;
}

wchar_t* wmemcpy(wchar_t* to, const wchar_t* from, std::size_t count) {
    for (std::size_t i = 0; i < count; ++i)
        to[i] = from[i];
    return to;
}

wchar_t* wmemmove(wchar_t* to, const wchar_t* from, std::size_t count) {
    if (to < from)
        return wmemcpy(to, from, count);
    while (count-- > 0)
        to[count] = from[count];
    return to;
}

wchar_t* wmemset(wchar_t* to, wchar_t unit, std::size_t count) {
    for (std::size_t i = 0; i < count; ++i)
        to[i] = unit;
    return to;
}

int wmemcmp(const wchar_t* a, const wchar_t* b, std::size_t count) {
    for (std::size_t i = 0; i < count; ++i)
        if (a[i] != b[i])
            return a[i] < b[i] ? -1 : 1;
    return 0;
}

const wchar_t* wmemchr(const wchar_t* text, wchar_t unit, std::size_t count) {
    for (std::size_t i = 0; i < count; ++i)
        if (text[i] == unit)
            return text + i;
    return nullptr;
}

int wcscmp(const wchar_t* a, const wchar_t* b) {
    while (*a != 0 && *a == *b)
        ++a, ++b;
    return *a == *b ? 0 : *a < *b ? -1 : 1;
}

int wcsncmp(const wchar_t* a, const wchar_t* b, std::size_t count) {
    for (; count > 0 && *a != 0 && *a == *b; --count)
        ++a, ++b;
    return count == 0 || *a == *b ? 0 : *a < *b ? -1 : 1;
}
}
