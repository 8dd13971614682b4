#include "report/csv_row.h"

#include <charconv>
#include <cstddef>
#include <iterator>

namespace larkspine {
namespace {

void append_number(std::string& text, std::uint64_t value) {
    char digits[20];  // 2^64 - 1 has 20
    const auto end = std::to_chars(std::begin(digits), std::end(digits), value).ptr;
    text.append(digits, end);
}

}  // namespace

void append_csv_field(std::string& text, std::string_view utf8) {
    text.push_back('"');
    for (std::size_t quote = utf8.find('"'); quote != std::string_view::npos;
         quote = utf8.find('"')) {
        text.append(utf8.substr(0, quote + 1)).push_back('"');
        utf8.remove_prefix(quote + 1);
    }
    text.append(utf8).push_back('"');
}

void append_csv_row(std::string& text, const CsvRow& row, std::string_view utf8_path) {
    append_number(text, row.group);
    text.append(row.original ? ";Original;" : ";Doublon;");
    append_csv_field(text, utf8_path);
    text.push_back(';');
    append_number(text, row.size);
    text.append("\r\n");
}

}  // namespace larkspine
