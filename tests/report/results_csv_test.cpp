#include "report/results_csv.h"

#include "base/win32_api.h"

#include <gtest/gtest.h>
#include <optional>
#include <string>
#include <vector>

#include "base/path_forms.h"
#include "base/win32_handle.h"
#include "support/scoped_environment.h"
#include "support/temp_tree.h"

namespace larkspine::testing {
namespace {

using Groups = std::vector<DuplicateGroup>;

const std::string header =
    "\xEF\xBB\xBF"
    "Groupe;Statut;Chemin complet;Taille en octets\r\n";
const std::wstring lead(1, wchar_t{0xD83D});
const std::wstring trail(1, wchar_t{0xDE00});

// Entries of 10 bytes.
DuplicateGroup group(const std::vector<std::wstring>& paths) {
    DuplicateGroup entries;
    for (const std::wstring& path : paths)
        entries.push_back({path, 10});
    return entries;
}

class ResultsCsvTest : public ::testing::Test {
  protected:
    // The rows of a report on these groups, behind its header.
    std::string rows_of(const Groups& groups) const {
        EXPECT_TRUE(write_results_csv(path, groups));
        const std::string contents = read_file(path);
        EXPECT_EQ(contents.substr(0, header.size()), header);
        return contents.substr(header.size());
    }
    // The path fields of the rows, in order, without their quotes.
    std::vector<std::string> reported_paths(const Groups& groups) const {
        const std::string rows = rows_of(groups);
        std::vector<std::string> paths;
        for (std::size_t start = rows.find('"'); start != std::string::npos;) {
            const std::size_t end = rows.find('"', start + 1);
            paths.push_back(rows.substr(start + 1, end - start - 1));
            start = rows.find('"', end + 1);
        }
        return paths;
    }

