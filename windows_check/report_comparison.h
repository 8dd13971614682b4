// Compares a report with the reference: it is equal byte by byte, or has differences.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "reference_groups.h"

namespace larkspine::check {

// Which of a file's names a report may use. A walk sees all and takes the least. A volume's table
// and journal list a file under one of them, which the volume chooses.
enum class Names : std::uint8_t { least, any };

enum class Wrong : std::uint8_t {
    format,       // no report at all, or wrong order, numbers, spelling
    gone_path,    // a row names a path that does not exist
    mixed_group,  // a group holds different contents, or one file twice
    missing_file  // a file that belongs to a group is not in it
};

struct Difference {
    Wrong kind;
    std::string text;  // for people, in French and English
};

// Empty when the report is right.
[[nodiscard]] std::vector<Difference> compare_report(std::string_view report,
                                                     const Reference& reference, Names names);

// The report that the reference expects. Where several names are right, it has the name that
// `report` uses.
[[nodiscard]] std::string expected_report(const Reference& reference, Names names,
                                          std::string_view report);

// At most five differences as text, one of each kind first; empty when there is none.
[[nodiscard]] std::string told(const std::vector<Difference>& differences);

}  // namespace larkspine::check
