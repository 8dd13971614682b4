#include "report/csv_row.h"

#include <cstdint>
#include <gtest/gtest.h>
#include <string>
#include <string_view>

namespace larkspine::testing {
namespace {

// The text with its double quotes doubled.
std::string doubled(std::string text) {
    double_quotes(text, 0);
    return text;
}

TEST(CsvRowTest, DoubleQuotesAreDoubledWhereverTheyStand) {
    EXPECT_EQ(doubled("\""), "\"\"");
    EXPECT_EQ(doubled("\"a"), "\"\"a");
    EXPECT_EQ(doubled("a\""), "a\"\"");
    EXPECT_EQ(doubled("a\"b\"\"c"), "a\"\"b\"\"\"\"c");
    EXPECT_EQ(doubled("\"\"bb"), "\"\"\"\"bb");
}

TEST(CsvRowTest, AnyOtherByteStaysAsItIs) {
    EXPECT_EQ(doubled(""), "");
    for (unsigned value = 0; value < 256; ++value) {
        if (value == '"')
            continue;
        const std::string text(3, static_cast<char>(value));
        EXPECT_EQ(doubled(text), text) << value;
        EXPECT_EQ(doubled(text + '"' + text), text + "\"\"" + text) << value;
    }
}

TEST(CsvRowTest, DoubleQuotesBeforeTheStartStayAsTheyAre) {
    std::string text = "\"a\"b";
    double_quotes(text, 4);
    EXPECT_EQ(text, "\"a\"b");
    double_quotes(text, 2);
    EXPECT_EQ(text, "\"a\"\"b");
}

class CsvRowFrameTest : public ::testing::Test {
  protected:
    std::string row(bool original, std::uint64_t size) {
        std::string text;
        frame.append_start(text, original);
        text.append("path");
        frame.append_end(text, size);
        return text;
    }
    CsvRowFrame frame;
};

TEST_F(CsvRowFrameTest, ARowNamesItsGroupItsStatusAndItsSize) {
    frame.begin_group(1);
    EXPECT_EQ(row(true, 10), "1;Original;path;10\r\n");
    EXPECT_EQ(row(false, 10), "1;Doublon;path;10\r\n");
    frame.begin_group(23);
    EXPECT_EQ(row(true, 10), "23;Original;path;10\r\n");
}

TEST_F(CsvRowFrameTest, EachRowHasItsOwnSize) {
    frame.begin_group(1);
    EXPECT_EQ(row(true, 0), "1;Original;path;0\r\n");
    EXPECT_EQ(row(false, 100), "1;Doublon;path;100\r\n");
    EXPECT_EQ(row(false, 9), "1;Doublon;path;9\r\n");
    EXPECT_EQ(row(false, 0), "1;Doublon;path;0\r\n");
}

TEST_F(CsvRowFrameTest, TheLargest64BitNumbersAreWrittenWhole) {
    frame.begin_group(UINT64_MAX);
    EXPECT_EQ(row(true, UINT64_MAX), "18446744073709551615;Original;path;18446744073709551615\r\n");
}

TEST_F(CsvRowFrameTest, ARowIsAppendedToTheTextBeforeIt) {
    std::string text = "before";
    frame.begin_group(2);
    frame.append_start(text, false);
    frame.append_end(text, 3);
    EXPECT_EQ(text, "before2;Doublon;;3\r\n");
}

}  // namespace
}  // namespace larkspine::testing
