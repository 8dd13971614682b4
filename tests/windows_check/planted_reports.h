// Turns right reports into those of a faulty program.
#pragma once

#include "base/win32_api.h"

#include <algorithm>
#include <functional>
#include <map>
#include <string>
#include <utility>
#include <vector>

#include "report_reader.h"

namespace larkspine::testing {

using ReportRows = std::vector<check::ReportRow>;

inline std::string rendered(const ReportRows& rows) {
    std::string report(check::report_head);
    for (const check::ReportRow& row : rows)
        report += check::render_row(row);
    return report;
}

// The last file of the second group is listed in the first one.
inline std::string with_wrong_group(const std::string& report) {
    ReportRows rows = check::read_report(report).value_or(ReportRows{});
    const auto second = std::ranges::find(rows, std::uint64_t{2}, &check::ReportRow::group);
    if (second == rows.end())
        return report;
    check::ReportRow stray = *second;
    stray.group = 1;
    stray.original = false;
    rows.insert(second, stray);
    return rendered(rows);
}

// A group of the earlier report is still reported when all its files exist with their sizes.
// `size_of` gives the size of a path, and -1 for one that is gone.
inline std::string with_stale_digest(
    const std::string& earlier, const std::string& report,
    const std::function<std::int64_t(const std::wstring&)>& size_of) {
    const ReportRows rows = check::read_report(report).value_or(ReportRows{});
    std::map<std::uint64_t, ReportRows> groups;
    for (const check::ReportRow& row : check::read_report(earlier).value_or(ReportRows{}))
        groups[row.group].push_back(row);
    for (const auto& [number, members] : groups) {
        const bool all_there = std::ranges::all_of(members, [&](const check::ReportRow& row) {
            return size_of(row.path) == static_cast<std::int64_t>(row.size);
        });
        const bool reported = std::ranges::all_of(members, [&](const check::ReportRow& row) {
            return std::ranges::find(rows, row.path, &check::ReportRow::path) != rows.end();
        });
        if (all_there && !reported)
            return earlier;
    }
    return report;
}

// A missing file of the earlier report is still reported, in place of a new file of the same size.
inline std::string with_missed_rename(
    const std::string& earlier, const std::string& report,
    const std::function<std::int64_t(const std::wstring&)>& size_of) {
    const ReportRows before = check::read_report(earlier).value_or(ReportRows{});
    ReportRows rows = check::read_report(report).value_or(ReportRows{});
    const auto in = [](const ReportRows& all, const std::wstring& path) {
        return std::ranges::find(all, path, &check::ReportRow::path) != all.end();
    };
    for (const check::ReportRow& old : before) {
        if (size_of(old.path) >= 0 || in(rows, old.path))
            continue;
        const auto renamed = std::ranges::find_if(rows, [&](const check::ReportRow& row) {
            return row.size == old.size && !in(before, row.path);
        });
        if (renamed != rows.end())
            renamed->path = old.path;
    }
    return rendered(rows);
}

// The `size_of` of real files.
inline std::int64_t size_on_disk(const std::wstring& path) {
    WIN32_FILE_ATTRIBUTE_DATA data = {};
    if (!GetFileAttributesExW((L"\\\\?\\" + path).c_str(), GetFileExInfoStandard, &data))
        return -1;
    return static_cast<std::int64_t>(data.nFileSizeHigh) << 32 | data.nFileSizeLow;
}

}  // namespace larkspine::testing
