#include "kit_options.h"

#include <string_view>
#include <utility>

namespace larkspine::check {
namespace {

bool is_letter(wchar_t unit) {
    return (unit >= L'A' && unit <= L'Z') || (unit >= L'a' && unit <= L'z');
}

// X, X: or X:\ as X:\ in capitals; empty for anything else.
std::wstring drive_root(std::wstring_view text) {
    if (text.empty() || !is_letter(text.front()))
        return {};
    const std::wstring_view rest = text.substr(1);
    if (!rest.empty() && rest != L":" && rest != L":\\")
        return {};
    return std::wstring(1, static_cast<wchar_t>(text.front() & ~0x20)) + L":\\";
}

std::optional<Part> part_named(std::wstring_view name) {
    constexpr std::pair<std::wstring_view, Part> parts[] = {
        {L"listing", Part::listing},   {L"changes", Part::changes}, {L"options", Part::options},
        {L"refusals", Part::refusals}, {L"journal", Part::journal}, {L"screen", Part::screen}};
    for (const auto& [word, part] : parts)
        if (word == name)
            return part;
    return std::nullopt;
}

}  // namespace

std::optional<KitOptions> parse_kit_options(int argc, const wchar_t* const* argv) {
    KitOptions options;
    for (int i = 1; i < argc; ++i) {
        const std::wstring_view word = argv[i];
        if (word == L"--yes") {
            options.agreed = true;
            continue;
        }
        if (i + 1 == argc)
            return std::nullopt;
        const std::wstring value = argv[++i];
        if (word == L"--drive")
            options.drive = drive_root(value);
        else if (word == L"--folder")
            options.folder = value;
        else if (word == L"--program")
            options.program = value;
        else if (word == L"--part" && part_named(value))
            options.part = *part_named(value);
        else
            return std::nullopt;
        if (value.empty() || (word == L"--drive" && options.drive.empty()))
            return std::nullopt;
    }
    if (!options.drive.empty() && !options.folder.empty())
        return std::nullopt;
    return options;
}

}  // namespace larkspine::check
