// The files below a folder, found by another method than the program's: folders are listed through
// their handles, and every file is opened and has its identifier read.
#pragma once

#include <array>
#include <cstdint>
#include <string>
#include <tuple>
#include <vector>

namespace larkspine::check {

struct FileIdentifier {
    std::uint64_t volume = 0;
    std::array<std::uint8_t, 16> file{};
    bool operator==(const FileIdentifier&) const = default;
    friend bool operator<(const FileIdentifier& a, const FileIdentifier& b) {
        return std::tie(a.volume, a.file) < std::tie(b.volume, b.file);
    }
};

struct WalkedFile {
    std::wstring path;   // in long form, below the walked root
    std::wstring shown;  // as a report names it
    std::uint64_t size = 0;
    FileIdentifier identifier;
    bool readable = false;  // it could be opened for reading, shared with others
};

// Every file below `root`, a long path. Follows no reparse point and reports none as a file. A
// report shows the root as `shown_root`, which ends in a backslash only for a drive.
[[nodiscard]] std::vector<WalkedFile> walk_files(const std::wstring& root,
                                                 const std::wstring& shown_root);

}  // namespace larkspine::check
