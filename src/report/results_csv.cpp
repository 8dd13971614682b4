#include "report/results_csv.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cwchar>
#include <iterator>
#include <vector>

#include "base/path.h"
#include "base/win32_handle.h"
#include "base/write_all.h"
#include "report/csv_row.h"

namespace larkspine {
namespace {

// 256 KiB: rows are gathered and written in large blocks, never line by line.
constexpr std::size_t output_buffer_size = 262'144;
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

// `path` in UTF-8 into `utf8`, whose room is used again; empty when it is not valid UTF-16.
void assign_utf8(std::string& utf8, std::wstring_view path) {
    utf8.clear();
    const int wide_length = static_cast<int>(path.size());
    const int length = WideCharToMultiByte(CP_UTF8, WC_ERR_INVALID_CHARS, path.data(), wide_length,
                                           nullptr, 0, nullptr, nullptr);
    if (length <= 0)
        return;
    utf8.resize(static_cast<std::size_t>(length));
    if (WideCharToMultiByte(CP_UTF8, WC_ERR_INVALID_CHARS, path.data(), wide_length, utf8.data(),
                            length, nullptr, nullptr) != length)
        utf8.clear();
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
    std::string utf8;
    assign_utf8(utf8, path);
    std::string quoted;
    quoted.reserve(utf8.size() + 2);
    append_csv_field(quoted, utf8);
    return quoted;
}

bool write_results_csv(const std::wstring& path, std::span<const DuplicateGroup> groups) {
    const unique_handle file =
        own_handle(CreateFileW(to_long_path(path).c_str(), GENERIC_WRITE, FILE_SHARE_READ, nullptr,
                               CREATE_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr));
    if (!file)
        return false;

    std::string output;
    output.reserve(output_buffer_size);
    output.append(byte_order_mark).append(header_line);
    std::string line;
    std::string utf8;
    std::vector<const DuplicateEntry*> entries;
    std::uint64_t number = 0;
    for (const RankedGroup& ranked : rank_groups(groups)) {
        ++number;
        entries.clear();
        for (const DuplicateEntry& entry : *ranked.group)
            entries.push_back(&entry);
        if (!ranked.sorted)
            std::sort(entries.begin(), entries.end(), entry_less);
        for (std::size_t j = 0; j < entries.size(); ++j) {
            line.clear();
            assign_utf8(utf8, entries[j]->path);
            append_csv_row(line, {number, j == 0, entries[j]->size}, utf8);
            output.append(line);
            if (output.size() >= output_buffer_size) {
                if (!write_all(file.get(), std::as_bytes(std::span(output))))
                    return false;
                output.clear();
            }
        }
    }
    return write_all(file.get(), std::as_bytes(std::span(output)));
}

}  // namespace larkspine
