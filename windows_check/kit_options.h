// The kit's command line.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

namespace larkspine::check {

// The parts that can be run alone.
enum class Part : std::uint8_t { all, listing, changes, options, refusals, journal, screen };

struct KitOptions {
    bool agreed = false;    // --yes
    std::wstring drive;     // --drive X: an empty NTFS drive, "X:\"
    std::wstring folder;    // --folder PATH: an empty folder, no volume
    std::wstring program;   // --program PATH; larkspine.exe beside the kit without it
    Part part = Part::all;  // --part NAME
};

// Empty when the arguments are not valid.
[[nodiscard]] std::optional<KitOptions> parse_kit_options(int argc, const wchar_t* const* argv);

}  // namespace larkspine::check
