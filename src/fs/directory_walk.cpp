#include "fs/directory_walk.h"

#include <cstddef>
#include <string_view>
#include <utility>

#include "base/entries.h"
#include "base/win32_handle.h"
#include "fs/exclusions.h"

namespace larkspine::detail {
namespace {

static_assert(attribute_directory == FILE_ATTRIBUTE_DIRECTORY);
static_assert(attribute_reparse_point == FILE_ATTRIBUTE_REPARSE_POINT);

bool is_self_or_parent(std::wstring_view name) {
    return name == L"." || name == L"..";
}

// The state of one walk. `path` holds the folder being listed up to `folder_length`, separator
// included, and is the one buffer in which search patterns and entry paths are built.
struct Walk {
    std::vector<FileCandidate>& files;
    ScanStatistics& statistics;
    ScanProgress& progress;
    std::vector<std::wstring> folders;  // still to be listed, last in first out
    std::wstring path;
    std::size_t folder_length = 0;
};

void visit_entry(Walk& walk, const WIN32_FIND_DATAW& found) {
    const std::wstring_view name(found.cFileName);
    if (is_self_or_parent(name))
        return;
    ++walk.progress.entries_seen;
    walk.path.resize(walk.folder_length);
    walk.path.append(name);
    if (is_excluded_path(walk.path)) {
        ++walk.statistics.excluded_entries;
        return;
    }
    // Junctions, symbolic links and mount points lead out of the tree or round in circles.
    if (is_reparse_point(found.dwFileAttributes))
        return;
    if (is_folder(found.dwFileAttributes)) {
        walk.folders.push_back(walk.path);
        return;
    }
    ++walk.statistics.files;
    ++walk.progress.documents;
    FileCandidate& file = walk.files.emplace_back();
    file.path = walk.path;
    file.name = name;
    file.attributes = found.dwFileAttributes;
    file.size = join_halves(found.nFileSizeHigh, found.nFileSizeLow);
    file.creation_time = filetime_value(found.ftCreationTime);
    file.last_write_time = filetime_value(found.ftLastWriteTime);
}

// Lists the folder in `walk.path`; false when it could not be opened.
bool list_folder(Walk& walk) {
    if (!walk.path.ends_with(L'\\'))
        walk.path.push_back(L'\\');
    walk.folder_length = walk.path.size();
    walk.path.push_back(L'*');

    WIN32_FIND_DATAW found;
    const unique_find_handle listing = own_find_handle(
        FindFirstFileExW(walk.path.c_str(), FindExInfoBasic, &found, FindExSearchNameMatch, nullptr,
                         FIND_FIRST_EX_LARGE_FETCH));
    // The root folder of a volume has neither "." nor "..", on some file systems no folder has.
    // When such a folder holds nothing, the very first call finds no file. A folder that is missing
    // answers ERROR_PATH_NOT_FOUND.
    if (!listing)
        return GetLastError() == ERROR_FILE_NOT_FOUND;
    do
        visit_entry(walk, found);
    while (FindNextFileW(listing.get(), &found));
    if (GetLastError() != ERROR_NO_MORE_FILES)
        ++walk.statistics.failures;
    return true;
}

}  // namespace

bool walk_directory_tree(const std::wstring& root, std::vector<FileCandidate>& files,
                         ScanStatistics& statistics, ScanProgress& progress) {
    Walk walk{files, statistics, progress, {root}, {}, 0};
    while (!walk.folders.empty()) {
        // Assigning keeps the buffer's room; moving the string in would give it away each time.
        walk.path.assign(walk.folders.back());
        walk.folders.pop_back();
        // Only the root can be excluded here: excluded folders below it are never put on the stack.
        if (is_excluded_path(walk.path)) {
            ++statistics.excluded_entries;
            continue;
        }
        ++statistics.directories;
        const bool is_root = walk.path == root;
        if (!list_folder(walk)) {
            ++statistics.failures;
            if (is_root)
                return false;
        }
    }
    return true;
}

}  // namespace larkspine::detail
