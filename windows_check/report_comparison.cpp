#include "report_comparison.h"

#include <algorithm>
#include <set>

#include "report_reader.h"
#include "text.h"

namespace larkspine::check {
namespace {

using Rows = std::vector<ReportRow>;

std::set<std::wstring> names_in(const Rows& rows) {
    std::set<std::wstring> names;
    for (const ReportRow& row : rows)
        names.insert(row.path);
    return names;
}

// The name under which the report lists the file, otherwise its least.
std::wstring name_of(const Reference& reference, std::size_t file,
                     const std::set<std::wstring>& reported) {
    for (const std::wstring& name : reported) {
        const auto found = reference.by_name.find(name);
        if (found != reference.by_name.end() && found->second == file)
            return name;
    }
    return reference.files[file].names.front();
}

Rows expected_rows(const Reference& reference, Names names, const Rows& found) {
    const std::set<std::wstring> reported =
        names == Names::any ? names_in(found) : std::set<std::wstring>{};
    std::map<std::size_t, std::vector<std::wstring>> contents;
    for (std::size_t i = 0; i < reference.files.size(); ++i)
        if (reference.files[i].takes_part)
            contents[reference.files[i].contents].push_back(name_of(reference, i, reported));
    std::vector<std::pair<std::vector<std::wstring>, std::uint64_t>> groups;
    for (auto& [first, paths] : contents) {
        if (paths.size() < 2)
            continue;
        std::sort(paths.begin(), paths.end(), row_less);
        groups.emplace_back(std::move(paths), reference.files[first].size);
    }
    std::sort(groups.begin(), groups.end(), [](const auto& a, const auto& b) {
        return row_less(a.first.front(), b.first.front());
    });
    Rows rows;
    std::uint64_t number = 0;
    for (const auto& [paths, size] : groups) {
        ++number;
        for (const std::wstring& path : paths)
            rows.push_back({number, path == paths.front(), path, size});
    }
    return rows;
}

std::string render(const Rows& rows) {
    std::string bytes(report_head);
    for (const ReportRow& row : rows)
        bytes += render_row(row);
    return bytes;
}

// Rows that name missing paths, and groups of files that are not identical.
void judge_rows(const Rows& found, const Reference& reference, std::vector<Difference>& wrong) {
    std::map<std::uint64_t, std::map<std::size_t, const ReportRow*>> first_of_contents;
    std::set<std::pair<std::uint64_t, std::size_t>> listed;
    for (const ReportRow& row : found) {
        if (row.path.empty())
            continue;  // no valid UTF-16: the bytes of the whole report decide
        const auto known = reference.by_name.find(row.path);
        if (known == reference.by_name.end()) {
            wrong.push_back(
                {Wrong::gone_path, "chemin absent du disque / no such path: " + utf8(row.path)});
            continue;
        }
        if (!reference.files[known->second].takes_part) {
            wrong.push_back({Wrong::mixed_group,
                             "fichier qui n’a pas sa place ici / file that belongs in no group: " +
                                 utf8(row.path)});
            continue;
        }
        auto& contents = first_of_contents[row.group];
        contents.emplace(reference.files[known->second].contents, &row);
        if (contents.size() > 1)
            wrong.push_back({Wrong::mixed_group,
                             "contenus différents dans un groupe / different contents in one "
                             "group: " +
                                 utf8(contents.begin()->second->path) + ", " + utf8(row.path)});
        if (!listed.emplace(row.group, known->second).second)
            wrong.push_back(
                {Wrong::mixed_group,
                 "un fichier sous deux noms / one file under two names: " + utf8(row.path)});
    }
}

void judge_missing(const Rows& expected, const Rows& found, const Reference& reference,
                   std::vector<Difference>& wrong) {
    std::set<std::size_t> listed;
    for (const ReportRow& row : found) {
        const auto known = reference.by_name.find(row.path);
        if (known != reference.by_name.end())
            listed.insert(known->second);
    }
    for (const ReportRow& row : expected)
        if (!listed.contains(reference.by_name.at(row.path)))
            wrong.push_back(
                {Wrong::missing_file, "doublon manquant / missing duplicate: " + utf8(row.path)});
}

void judge_lines(std::string_view expected, std::string_view report,
                 std::vector<Difference>& wrong) {
    const std::vector<std::string> lines = split_lines(expected);
    const std::vector<std::string> others = split_lines(report);
    const auto [line, other] = std::ranges::mismatch(lines, others);
    wrong.push_back({Wrong::format,
                     "ligne / line " + std::to_string(line - lines.begin() + 1) + ": " +
                         (other == others.end() ? "(fin/end)" : *other) +
                         " | attendu / expected: " + (line == lines.end() ? "(fin/end)" : *line)});
}

}  // namespace

std::string expected_report(const Reference& reference, Names names, std::string_view report) {
    return render(expected_rows(reference, names, read_report(report).value_or(Rows{})));
}

std::vector<Difference> compare_report(std::string_view report, const Reference& reference,
                                       Names names) {
    std::vector<Difference> wrong;
    const auto found = read_report(report);
    if (!found) {
        wrong.push_back({Wrong::format, report.empty() ? "aucun rapport / no report"
                                                       : "ce n’est pas un rapport / not a report"});
        return wrong;
    }
    const Rows expected = expected_rows(reference, names, *found);
    const std::string bytes = render(expected);
    if (bytes == report)
        return wrong;
    judge_rows(*found, reference, wrong);
    judge_missing(expected, *found, reference, wrong);
    if (wrong.empty())
        judge_lines(bytes, report, wrong);
    return wrong;
}

std::string told(const std::vector<Difference>& differences) {
    constexpr std::size_t most = 5;
    std::vector<const Difference*> chosen;
    std::set<Wrong> kinds;
    for (const bool of_new_kind : {true, false})
        for (const Difference& difference : differences)
            if (kinds.insert(difference.kind).second == of_new_kind && chosen.size() < most &&
                std::ranges::find(chosen, &difference) == chosen.end())
                chosen.push_back(&difference);
    std::string text;
    for (const Difference* difference : chosen)
        text += (text.empty() ? "" : "; ") + difference->text;
    if (differences.size() > chosen.size())
        text += "; … (" + std::to_string(differences.size()) + ')';
    return text;
}

}  // namespace larkspine::check
