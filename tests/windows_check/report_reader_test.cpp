#include "report_reader.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace larkspine::testing {
namespace {

using check::read_report;
using check::ReportRow;

const std::string head(check::report_head);

TEST(ReportReaderTest, EveryFieldOfARowIsReadAndRenderedBack) {
    const auto rows = read_report(head +
                                  "1;Original;\"Q:\\a \"\"b\"\";c\";17\r\n"
                                  "1;Doublon;\"Q:\\é\";17\r\n2;Original;\"\";0\r\n");
    ASSERT_TRUE(rows.has_value());
    EXPECT_THAT(*rows, ::testing::ElementsAre(ReportRow{1, true, L"Q:\\a \"b\";c", 17},
                                              ReportRow{1, false, L"Q:\\é", 17},
                                              ReportRow{2, true, L"", 0}));
    EXPECT_EQ(
        head + check::render_row((*rows)[0]) + render_row((*rows)[1]) + render_row((*rows)[2]),
        head +
            "1;Original;\"Q:\\a \"\"b\"\";c\";17\r\n1;Doublon;\"Q:\\é\";17\r\n"
            "2;Original;\"\";0\r\n");
}

TEST(ReportReaderTest, AReportWithoutRowsIsValid) {
    EXPECT_EQ(read_report(head).value().size(), 0u);
}

TEST(ReportReaderTest, AReportCutAnywhereInARowIsRefused) {
    const std::string row = "1;Original;\"Q:\\a\";17\r\n";
    for (std::size_t kept = 1; kept < row.size(); ++kept)
        EXPECT_FALSE(read_report(head + row.substr(0, kept)).has_value()) << kept;
}

TEST(ReportReaderTest, AnyDeviationFromTheFormatIsRefused) {
    for (const char* row : {"01;Original;\"a\";1\r\n", "1;original;\"a\";1\r\n",
                            "1;Original;a;1\r\n", "1;Original;\"a\";1\n", "1;Original;\"a\";-1\r\n",
                            "1;Original;\"a\";1 \r\n", ";Original;\"a\";1\r\n"})
        EXPECT_FALSE(read_report(head + row).has_value()) << row;
    EXPECT_FALSE(read_report(head.substr(3)).has_value());
}

TEST(ReportReaderTest, RemovingTheRowsBelowAFolderRenumbersTheGroups) {
    const std::string report = head +
                               "1;Original;\"X:\\s\\a\";1\r\n1;Doublon;\"X:\\b\";1\r\n"
                               "2;Original;\"X:\\c\";2\r\n2;Doublon;\"X:\\d\";2\r\n"
                               "3;Original;\"X:\\s\\e\";3\r\n3;Doublon;\"X:\\f\";3\r\n"
                               "3;Doublon;\"X:\\g\";3\r\n";
    EXPECT_EQ(check::without_rows_below(report, L"X:\\s"),
              head +
                  "1;Original;\"X:\\c\";2\r\n1;Doublon;\"X:\\d\";2\r\n"
                  "2;Original;\"X:\\f\";3\r\n2;Doublon;\"X:\\g\";3\r\n");
    EXPECT_EQ(check::without_rows_below(report, L"X:\\t"), report);
    EXPECT_EQ(check::without_rows_below("no report", L"X:\\s"), "no report");
}

}  // namespace
}  // namespace larkspine::testing