    TempTree tree;
    std::wstring path = tree.path(L"report.csv");
};

TEST_F(ResultsCsvTest, AReportWithoutGroupsIsTheByteOrderMarkAndTheHeader) {
    ASSERT_TRUE(write_results_csv(path, {}));
    EXPECT_EQ(read_file(path), header);
    EXPECT_EQ(header.size(), 50u);
}

TEST_F(ResultsCsvTest, AGroupHasOneRowPerFileAndTheFirstInPathOrderIsTheOriginal) {
    EXPECT_EQ(rows_of({group({L"C:\\d\\b.txt", L"C:\\d\\A.txt", L"C:\\d\\c.txt"})}),
              "1;Original;\"C:\\d\\A.txt\";10\r\n"
              "1;Doublon;\"C:\\d\\b.txt\";10\r\n"
              "1;Doublon;\"C:\\d\\c.txt\";10\r\n");
}

TEST_F(ResultsCsvTest, EntriesAreSortedIgnoringCaseThenByCaseThenShorterFirst) {
    const Groups groups = {
        group({L"D:\\B", L"D:\\a\\b", L"D:\\É", L"D:\\b", L"D:\\é", L"D:\\a", L"D:\\A", L"C:\\z"})};
    EXPECT_EQ(reported_paths(groups),
              (std::vector<std::string>{"C:\\z", "D:\\A", "D:\\a", "D:\\a\\b", "D:\\B", "D:\\b",
                                        "D:\\É", "D:\\é"}));
}

TEST_F(ResultsCsvTest, GroupsAreSortedByTheirFirstPathWhateverTheInputOrder) {
    EXPECT_EQ(rows_of({group({L"C:\\b", L"C:\\x"}), group({L"C:\\z", L"C:\\y", L"C:\\a"}),
                       group({L"C:\\w", L"C:\\AB"})}),
              "1;Original;\"C:\\a\";10\r\n"
              "1;Doublon;\"C:\\y\";10\r\n"
              "1;Doublon;\"C:\\z\";10\r\n"
              "2;Original;\"C:\\AB\";10\r\n"
              "2;Doublon;\"C:\\w\";10\r\n"
              "3;Original;\"C:\\b\";10\r\n"
              "3;Doublon;\"C:\\x\";10\r\n");
}

TEST_F(ResultsCsvTest, EveryOrderOfTheGroupsGivesTheSameReport) {
    const Groups groups = {group({L"C:\\a", L"C:\\z"}), group({L"C:\\b", L"C:\\c"}),
                           group({L"C:\\B", L"C:\\d"})};
    const std::string expected = rows_of(groups);
    EXPECT_EQ(rows_of({groups[1], groups[2], groups[0]}), expected);
    EXPECT_EQ(rows_of({groups[2], groups[0], groups[1]}), expected);
    EXPECT_EQ(rows_of({groups[2], groups[1], groups[0]}), expected);
}

TEST_F(ResultsCsvTest, EmptyGroupsAreLeftOutAndTakeNoNumber) {
    EXPECT_EQ(rows_of({{}, group({L"C:\\b", L"C:\\c"}), {}, group({L"C:\\a", L"C:\\d"}), {}}),
              "1;Original;\"C:\\a\";10\r\n"
              "1;Doublon;\"C:\\d\";10\r\n"
              "2;Original;\"C:\\b\";10\r\n"
              "2;Doublon;\"C:\\c\";10\r\n");
    EXPECT_EQ(rows_of({{}, {}}), "");
}

TEST_F(ResultsCsvTest, AGroupOfOneIsAnOriginalWithoutDuplicates) {
    EXPECT_EQ(rows_of({group({L"C:\\a"})}), "1;Original;\"C:\\a\";10\r\n");
}

TEST_F(ResultsCsvTest, NumbersAreDecimalWithoutPaddingOrSeparators) {
    Groups groups;
    for (wchar_t name = L'a'; name < L'a' + 12; ++name)
        groups.push_back({{std::wstring(1, name), 1'234'567}});
    const std::string rows = rows_of(groups);
    EXPECT_EQ(rows.substr(0, 25), "1;Original;\"a\";1234567\r\n2");
    EXPECT_EQ(rows.substr(rows.rfind("\r\n12;")), "\r\n12;Original;\"l\";1234567\r\n");
}

TEST_F(ResultsCsvTest, SizesFromZeroToTheLargest64BitNumberAreWrittenWhole) {
    EXPECT_EQ(rows_of({{{L"C:\\a", 0}, {L"C:\\b", 0}}, {{L"C:\\c", UINT64_MAX}}}),
              "1;Original;\"C:\\a\";0\r\n"
              "1;Doublon;\"C:\\b\";0\r\n"
              "2;Original;\"C:\\c\";18446744073709551615\r\n");
}

TEST_F(ResultsCsvTest, ASemicolonStaysInsideTheQuotes) {
    EXPECT_EQ(rows_of({group({L"C:\\a;b;Original.txt"})}),
              "1;Original;\"C:\\a;b;Original.txt\";10\r\n");
}

TEST_F(ResultsCsvTest, NamesOutsideAsciiAreWrittenAsUtf8) {
    EXPECT_EQ(
        rows_of({group({L"C:\\\u00E9t\u00E9", L"C:\\\u65E5\u672C", L"C:\\z" + lead + trail})}),
        "1;Original;\"C:\\z\xF0\x9F\x98\x80\";10\r\n"
        "1;Doublon;\"C:\\\xC3\xA9t\xC3\xA9\";10\r\n"
        "1;Doublon;\"C:\\\xE6\x97\xA5\xE6\x9C\xAC\";10\r\n");
}

// A field begins with a drive or a server, whatever the file is called, and ends with its own
// quote.
TEST_F(ResultsCsvTest, NamesThatMisleadASpreadsheetStayInsideTheirQuotes) {
    EXPECT_EQ(rows_of({group({L"C:\\=1+1", L"C:\\@A1,=1+1,", L"C:\\\";\"x", L"\\\\s\\-1\t+2"})}),
              "1;Original;\"C:\\\"\";\"\"x\";10\r\n"
              "1;Doublon;\"C:\\=1+1\";10\r\n"
              "1;Doublon;\"C:\\@A1,=1+1,\";10\r\n"
              "1;Doublon;\"\\\\s\\-1\t+2\";10\r\n");
}

TEST_F(ResultsCsvTest, ARightToLeftOverrideIsWrittenUnchanged) {
    EXPECT_EQ(rows_of({group({L"C:\\gpj\u202Eexe.a"})}),
              "1;Original;\"C:\\gpj\xE2\x80\xAE"
              "exe.a\";10\r\n");
}

TEST_F(ResultsCsvTest, APathThatIsNotValidUtf16LeavesItsFieldEmptyAndTheRowComplete) {
    EXPECT_EQ(rows_of({group({L"C:\\b" + lead, L"C:\\a" + trail + L"x", L"C:\\c"})}),
              "1;Original;\"\";10\r\n"
              "1;Doublon;\"\";10\r\n"
              "1;Doublon;\"C:\\c\";10\r\n");
}

TEST_F(ResultsCsvTest, AReportOfSeveralBlocksIsWhole) {
    Groups groups(2);
    std::string expected;
    const std::wstring folder = L"C:\\" + std::wstring(200, L'd') + L"\\";
    for (int i = 10'000; i < 13'000; ++i) {
        groups[0].push_back({folder + std::to_wstring(i), 7});
        expected += (i == 10'000 ? "1;Original;\"C:\\" : "1;Doublon;\"C:\\") +
                    std::string(200, 'd') + "\\" + std::to_string(i) + "\";7\r\n";
    }
    groups[1] = group({L"D:\\x", L"D:\\y"});
    expected += "2;Original;\"D:\\x\";10\r\n2;Doublon;\"D:\\y\";10\r\n";
    ASSERT_GT(expected.size(), 2u * 262'144);
    EXPECT_TRUE(rows_of(groups) == expected);
}

TEST_F(ResultsCsvTest, AnEarlierReportOfTheSameNameIsReplacedWhole) {
    rows_of({group({L"C:\\a", L"C:\\b", L"C:\\c"})});
    EXPECT_EQ(rows_of({group({L"C:\\d"})}), "1;Original;\"C:\\d\";10\r\n");
}

TEST_F(ResultsCsvTest, ARelativePathIsTakenFromTheCurrentDirectory) {
    const ScopedCurrentDirectory here(strip_long_path_prefix(tree.root()));
    EXPECT_TRUE(write_results_csv(L"report.csv", {}));
    EXPECT_EQ(read_file(path), header);
}

TEST_F(ResultsCsvTest, APathOfMoreThan260CharactersIsWritten) {
    const std::wstring folder =
        tree.folder(std::wstring(120, L'a') + L"\\" + std::wstring(120, L'b'));
    EXPECT_TRUE(write_results_csv(strip_long_path_prefix(folder) + L"\\report.csv", {}));
    EXPECT_EQ(read_file(folder + L"\\report.csv"), header);
}

TEST_F(ResultsCsvTest, AMissingFolderMakesTheReportFail) {
    EXPECT_FALSE(write_results_csv(tree.path(L"missing\\report.csv"), {}));
    EXPECT_FALSE(file_exists(tree.path(L"missing")));
}

TEST_F(ResultsCsvTest, AFolderInThePlaceOfTheReportMakesItFail) {
    EXPECT_FALSE(write_results_csv(tree.root(), {}));
}

TEST_F(ResultsCsvTest, AReportFailsAndTheOldOneStaysWhenAnotherProgramHoldsItOpen) {
    tree.file(L"report.csv", "old");
    unique_handle holder = own_handle(CreateFileW(path.c_str(), GENERIC_READ, FILE_SHARE_READ,
                                                  nullptr, OPEN_EXISTING, 0, nullptr));
    EXPECT_FALSE(write_results_csv(path, {}));
    holder.reset();
    EXPECT_EQ(read_file(path), "old");
}

TEST(CsvQuoteTest, APathIsEnclosedInDoubleQuotes) {
    EXPECT_EQ(csv_quote_utf8(L"C:\\d\\a.txt"), "\"C:\\d\\a.txt\"");
    EXPECT_EQ(csv_quote_utf8(L"a;b,c\r\nd'e"), "\"a;b,c\r\nd'e\"");
}

TEST(CsvQuoteTest, AnEmptyPathIsTwoDoubleQuotes) {
    EXPECT_EQ(csv_quote_utf8(L""), "\"\"");
}

TEST(CsvQuoteTest, EveryDoubleQuoteInsideIsDoubled) {
    EXPECT_EQ(csv_quote_utf8(L"a\"b"), "\"a\"\"b\"");
    EXPECT_EQ(csv_quote_utf8(L"\""), "\"\"\"\"");
    EXPECT_EQ(csv_quote_utf8(L"\"a\"\"b\""), "\"\"\"a\"\"\"\"b\"\"\"");
    EXPECT_EQ(csv_quote_utf8(L"\u201Ca\u201D"),
              "\"\xE2\x80\x9C"
              "a\xE2\x80\x9D\"");
}

TEST(CsvQuoteTest, CharactersOfEveryLengthBecomeUtf8) {
    EXPECT_EQ(csv_quote_utf8(L"\u007F\u0080\u07FF\u0800\uFFFF\U00010000\U0010FFFF"),
              "\"\x7F\xC2\x80\xDF\xBF\xE0\xA0\x80\xEF\xBF\xBF\xF0\x90\x80\x80\xF4\x8F\xBF\xBF\"");
}

TEST(CsvQuoteTest, ANullCharacterInsideDoesNotEndThePath) {
    EXPECT_EQ(csv_quote_utf8({L"a\0b", 3}), std::string("\"a\0b\"", 5));
}

TEST(CsvQuoteTest, AnUnpairedSurrogateAnywhereGivesAnEmptyField) {
    for (const std::wstring& path :
         {lead, trail, L"a" + lead, lead + L"a", trail + L"a", L"a" + trail, trail + lead,
          lead + lead + trail, lead + trail + trail, L"C:\\d\\" + lead + L".txt",
          L"\"" + trail + L"\""})
        EXPECT_EQ(csv_quote_utf8(path), "\"\"");
}

TEST(CsvQuoteTest, TheLongestPathIsWhole) {
    std::string expected;
    for (int i = 0; i < 32'767; ++i)
        expected += "\xE6\x97\xA5";
    EXPECT_EQ(csv_quote_utf8(std::wstring(32'767, L'\u65E5')), "\"" + expected + "\"");
}

std::wstring now() {
    SYSTEMTIME time = {};
    GetLocalTime(&time);
    wchar_t text[64];
    swprintf(text, 64, L"%04d-%02d-%02d_%02d-%02d-%02d", time.wYear, time.wMonth, time.wDay,
             time.wHour, time.wMinute, time.wSecond);
    return text;
}

TEST(ResultsFilePathTest, TheReportIsNamedAfterTheLocalTimeInTheCurrentDirectory) {
    const TempTree tree;
    const std::wstring folder = strip_long_path_prefix(tree.folder(L"été 日"));
    const ScopedCurrentDirectory here(folder);
    const std::wstring before = now();
    const std::optional<std::wstring> path = results_file_path();
    const std::wstring after = now();
    ASSERT_NE(path, std::nullopt);
    const std::wstring start = folder + L"\\Fennick_Resultats_";
    EXPECT_GE(*path, start + before + L".csv");
    EXPECT_LE(*path, start + after + L".csv");
    EXPECT_EQ(path->size(), (start + before + L".csv").size());
}

TEST(ResultsFilePathTest, TheRootOfADriveGetsNoSecondBackslash) {
    const ScopedCurrentDirectory here(L"C:\\");
    const std::optional<std::wstring> path = results_file_path();
    ASSERT_NE(path, std::nullopt);
    EXPECT_EQ(path->substr(0, 21), L"C:\\Fennick_Resultats_");
}

TEST(ResultsFilePathTest, ChoosingThePathCreatesNoFile) {
    const TempTree tree;
    const ScopedCurrentDirectory here(strip_long_path_prefix(tree.root()));
    const std::optional<std::wstring> path = results_file_path();
    ASSERT_NE(path, std::nullopt);
    EXPECT_FALSE(file_exists(*path));
}

}  // namespace
}  // namespace larkspine::testing
