// Finds identical files by comparing the bytes of every possible pair: a slow method, without
// digests and index.
#pragma once

#include <cstddef>
#include <map>
#include <set>
#include <string>
#include <vector>

#include "own_walk.h"

namespace larkspine::check {

// One file under all of its names.
struct ReferenceFile {
    std::uint64_t size = 0;
    std::vector<std::wstring> names;  // as a report shows them, the least first
    std::size_t contents = 0;         // files with equal numbers hold the same bytes
    bool takes_part = false;          // it could be read, or is empty
};

struct Reference {
    std::vector<ReferenceFile> files;
    std::map<std::wstring, std::size_t> by_name;  // into `files`

    // A former name of a file, which a report may still use.
    void add_former_name(const std::wstring& former, const std::wstring& present);
    // No report lists the names at or below `path`. A file without another name is in no group.
    void leave_out(const std::wstring& path);
};

// The order of a report's rows: without case, then with case, then by code units.
[[nodiscard]] bool row_less(const std::wstring& a, const std::wstring& b);

[[nodiscard]] Reference make_reference(const std::vector<WalkedFile>& walked);

}  // namespace larkspine::check
