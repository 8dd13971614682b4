// One argument as Windows programs read it back from their command line.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace larkspine::check {

[[nodiscard]] inline std::wstring quoted(std::wstring_view argument) {
    std::wstring text = L"\"";
    std::size_t backslashes = 0;
    for (const wchar_t unit : argument) {
        backslashes = unit == L'\\' ? backslashes + 1 : 0;
        // Backslashes before a quote are doubled, and one more makes the quote an ordinary one.
        if (unit == L'"')
            text.append(backslashes + 1, L'\\');
        text.push_back(unit);
    }
    return text.append(backslashes, L'\\') + L'"';
}

[[nodiscard]] inline std::wstring command_line(const std::wstring& program,
                                               const std::vector<std::wstring>& arguments) {
    std::wstring line = quoted(program);
    for (const std::wstring& argument : arguments)
        line += L' ' + quoted(argument);
    return line;
}

}  // namespace larkspine::check
