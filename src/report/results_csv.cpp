#include "report/results_csv.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cwchar>
#include <iterator>
#include <utility>
#include <vector>

#include "base/path.h"
#include "base/win32_handle.h"
#include "base/write_all.h"
#include "report/csv_row.h"

namespace larkspine {
namespace {

// 256 KiB: rows are gathered and written in large blocks, never line by line.
constexpr std::size_t block_size = 262'144;
constexpr std::string_view byte_order_mark = "\xEF\xBB\xBF";
constexpr std::string_view header_line = "Groupe;Statut;Chemin complet;Taille en octets\r\n";
static_assert(header_line.size() == 47);

bool entry_less(const DuplicateEntry* a, const DuplicateEntry* b) {
    return path_less(a->path, b->path);
}

// A group and its entry whose path is least. Pointers, so that no path is copied for sorting.
struct RankedGroup {
    const DuplicateGroup* group;
    const DuplicateEntry* least;
    bool sorted;
};

// A scan hands over groups and rows in their order already, so both are looked at before they are
// sorted: one comparison an element, where sorting takes twenty for a million.
std::vector<RankedGroup> rank_groups(std::span<const DuplicateGroup> groups) {
    const auto less = [](const DuplicateEntry& a, const DuplicateEntry& b) {
        return entry_less(&a, &b);
    };
    std::vector<RankedGroup> ranked;
    ranked.reserve(groups.size());
    for (const DuplicateGroup& group : groups) {
        if (group.empty())
            continue;
        const bool sorted = std::is_sorted(group.begin(), group.end(), less);
        const auto least =
            sorted ? group.begin() : std::min_element(group.begin(), group.end(), less);
        ranked.push_back({&group, &*least, sorted});
    }
    const auto group_less = [](const RankedGroup& a, const RankedGroup& b) {
        return entry_less(a.least, b.least);
    };
    if (!std::is_sorted(ranked.begin(), ranked.end(), group_less))
        std::sort(ranked.begin(), ranked.end(), group_less);
    return ranked;
}

// The rows of a group in path order, into `rows`, whose room is used again.
void assign_rows(std::vector<const DuplicateEntry*>& rows, const RankedGroup& ranked) {
    rows.clear();
    for (const DuplicateEntry& entry : *ranked.group)
        rows.push_back(&entry);
    if (!ranked.sorted)
        std::sort(rows.begin(), rows.end(), entry_less);
}

// Appends `path` in UTF-8; nothing when it is not valid UTF-16.
void append_utf8(std::string& text, std::wstring_view path) {
    const std::size_t start = text.size();
    const int wide_length = static_cast<int>(path.size());
    const int length = WideCharToMultiByte(CP_UTF8, WC_ERR_INVALID_CHARS, path.data(), wide_length,
                                           nullptr, 0, nullptr, nullptr);
    if (length <= 0)
        return;
    text.resize(start + static_cast<std::size_t>(length));
    if (WideCharToMultiByte(CP_UTF8, WC_ERR_INVALID_CHARS, path.data(), wide_length,
                            text.data() + start, length, nullptr, nullptr) != length)
        text.resize(start);
}

// Appends `path` as csv_quote_utf8 returns it.
void append_path_field(std::string& text, std::wstring_view path) {
    text.push_back('"');
    const std::size_t start = text.size();
    append_utf8(text, path);
    double_quotes(text, start);
    text.push_back('"');
}

// A file that is written in blocks of whole rows, each as soon as it is full.
class BlockWriter {
  public:
    explicit BlockWriter(HANDLE file) : file_(file) { block_.reserve(block_size); }

    // False when a block cannot be written whole.
    [[nodiscard]] bool append(std::string_view row) {
        block_.append(row);
        return block_.size() < block_size || flush();
    }
    // Writes what is left.
    [[nodiscard]] bool flush() {
        const bool written = write_all(file_, std::as_bytes(std::span(block_)));
        block_.clear();
        return written;
    }

  private:
    HANDLE file_;
    std::string block_;
};

bool write_rows(BlockWriter& writer, std::span<const RankedGroup> groups) {
    CsvRowFrame frame;
    std::string row;
    std::vector<const DuplicateEntry*> entries;
    std::uint64_t number = 0;
    for (const RankedGroup& ranked : groups) {
        frame.begin_group(++number);
        bool original = true;
        assign_rows(entries, ranked);
        for (const DuplicateEntry* entry : entries) {
            row.clear();
            frame.append_start(row, std::exchange(original, false));
            append_path_field(row, entry->path);
            frame.append_end(row, entry->size);
            if (!writer.append(row))
                return false;
        }
    }
    return true;
}

}  // namespace

std::optional<std::wstring> results_file_path() {
    const DWORD capacity = GetCurrentDirectoryW(0, nullptr);
    if (capacity == 0)
        return std::nullopt;
    std::wstring path(capacity, L'\0');
    const DWORD length = GetCurrentDirectoryW(capacity, path.data());
    if (length == 0 || length >= capacity)
        return std::nullopt;
    path.resize(length);

    SYSTEMTIME now = {};
    GetLocalTime(&now);
    wchar_t name[64];
    if (std::swprintf(name, std::size(name), L"Fennick_Resultats_%04u-%02u-%02u_%02u-%02u-%02u.csv",
                      unsigned{now.wYear}, unsigned{now.wMonth}, unsigned{now.wDay},
                      unsigned{now.wHour}, unsigned{now.wMinute}, unsigned{now.wSecond}) <= 0)
        return std::nullopt;
    if (!is_separator(path.back()))
        path.push_back(L'\\');
    path.append(name);
    return path;
}

std::string csv_quote_utf8(std::wstring_view path) {
    std::string quoted;
    append_path_field(quoted, path);
    return quoted;
}

bool write_results_csv(const std::wstring& path, std::span<const DuplicateGroup> groups) {
    const unique_handle file =
        own_handle(CreateFileW(to_long_path(path).c_str(), GENERIC_WRITE, FILE_SHARE_READ, nullptr,
                               CREATE_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr));
    if (!file)
        return false;
    BlockWriter writer(file.get());
    return writer.append(byte_order_mark) && writer.append(header_line) &&
           write_rows(writer, rank_groups(groups)) && writer.flush();
}

}  // namespace larkspine
