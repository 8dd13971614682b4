// How fast is the report written?
//
// Groups of three files in path order, as a scan hands them over: paths of 76 code units, one in
// ten with an accented letter. No seed: a row's number determines all of it. SIZE is the number of
// rows.
//
// report  beside: each row, ready as wide text, converted into a buffer of 256 KiB, which is
//         written whenever it is full
#include <memory>
#include <string>
#include <vector>

#include "base/win32_handle.h"
#include "base/write_all.h"
#include "made_files.h"
#include "report/results_csv.h"
#include "rounds.h"

namespace {

using namespace larkspine;
using namespace larkspine::bench;

constexpr std::size_t group_size = 3;

DuplicateEntry made_row(std::uint64_t number) {
    std::wstring digits = std::to_wstring(number);
    digits.insert(0, 9 - digits.size(), L'0');
    std::wstring path = L"D:\\bench\\folder-" + digits.substr(0, 7) + L"\\";
    path.append(76 - path.size() - digits.size() - 5, number % 10 == 0 ? L'\u00e9' : L'n');
    return {path + digits + L".data", 1000 + number / group_size};
}

struct Text {
    std::vector<DuplicateGroup> groups;
    std::vector<std::wstring> lines;  // the same rows, ready
};

std::shared_ptr<const Text> made_text(std::uint64_t size) {
    auto text = std::make_shared<Text>();
    text->lines.emplace_back(L"\ufeffGroupe;Statut;Chemin complet;Taille en octets\r\n");
    for (std::uint64_t i = 0; i < size; ++i) {
        const bool first = i % group_size == 0;
        if (first)
            text->groups.emplace_back();
        const DuplicateEntry& row = text->groups.back().emplace_back(made_row(i));
        text->lines.push_back(std::to_wstring(text->groups.size()) +
                              (first ? L";Original;\"" : L";Doublon;\"") + row.path + L"\";" +
                              std::to_wstring(row.size) + L"\r\n");
    }
    return text;
}

void bare_report(const std::wstring& path, const std::vector<std::wstring>& lines) {
    constexpr std::size_t buffer_size = 262'144;
    constexpr std::size_t longest_line = 1'024;
    const unique_handle file = create_file(path);
    std::vector<char> buffer(buffer_size + longest_line);
    std::size_t used = 0;
    const auto flush = [&] {
        require(write_all(file.get(), std::as_bytes(std::span(buffer.data(), used))), "bare write");
        used = 0;
    };
    for (const std::wstring& line : lines) {
        const int length = WideCharToMultiByte(CP_UTF8, WC_ERR_INVALID_CHARS, line.data(),
                                               static_cast<int>(line.size()), buffer.data() + used,
                                               longest_line, nullptr, nullptr);
        require(length > 0, "WideCharToMultiByte");
        used += static_cast<std::size_t>(length);
        if (used >= buffer_size)
            flush();
    }
    flush();
}

std::uint64_t size_of_file(const std::wstring& path) {
    WIN32_FILE_ATTRIBUTE_DATA data = {};
    require(GetFileAttributesExW(path.c_str(), GetFileExInfoStandard, &data) != 0,
            "GetFileAttributesExW");
    return join_halves(data.nFileSizeHigh, data.nFileSizeLow);
}

Ask report(std::uint64_t size) {
    const std::shared_ptr<const Text> text = made_text(size);
    return [text] {
        const std::wstring ours = scratch_folder() + L"\\report.csv";
        const std::wstring bare = scratch_folder() + L"\\bare-report.csv";
        Round round;
        round.ours =
            seconds_for([&] { require(write_results_csv(ours, text->groups), "the report"); });
        round.beside = seconds_for([&] { bare_report(bare, text->lines); });
        require(size_of_file(ours) == size_of_file(bare), "comparing the two reports");
        DeleteFileW(ours.c_str());
        DeleteFileW(bare.c_str());
        return round;
    };
}

constexpr Row rows[] = {{L"report", report}};

}  // namespace

int wmain(int count, wchar_t** arguments) {
    return answer(count, arguments, rows);
}
