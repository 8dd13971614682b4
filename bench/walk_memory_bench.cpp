// How much memory does a second run by directory walk take?
//
// A tree of SIZE files in folders of 25 that is listed at once, by functions in place of the
// system's, and an index of it with identities and both digests; paths of 80 code units, names of
// 20. Everything follows from a file's number. No file is opened: all digests are known.
//
// memory-walk  bytes, not seconds: how far a whole scan with the index raises the peak working set
//              of a process that does nothing else; beside: how far loading the index alone does,
//              and one record for each entry
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "base/scan_records.h"
#include "engine/scan_driver.h"
#include "fs/directory_walk.h"
#include "index/index_file.h"
#include "made_snapshot.h"
#include "rounds.h"
#include "support/import_replacement.h"

namespace {

using namespace larkspine;
using namespace larkspine::bench;
using detail::FileCandidate;
using detail::IndexSnapshot;
using testing::hooks;
using testing::real_imports;

constexpr std::uint64_t files_per_folder = 25;
const std::wstring root_start = L"\\\\?\\D:\\listed-";

// Replaces the system's listings by the tree as long as it lives. One folder is listed at a time.
class ListedTree {
  public:
    explicit ListedTree(std::uint64_t files)
        : root_(root_start + std::to_wstring(files)), files_(files) {
        hooks().FindFirstFileExW = [this](LPCWSTR pattern, FINDEX_INFO_LEVELS b, LPVOID found,
                                          FINDEX_SEARCH_OPS d, LPVOID e, DWORD f) {
            const std::wstring_view text(pattern);
            if (!text.starts_with(root_))
                return real_imports().FindFirstFileExW(pattern, b, found, d, e, f);
            is_root_ = text.size() == root_.size() + 2;
            next_ = is_root_
                        ? 0
                        : files_per_folder * std::wcstoull(pattern + root_.size() + 1, nullptr, 10);
            end_ = is_root_ ? files_ / files_per_folder : next_ + files_per_folder;
            list(static_cast<LPWIN32_FIND_DATAW>(found));
            return listing();
        };
        hooks().FindNextFileW = [this](HANDLE handle, LPWIN32_FIND_DATAW found) -> BOOL {
            if (handle != listing())
                return real_imports().FindNextFileW(handle, found);
            if (next_ == end_) {
                SetLastError(ERROR_NO_MORE_FILES);
                return FALSE;
            }
            list(found);
            return TRUE;
        };
        hooks().FindClose = [this](HANDLE handle) {
            return handle == listing() ? TRUE : real_imports().FindClose(handle);
        };
    }
    [[nodiscard]] const std::wstring& root() const { return root_; }

  private:
    [[nodiscard]] static HANDLE listing() {
        return reinterpret_cast<HANDLE>(std::uintptr_t{0x7EED'0000});
    }
    void list(LPWIN32_FIND_DATAW found) {
        const std::uint64_t number = next_++;
        std::wstring name = std::to_wstring(number);
        if (is_root_)
            name.append(made_path_length - 2 - made_name_length - root_.size() - name.size(), L'f');
        else
            name = std::wstring(made_name_length - 5 - name.size(), L'n') + name + L".data";
        *found = {};
        found->dwFileAttributes = is_root_ ? FILE_ATTRIBUTE_DIRECTORY : FILE_ATTRIBUTE_ARCHIVE;
        found->nFileSizeLow = static_cast<DWORD>(1 + number * 0x9e3779b97f4a7c15 % 1'000'000);
        found->ftLastWriteTime.dwLowDateTime = static_cast<DWORD>(number);
        name.copy(found->cFileName, MAX_PATH - 1);
    }

    std::wstring root_;
    std::uint64_t files_;
    bool is_root_ = false;
    std::uint64_t next_ = 0;
    std::uint64_t end_ = 0;
    testing::ImportReset reset_;
};

void save_index_of(const ListedTree& tree) {
    IndexSnapshot snapshot;
    snapshot.root = tree.root();
    ScanStatistics statistics;
    ScanProgress progress;
    require(detail::walk_directory_tree(tree.root(), snapshot.entries, statistics, progress),
            "walking the tree");
    std::mt19937_64 random(1);
    for (FileCandidate& entry : snapshot.entries) {
        entry.file_id.low = entry.last_write_time;
        entry.has_file_id = true;
        fill_digests(entry, random);
    }
    require(detail::save_index(snapshot), "save_index");
}

// The second process: scans or only loads.
int print_own_peak(std::wstring_view what, std::uint64_t files) {
    const ListedTree tree(files);
    const std::uint64_t before = peak_memory();
    if (what == L"scan") {
        ScanProgress progress;
        const ScanResult result = scan({.root = tree.root(), .workers = 2}, progress);
        require(result.statistics.index_loaded && result.statistics.files == files &&
                    result.statistics.sample_hashes_computed == 0 && result.failures == 0,
                "a second run");
    } else {
        const std::optional<IndexSnapshot> snapshot = detail::load_index(tree.root());
        require(snapshot && snapshot->entries.size() == files, "loading");
    }
    std::printf("%llu\n", static_cast<unsigned long long>(peak_memory() - before));
    return 0;
}

double peak_of(const std::wstring& arguments) {
    return std::strtod(output_of_self(arguments).c_str(), nullptr);
}

Ask memory(std::uint64_t size) {
    require(size % files_per_folder == 0, "filling every folder");
    save_index_of(ListedTree(size));
    return [size] {
        const std::wstring files = std::to_wstring(size);
        Round round;
        round.ours = peak_of(L"scan " + files);
        round.beside = peak_of(L"load " + files) +
                       static_cast<double>(sizeof(FileCandidate)) * static_cast<double>(size);
        return round;
    };
}

constexpr Row rows[] = {{L"memory-walk", memory}};

}  // namespace

int wmain(int count, wchar_t** arguments) {
    const std::wstring_view what = count > 1 ? arguments[1] : L"";
    if (count == 3 && (what == L"scan" || what == L"load"))
        return print_own_peak(what, std::wcstoull(arguments[2], nullptr, 10));
    return answer(count, arguments, rows);
}
