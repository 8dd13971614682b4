// A report held against the reference: equal byte by byte, or what is wrong with it.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "reference_groups.h"

namespace larkspine::check {

// Which of a file's names a report may give. A walk sees all and takes the least; a volume's table
// and journal list a file under one of them, and which is the volume's affair.
enum class Names : std::uint8_t { least, any };

enum class Wrong : std::uint8_t {
    format,       // no report at all, or wrong order, numbers, spelling
    gone_path,    // a row names what is not there
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

// The report that the reference expects where a report has a choice of names as `report` does.
[[nodiscard]] std::string expected_report(const Reference& reference, Names names,
                                          std::string_view report);

// Of different kinds first, at most five; empty for none.
[[nodiscard]] std::string told(const std::vector<Difference>& differences);

}  // namespace larkspine::check
