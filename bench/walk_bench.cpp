// How fast is a tree walked?
//
// A tree with a folder for every 25 files, sixteen folders in a folder, files empty. No seed. SIZE
// is the number of files. On a warm cache.
//
// walk  beside: a loop of FindFirstFileExW and FindNextFileW with the same flags that keeps the
//       folders still to be listed and otherwise only counts
#include <cwchar>
#include <string>
#include <vector>

#include "base/path.h"
#include "fs/directory_walk.h"
#include "made_files.h"
#include "rounds.h"

namespace {

using namespace larkspine;
using namespace larkspine::bench;

constexpr std::uint64_t files_per_folder = 25;

std::uint64_t count_files(const std::wstring& root) {
    std::uint64_t files = 0;
    std::vector<std::wstring> folders = {root};
    while (!folders.empty()) {
        const std::wstring folder = std::move(folders.back()) + L"\\";
        folders.pop_back();
        WIN32_FIND_DATAW found;
        const unique_find_handle listing = own_find_handle(
            FindFirstFileExW((folder + L"*").c_str(), FindExInfoBasic, &found,
                             FindExSearchNameMatch, nullptr, FIND_FIRST_EX_LARGE_FETCH));
        require(listing != nullptr, "FindFirstFileExW");
        do {
            if ((found.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY) == 0)
                ++files;
            else if (std::wcscmp(found.cFileName, L".") != 0 &&
                     std::wcscmp(found.cFileName, L"..") != 0)
                folders.push_back(folder + found.cFileName);
        } while (FindNextFileW(listing.get(), &found));
    }
    return files;
}

Ask walk(std::uint64_t size) {
    const std::wstring root = to_long_path(scratch_folder() + L"\\walk" + std::to_wstring(size));
    const std::vector<std::wstring> folders = make_folders(root, size / files_per_folder);
    FileMaker maker(0);
    for (std::uint64_t i = 0; i < size; ++i)
        maker.make(folders[i % folders.size()] + L"\\document-" + std::to_wstring(i) + L".data", 0,
                   i);
    return [root, size] {
        std::vector<detail::FileCandidate> files;
        Round round;
        round.ours = seconds_for([&] {
            ScanStatistics statistics;
            ScanProgress progress;
            require(detail::walk_directory_tree(root, files, statistics, progress),
                    "walking the tree");
        });
        std::uint64_t counted = 0;
        round.beside = seconds_for([&] { counted = count_files(root); });
        require(files.size() == size && counted == size, "finding every file");
        return round;
    };
}

constexpr Row rows[] = {{L"walk", walk}};

}  // namespace

int wmain(int count, wchar_t** arguments) {
    return answer(count, arguments, rows);
}
