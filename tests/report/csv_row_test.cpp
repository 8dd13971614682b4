#include "report/csv_row.h"

#include <gtest/gtest.h>

namespace larkspine::testing {
namespace {

std::string field(std::string_view utf8) {
    std::string text;
    append_csv_field(text, utf8);
    return text;
}

TEST(CsvRowTest, AFieldIsTheTextBetweenDoubleQuotes) {
    EXPECT_EQ(field("C:\\d\\a.txt"), "\"C:\\d\\a.txt\"");
    EXPECT_EQ(field("a;b,c\r\nd'e"), "\"a;b,c\r\nd'e\"");
    EXPECT_EQ(field(""), "\"\"");
}

TEST(CsvRowTest, DoubleQuotesOfTheTextAreDoubledWhereverTheyStand) {
    EXPECT_EQ(field("\""), "\"\"\"\"");
    EXPECT_EQ(field("\"a"), "\"\"\"a\"");
    EXPECT_EQ(field("a\""), "\"a\"\"\"");
    EXPECT_EQ(field("a\"b\"\"c"), "\"a\"\"b\"\"\"\"c\"");
}

TEST(CsvRowTest, AnyOtherByteStaysAsItIs) {
    for (unsigned value = 0; value < 256; ++value) {
        if (value == '"')
            continue;
        const std::string text(3, static_cast<char>(value));
        EXPECT_EQ(field(text), '"' + text + '"') << value;
    }
}

TEST(CsvRowTest, ARowNamesItsGroupItsStatusItsPathAndItsSize) {
    std::string text;
    append_csv_row(text, {1, true, 10}, "C:\\a \"b\"");
    append_csv_row(text, {1, false, 10}, "C:\\c");
    EXPECT_EQ(text,
              "1;Original;\"C:\\a \"\"b\"\"\";10\r\n"
              "1;Doublon;\"C:\\c\";10\r\n");
}

TEST(CsvRowTest, NumbersGoFromZeroToTheLargestOf64Bits) {
    std::string text;
    append_csv_row(text, {UINT64_MAX, true, 0}, "");
    append_csv_row(text, {0, false, UINT64_MAX}, "");
    EXPECT_EQ(text,
              "18446744073709551615;Original;\"\";0\r\n"
              "0;Doublon;\"\";18446744073709551615\r\n");
}

TEST(CsvRowTest, WhatStandsInTheTextBeforeStays) {
    std::string text = "before";
    append_csv_field(text, "a");
    append_csv_row(text, {2, false, 3}, "b");
    EXPECT_EQ(text, "before\"a\"2;Doublon;\"b\";3\r\n");
}

}  // namespace
}  // namespace larkspine::testing
