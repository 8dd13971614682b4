// The kit's command line.
#pragma once

#include <optional>
#include <string>

namespace larkspine::check {

struct KitOptions {
    bool agreed = false;   // --yes
    std::wstring drive;    // --drive X: an empty NTFS drive, "X:\"
    std::wstring folder;   // --folder PATH: an empty folder, no volume
    std::wstring program;  // --program PATH; larkspine.exe beside the kit without it
};

// Empty when the arguments are not valid.
[[nodiscard]] std::optional<KitOptions> parse_kit_options(int argc, const wchar_t* const* argv);

}  // namespace larkspine::check
