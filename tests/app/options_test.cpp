#include "app/options.h"

#include <gtest/gtest.h>
#include <initializer_list>
#include <optional>
#include <string>
#include <thread>
#include <tuple>
#include <vector>

namespace larkspine::testing {
namespace {

using Arguments = std::vector<const wchar_t*>;

// All of the options, so that they can be compared.
using Fields = std::tuple<std::wstring, std::uint64_t, IndexMode, bool, bool>;

Fields fields(const ScanOptions& options) {
    return {options.root, options.workers, options.index_mode, options.verify_bytes,
            options.show_stats};
}

std::optional<Fields> parse_counted(int argc, const wchar_t* const* argv) {
    const std::optional<ScanOptions> options = parse_options(argc, argv);
    if (!options)
        return std::nullopt;
    return fields(*options);
}

// Parses these arguments, with the program's name before them.
std::optional<Fields> parse(const Arguments& arguments) {
    Arguments argv = {L"larkspine.exe"};
    argv.insert(argv.end(), arguments.begin(), arguments.end());
    const int count = static_cast<int>(argv.size());
    argv.push_back(nullptr);
    return parse_counted(count, argv.data());
}

ScanOptions defaults() {
    ScanOptions options;
    options.root = L"C:\\";
    options.workers = default_workers(std::thread::hardware_concurrency());
    return options;
}

// The defaults with one thing changed.
ScanOptions with_root(const wchar_t* root) {
    ScanOptions options = defaults();
    options.root = root;
    return options;
}

ScanOptions with_workers(std::uint64_t workers) {
    ScanOptions options = defaults();
    options.workers = workers;
    return options;
}

ScanOptions with_index_mode(IndexMode mode) {
    ScanOptions options = defaults();
    options.index_mode = mode;
    return options;
}

// The test's failure text for a list of arguments; narrow, because wide streams are not portable.
std::string shown(const Arguments& arguments) {
    std::string text;
    for (const wchar_t* argument : arguments) {
        text += " [";
        for (; *argument != L'\0'; ++argument)
            text += *argument < 0x80 ? static_cast<char>(*argument) : '?';
        text += ']';
    }
    return text;
}

struct Accepted {
    Arguments arguments;
    ScanOptions expected;
};

void expect_accepted(std::initializer_list<Accepted> rows) {
    for (const Accepted& row : rows)
        EXPECT_EQ(parse(row.arguments), fields(row.expected)) << shown(row.arguments);
}

void expect_refused(std::initializer_list<Arguments> rows) {
    for (const Arguments& arguments : rows)
        EXPECT_EQ(parse(arguments), std::nullopt) << shown(arguments);
}

// Texts that are not a valid number of workers.
const std::vector<const wchar_t*> refused_numbers = {
    L"",
    L"0",
    L"00",
    L"000000000000000000000000",
    L"65",
    L"065",
    L"100",
    L"640",
    L"4294967297",            // 2^32 + 1
    L"18446744073709551615",  // 2^64 - 1
    L"18446744073709551616",  // 2^64, 0 when wrapped
    L"18446744073709551617",  // 1 when wrapped
    L"18446744073709551620",  // 4 when wrapped
    L"36893488147419103236",  // 2^65 + 4
    L"184467440737095516164",
    L"12345678901234567890123",  // 23 digits
    L"00000000000000000000065",
    L"a",
    L"4a",
    L"a4",
    L"4 ",
    L" 4",
    L"\t4",
    L"4\n",
    L"+4",
    L"-4",
    L"-",
    L"4.0",
    L"4,0",
    L"0x4",
    L"4e0",
    L"1 2",
    L"/",       // before '0'
    L":",       // after '9'
    L"\uFF14",  // full-width digit
    L"\u0664",  // Arabic-Indic digit
    L"\u2074",  // superscript digit
    L"\u01344",
    L"\u0134",  // its low byte is '4'
};

TEST(OptionsTest, NoArgumentGivesTheDefaults) {
    const wchar_t* const argv[] = {L"larkspine.exe", nullptr};
    const std::optional<ScanOptions> options = parse_options(1, argv);
    ASSERT_NE(options, std::nullopt);
    EXPECT_EQ(options->root, L"C:\\");
    EXPECT_EQ(options->workers, default_workers(std::thread::hardware_concurrency()));
    EXPECT_EQ(options->index_mode, IndexMode::use);
    EXPECT_FALSE(options->verify_bytes);
    EXPECT_FALSE(options->show_stats);
}

TEST(OptionsTest, AnEmptyArgumentListGivesTheDefaults) {
    const wchar_t* const argv[] = {nullptr};
    EXPECT_EQ(parse_counted(0, argv), fields(defaults()));
}

TEST(OptionsTest, TheProgramNameIsNeverReadAsAnOption) {
    const wchar_t* const argv[] = {L"--no-index", L"--stats", nullptr};
    ScanOptions expected = defaults();
    expected.show_stats = true;
    EXPECT_EQ(parse_counted(2, argv), fields(expected));
}

TEST(OptionsTest, ArgumentsBeyondTheCountAreNotRead) {
    const wchar_t* const argv[] = {L"larkspine.exe", L"D:\\", L"-x", nullptr};
    EXPECT_EQ(parse_counted(2, argv), fields(with_root(L"D:\\")));
}

TEST(OptionsTest, EachSwitchSetsOnlyItsOwnOption) {
    ScanOptions verifying = defaults();
    verifying.verify_bytes = true;
    ScanOptions counting = defaults();
    counting.show_stats = true;
    expect_accepted({{{L"--verify-bytes"}, verifying},
                     {{L"--stats"}, counting},
                     {{L"--no-index"}, with_index_mode(IndexMode::disabled)},
                     {{L"--rebuild-index"}, with_index_mode(IndexMode::rebuild)},
                     {{L"--workers", L"7"}, with_workers(7)},
                     {{L"-j", L"64"}, with_workers(64)}});
}

TEST(OptionsTest, AllOptionsCanBeCombined) {
    const ScanOptions all = {L"D:\\photos", 64, IndexMode::rebuild, true, true};
    expect_accepted(
        {{{L"--workers", L"64", L"--rebuild-index", L"--verify-bytes", L"--stats", L"D:\\photos"},
          all}});
}

TEST(OptionsTest, TheFolderMayStandBeforeBetweenOrAfterTheOptions) {
    const ScanOptions expected = {L"D:\\photos", 2, IndexMode::use, false, true};
    expect_accepted({{{L"D:\\photos", L"-j", L"2", L"--stats"}, expected},
                     {{L"-j", L"2", L"D:\\photos", L"--stats"}, expected},
                     {{L"-j", L"2", L"--stats", L"D:\\photos"}, expected}});
}

TEST(OptionsTest, AnArgumentWithoutALeadingHyphenIsTheFolderUnchanged) {
    for (const wchar_t* folder : {L"C:\\",
                                  L"photos",
                                  L".",
                                  L"..",
                                  L"D:",
                                  L"c:/data/",
                                  L"\\\\server\\share",
                                  L"\\\\?\\C:\\x",
                                  L"/",
                                  L"/?",
                                  L"/stats",
                                  L"a-b",
                                  L" -x",
                                  L" ",
                                  L"workers",
                                  L"4",
                                  L"\"",
                                  L"*",
                                  L"Vid\u00E9os d\u2019\u00E9t\u00E9",
                                  L"\u2010j",
                                  L"\uFF0D"})
        expect_accepted({{{folder}, with_root(folder)}});
}

TEST(OptionsTest, AnEmptyArgumentIsAFolder) {
    expect_accepted({{{L""}, with_root(L"")}});
    expect_refused({{L"", L""}, {L"", L"D:\\"}, {L"D:\\", L""}});
}

TEST(OptionsTest, TwoFoldersAreRefusedEvenWhenEqual) {
    expect_refused({{L"C:\\", L"D:\\"},
                    {L"C:\\", L"C:\\"},
                    {L"C:\\", L"--stats", L"D:\\"},
                    {L"-j", L"4", L"5", L"6"}});
}

TEST(OptionsTest, AnUnknownArgumentWithALeadingHyphenIsRefused) {
    for (const wchar_t* argument : {L"-",
                                    L"--",
                                    L"---",
                                    L"-x",
                                    L"-J",
                                    L"-jobs",
                                    L"-j4",
                                    L"-j=4",
                                    L"--j",
                                    L"--Workers",
                                    L"--WORKERS",
                                    L"--workers=4",
                                    L"--workers ",
                                    L"--worker",
                                    L"--workerss",
                                    L"-workers",
                                    L"--No-Index",
                                    L"--no-index ",
                                    L"--noindex",
                                    L"--no_index",
                                    L"-no-index",
                                    L"--Rebuild-Index",
                                    L"--rebuild",
                                    L"--index",
                                    L"--Verify-Bytes",
                                    L"--verify",
                                    L"--verify-bytes=1",
                                    L"--Stats",
                                    L"--stat",
                                    L"--stats=1",
                                    L"-stats",
                                    L"--help",
                                    L"-h",
                                    L"--version",
                                    L"-C:\\",
                                    L"-\u00E9"}) {
        expect_refused({{argument}, {argument, L"4"}, {L"D:\\", argument}});
    }
}

TEST(OptionsTest, LeadingZerosInTheNumberOfWorkersAreIgnored) {
    expect_accepted(
        {{{L"--workers", L"064"}, with_workers(64)},
         {{L"-j", L"01"}, with_workers(1)},
         {{L"-j", L"00000000000000000000000000000000000000000000000008"}, with_workers(8)}});
}

TEST(OptionsTest, AnInvalidNumberOfWorkersIsRefused) {
    expect_refused({{L"--workers", L"0"}, {L"-j", L"65"}, {L"-j", L"a", L"D:\\"}});
}

TEST(OptionsTest, TheWorkersOptionAsTheLastArgumentIsRefused) {
    expect_refused({{L"--workers"},
                    {L"-j"},
                    {L"D:\\", L"-j"},
                    {L"--stats", L"--workers"},
                    {L"-j", L"4", L"-j"}});
}

TEST(OptionsTest, AnOptionOrFolderInPlaceOfTheNumberOfWorkersIsRefused) {
    expect_refused({{L"-j", L"--stats"},
                    {L"--workers", L"-j", L"4"},
                    {L"-j", L"D:\\"},
                    {L"-j", L"--workers", L"4"}});
}

TEST(OptionsTest, TheLastOfSeveralNumbersOfWorkersCounts) {
    expect_accepted({{{L"-j", L"2", L"-j", L"3"}, with_workers(3)},
                     {{L"--workers", L"5", L"-j", L"1"}, with_workers(1)},
                     {{L"-j", L"1", L"--workers", L"5"}, with_workers(5)}});
    expect_refused({{L"-j", L"0", L"-j", L"3"}, {L"-j", L"3", L"-j", L"0"}});
}

TEST(OptionsTest, VerificationAndStatisticsMayBeRepeated) {
    ScanOptions expected = defaults();
    expected.verify_bytes = true;
    expected.show_stats = true;
    expect_accepted({{{L"--stats", L"--verify-bytes", L"--stats", L"--verify-bytes"}, expected}});
}

TEST(OptionsTest, IndexOptionsThatAreCombinedOrRepeatedAreRefused) {
    expect_refused({{L"--no-index", L"--no-index"},
                    {L"--rebuild-index", L"--rebuild-index"},
                    {L"--no-index", L"--rebuild-index"},
                    {L"--rebuild-index", L"--no-index"},
                    {L"--no-index", L"D:\\", L"--stats", L"--no-index"}});
}

// A parser that continued would read the null argument behind the invalid one.
TEST(OptionsTest, TheFirstInvalidArgumentEndsParsing) {
    for (const wchar_t* invalid : {L"-", L"--unknown", L"-j4"}) {
        const wchar_t* const argv[] = {L"larkspine.exe", invalid, nullptr, nullptr};
        EXPECT_EQ(parse_counted(3, argv), std::nullopt);
    }
    const wchar_t* const bad_number[] = {L"larkspine.exe", L"-j", L"0", nullptr, nullptr};
    EXPECT_EQ(parse_counted(4, bad_number), std::nullopt);
    const wchar_t* const second_mode[] = {L"x", L"--no-index", L"--no-index", nullptr, nullptr};
    EXPECT_EQ(parse_counted(4, second_mode), std::nullopt);
    const wchar_t* const second_folder[] = {L"larkspine.exe", L"D:\\", L"E:\\", nullptr, nullptr};
    EXPECT_EQ(parse_counted(4, second_folder), std::nullopt);
}

TEST(ParseWorkersTest, ASingleDigitIsParsedAsItsNumber) {
    EXPECT_EQ(parse_workers(L"1"), 1u);
    EXPECT_EQ(parse_workers(L"9"), 9u);
}

TEST(ParseWorkersTest, TwoDigitsFromOneToSixtyFourAreParsedAsTheirNumber) {
    for (std::uint64_t number = 1; number <= max_workers; ++number) {
        const wchar_t digits[] = {static_cast<wchar_t>(L'0' + number / 10),
                                  static_cast<wchar_t>(L'0' + number % 10)};
        EXPECT_EQ(parse_workers({digits, 2}), number);
    }
}

TEST(ParseWorkersTest, AnyTextThatIsNoNumberFromOneToSixtyFourIsRefused) {
    for (const wchar_t* text : refused_numbers)
        EXPECT_EQ(parse_workers(text), std::nullopt) << shown({text});
}

TEST(ParseWorkersTest, ATextWithANullCharacterIsRefused) {
    EXPECT_EQ(parse_workers({L"4\0", 2}), std::nullopt);
    EXPECT_EQ(parse_workers({L"\0004", 2}), std::nullopt);
}

TEST(DefaultWorkersTest, TheDefaultIsTheNumberOfHardwareThreadsButAtMostFour) {
    for (unsigned threads : {1u, 2u, 3u, 4u})
        EXPECT_EQ(default_workers(threads), threads);
    for (unsigned threads : {5u, 8u, 63u, 64u, 65u, 256u, 4294967295u})
        EXPECT_EQ(default_workers(threads), 4u);
}

TEST(DefaultWorkersTest, AnUnknownNumberOfHardwareThreadsGivesFour) {
    EXPECT_EQ(default_workers(0), 4u);
}

}  // namespace
}  // namespace larkspine::testing
