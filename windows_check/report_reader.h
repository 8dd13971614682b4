// Reads a report back and accepts nothing but its exact format.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace larkspine::check {

struct ReportRow {
    std::uint64_t group = 0;
    bool original = false;
    std::wstring path;  // empty where the report could not name it
    std::uint64_t size = 0;
    bool operator==(const ReportRow&) const = default;
};

// The mark and the header line, with which every report begins.
inline constexpr std::string_view report_head =
    "\xEF\xBB\xBFGroupe;Statut;Chemin complet;Taille en octets\r\n";

// No value when any byte deviates from the format.
[[nodiscard]] std::optional<std::vector<ReportRow>> read_report(std::string_view bytes);

[[nodiscard]] std::string render_row(const ReportRow& row);

// The report as it would be without the files below `folder`. It is returned unchanged when no row
// lies below `folder`, or when it is not a valid report.
[[nodiscard]] std::string without_rows_below(const std::string& report, const std::wstring& folder);

}  // namespace larkspine::check
