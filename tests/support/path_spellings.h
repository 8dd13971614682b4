// Spellings of paths, for the tests of several functions that read the text of a path. Portable.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace larkspine::testing {

struct TrimmedPath {
    const wchar_t* path;
    const wchar_t* form;
};

// The comparison form and the key of an index are made by separate code, but both have backslashes
// only, letters of ASCII in lower case and no separators at their end. A drive root keeps its own.
inline constexpr TrimmedPath drive_roots[] = {
    {L"C:\\", L"c:\\"}, {L"C:/", L"c:\\"}, {L"C:\\\\\\", L"c:\\"}, {L"C:", L"c:"}, {L"c:", L"c:"},
};
// Trimming stops at three code units.
inline constexpr TrimmedPath trimmed_paths[] = {
    {L"", L""},
    {L"\\", L"\\"},
    {L"/", L"\\"},
    {L"\\\\\\\\", L"\\\\\\"},
    {L"\\\\\\\\\\", L"\\\\\\"},
    {L"ab\\\\", L"ab\\"},
    {L"abc\\\\", L"abc"},
    {L"c:\\\\\\", L"c:\\"},
    {L"c:\\data\\", L"c:\\data"},
    {L"c:\\data\\\\\\", L"c:\\data"},
    {L"c:\\data//", L"c:\\data"},
};

// Each stem after each prefix that a path may have, or only seems to have, and before separators in
// every mixture, or one of `more_ends`.
[[nodiscard]] inline std::vector<std::wstring> spellings_of(
    const std::vector<std::wstring_view>& stems, const std::vector<std::wstring_view>& more_ends) {
    std::vector<std::wstring_view> ends = {L"", L"\\", L"/", L"\\\\", L"/\\/"};
    ends.insert(ends.end(), more_ends.begin(), more_ends.end());
    std::vector<std::wstring> paths;
    for (const std::wstring prefix :
         {L"", L"\\\\?\\", L"\\\\?\\UNC\\", L"\\\\?\\unc\\", L"//?/", L"\\\\.\\", L"\\\\", L"//"})
        for (const std::wstring_view stem : stems)
            for (const std::wstring_view end : ends)
                paths.emplace_back(prefix).append(stem).append(end);
    return paths;
}

}  // namespace larkspine::testing
