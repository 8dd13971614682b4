#include "report_reader.h"

#include <algorithm>
#include <charconv>
#include <map>

#include "base/path_forms.h"
#include "text.h"

namespace larkspine::check {
namespace {

bool take(std::string_view& bytes, std::string_view expected) {
    if (!bytes.starts_with(expected))
        return false;
    bytes.remove_prefix(expected.size());
    return true;
}

bool take_number(std::string_view& bytes, std::uint64_t& number) {
    const auto [end, error] = std::from_chars(bytes.data(), bytes.data() + bytes.size(), number);
    if (error != std::errc{} || (bytes.front() == '0' && end != bytes.data() + 1))
        return false;
    bytes.remove_prefix(static_cast<std::size_t>(end - bytes.data()));
    return true;
}

bool take_quoted(std::string_view& bytes, std::string& field) {
    if (!take(bytes, "\""))
        return false;
    for (;;) {
        const std::size_t quote = bytes.find('"');
        if (quote == std::string_view::npos)
            return false;
        field.append(bytes.substr(0, quote));
        bytes.remove_prefix(quote + 1);
        if (!take(bytes, "\""))
            return true;
        field.push_back('"');
    }
}

}  // namespace

std::optional<std::vector<ReportRow>> read_report(std::string_view bytes) {
    if (!take(bytes, report_head))
        return std::nullopt;
    std::vector<ReportRow> rows;
    while (!bytes.empty()) {
        ReportRow row;
        std::string path;
        if (!take_number(bytes, row.group))
            return std::nullopt;
        row.original = take(bytes, ";Original;");
        if (!row.original && !take(bytes, ";Doublon;"))
            return std::nullopt;
        if (!take_quoted(bytes, path) || !take(bytes, ";") || !take_number(bytes, row.size) ||
            !take(bytes, "\r\n"))
            return std::nullopt;
        row.path = wide(path);
        rows.push_back(std::move(row));
    }
    return rows;
}

std::string render_row(const ReportRow& row) {
    std::string line = std::to_string(row.group) + (row.original ? ";Original;\"" : ";Doublon;\"");
    for (const char byte : strict_utf8(row.path)) {
        line.push_back(byte);
        if (byte == '"')
            line.push_back('"');
    }
    return line + "\";" + std::to_string(row.size) + "\r\n";
}

std::string without_rows_below(const std::string& report, const std::wstring& folder) {
    auto rows = read_report(report);
    if (!rows)
        return report;
    const std::wstring prefix = folder + L'\\';
    const auto removed =
        std::erase_if(*rows, [&](const ReportRow& row) { return starts_with(row.path, prefix); });
    if (removed == 0)
        return report;
    std::map<std::uint64_t, std::size_t> members;
    for (const ReportRow& row : *rows)
        ++members[row.group];
    std::string rest(report_head);
    std::uint64_t number = 0;
    std::uint64_t current = 0;
    for (ReportRow row : *rows) {
        if (members[row.group] < 2)
            continue;
        row.original = row.group != current;
        current = row.group;
        number += row.original ? 1U : 0U;
        row.group = number;
        rest += render_row(row);
    }
    return rest;
}

}  // namespace larkspine::check
