// What does the index save?
//
// A tree of SIZE files of ordinary sizes (made_files.h), in folders of 100; three in ten are copies
// of the file before; seed 1. All files are in the cache. The program is the larkspine.exe beside
// the folder of this one, with four workers. Its start is part of the time.
//
// second-run  a run on the unchanged tree with the index of the first run; beside: the first run,
//             which had no index
#include <string>
#include <vector>

#include "index/index_location.h"
#include "made_files.h"
#include "rounds.h"

namespace {

using namespace larkspine;
using namespace larkspine::bench;

std::wstring make_tree(std::uint64_t size) {
    const std::wstring root = scratch_folder() + L"\\tree" + std::to_wstring(size);
    const std::vector<std::wstring> folders = make_folders(root, (size + 99) / 100);
    FileMaker maker(1);
    std::mt19937_64 random(1);
    std::uint64_t bytes = 0;
    std::uint64_t content = 0;
    for (std::uint64_t i = 0; i < size; ++i) {
        if (i % 10 != 3 && i % 10 != 6 && i % 10 != 9) {
            bytes = ordinary_size(random);
            content = i;
        }
        maker.make(folders[i / 100] + L"\\" + std::to_wstring(i) + L".data", bytes, content);
    }
    return root;
}

std::wstring program_path() {
    std::wstring path = own_path();
    for (int i = 0; i < 2; ++i)
        path.resize(path.rfind(L'\\'));
    return path + L"\\larkspine.exe";
}

// Deletes all index files from the folder where the program keeps them.
void remove_indexes() {
    const std::wstring folder = index_directory().value() + L"\\";
    WIN32_FIND_DATAW found;
    const unique_find_handle listing = own_find_handle(FindFirstFileExW(
        (folder + L"*.lsi").c_str(), FindExInfoBasic, &found, FindExSearchNameMatch, nullptr, 0));
    if (!listing)
        return;
    do
        DeleteFileW((folder + found.cFileName).c_str());
    while (FindNextFileW(listing.get(), &found));
}

Ask second_run(std::uint64_t size) {
    const std::wstring root = make_tree(size);
    return [root] {
        const std::wstring reports = scratch_folder() + L"\\reports";
        make_folder(reports);
        const std::wstring program = program_path();
        const auto run = [&] {
            (void)output_of(program, L"larkspine " + root + L" --workers 4", reports.c_str());
        };
        remove_indexes();
        Round round;
        round.beside = seconds_for(run);
        round.ours = seconds_for(run);
        return round;
    };
}

constexpr Row rows[] = {{L"second-run", second_run}};

}  // namespace

int wmain(int count, wchar_t** arguments) {
    return answer(count, arguments, rows);
}
