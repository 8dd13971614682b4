#include "report/csv_row.h"

#include <algorithm>
#include <charconv>
#include <iterator>

namespace larkspine {
namespace {

void append_number(std::string& text, std::uint64_t value) {
    char digits[20];  // 2^64 - 1 has 20
    const auto end = std::to_chars(std::begin(digits), std::end(digits), value).ptr;
    text.append(digits, end);
}

}  // namespace

void double_quotes(std::string& text, std::size_t start) {
    const auto from = static_cast<std::ptrdiff_t>(start);
    const auto quotes = std::count(text.begin() + from, text.end(), '"');
    std::size_t end = text.size();
    text.resize(end + static_cast<std::size_t>(quotes), '"');
    // From the back: all that stands behind a quote moves by the quotes up to it.
    for (std::size_t to = text.size(); to != end;) {
        text[--to] = text[--end];
        if (text[end] == '"')
            text[--to] = '"';
    }
}

void CsvRowFrame::begin_group(std::uint64_t number) {
    number_.clear();
    append_number(number_, number);
}

void CsvRowFrame::append_start(std::string& text, bool original) const {
    text.append(number_).append(original ? ";Original;" : ";Doublon;");
}

void CsvRowFrame::append_end(std::string& text, std::uint64_t size) {
    if (size != size_) {
        size_ = size;
        end_.assign(1, ';');
        append_number(end_, size);
        end_.append("\r\n");
    }
    text.append(end_);
}

}  // namespace larkspine
