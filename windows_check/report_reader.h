// Reading a report back, as strictly as its format is.
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

// Empty when a byte is not as the format says.
[[nodiscard]] std::optional<std::vector<ReportRow>> read_report(std::string_view bytes);

[[nodiscard]] std::string render_row(const ReportRow& row);

// The report as it would be had what lies below `folder` not been there. Comes back as it is when
// no row is below, or when it is no report.
[[nodiscard]] std::string without_rows_below(const std::string& report, const std::wstring& folder);

}  // namespace larkspine::check
