#include "app/banner.h"

#include <algorithm>
#include <gtest/gtest.h>
#include <string>
#include <vector>

namespace larkspine::testing {
namespace {

const std::wstring banner(banner_text());

std::vector<std::wstring> lines_of(const std::wstring& text) {
    std::vector<std::wstring> lines(1);
    for (const wchar_t unit : text) {
        if (unit == L'\n')
            lines.emplace_back();
        else
            lines.back().push_back(unit);
    }
    return lines;
}

// The lines between the empty first one and the version.
std::vector<std::wstring> art() {
    std::vector<std::wstring> lines = lines_of(banner);
    const auto version = std::find(lines.begin(), lines.end(), L"Version 0.0.5");
    return {lines.begin() + 1, version};
}

std::wstring::size_type widest(const std::vector<std::wstring>& lines) {
    std::wstring::size_type width = 0;
    for (const std::wstring& line : lines)
        width = std::max(width, line.size());
    return width;
}

TEST(BannerTest, BeginsWithOneEmptyLine) {
    EXPECT_EQ(banner.substr(0, 1), L"\n");
    EXPECT_NE(banner.substr(1, 1), L"\n");
}

TEST(BannerTest, EndsWithVersionAuthorCompanyRuleAndAnEmptyLine) {
    const std::wstring end =
        L"\nVersion 0.0.5\n"
        L"Auteur : Pelvane\n"
        L"Entreprise : Ostrell\n"
        L"----------------------------------------\n"
        L"\n";
    ASSERT_GE(banner.size(), end.size());
    EXPECT_EQ(banner.substr(banner.size() - end.size()), end);
}

TEST(BannerTest, TheRuleIsFortyHyphens) {
    const std::vector<std::wstring> lines = lines_of(banner);
    EXPECT_EQ(std::count(lines.begin(), lines.end(), std::wstring(40, L'-')), 1);
}

TEST(BannerTest, TheDrawingHasAtLeastFourLinesAndNoBlankOne) {
    EXPECT_GE(art().size(), 4u);
    for (const std::wstring& line : art())
        EXPECT_NE(line.find_first_not_of(L' '), std::wstring::npos);
}

// Consoles are at least 80 wide; a line that wraps would tear the drawing.
TEST(BannerTest, NoLineWrapsOnANarrowConsole) {
    EXPECT_LT(widest(lines_of(banner)), 80u);
}

// Every code page and font can show printable ASCII.
TEST(BannerTest, TheDrawingIsPrintableAsciiWithoutTrailingSpaces) {
    for (const std::wstring& line : art()) {
        for (const wchar_t unit : line)
            EXPECT_TRUE(unit >= L' ' && unit <= L'~') << static_cast<unsigned>(unit);
        EXPECT_NE(line.back(), L' ');
    }
}

TEST(BannerTest, TheTextHasNoCarriageReturnAndNoNullCharacter) {
    EXPECT_EQ(banner.find(L'\r'), std::wstring::npos);
    EXPECT_EQ(banner.find(L'\0'), std::wstring::npos);
}

}  // namespace
}  // namespace larkspine::testing
