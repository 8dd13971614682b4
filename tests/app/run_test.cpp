#include "base/win32_api.h"

#include <chrono>
#include <cstdint>
#include <gtest/gtest.h>
#include <iostream>
#include <sstream>
#include <stdexcept>
#include <string>
#include <vector>

#include "app/run_fixture.h"
#include "support/fake_clock.h"
#include "support/fake_console.h"
#include "support/file_writes.h"

namespace larkspine::testing {
namespace {

TEST_F(RunTest, TheSummaryCountsTheDuplicatesWithoutTheOriginalsAndNamesTheReport) {
    for (const wchar_t* name : {L"in\\a1", L"in\\a2", L"in\\below\\a3"})
        tree.file(name, "aaa");
    for (const wchar_t* name : {L"in\\b1", L"in\\b2"})
        tree.file(name, "bbb");
    tree.file(L"in\\c", "cccc");
    const std::wstring expected = summary(L"Documents détectés : 6\nDoublons trouvés : 3\n");
    EXPECT_EQ(run_on(in), (Outcome{0, banner + expected, L""}));
    EXPECT_TRUE(file_exists(report));
}

TEST_F(RunTest, WithoutADuplicateTheReportIsStillWrittenAndNamed) {
    tree.file(L"in\\a", "a");
    const std::wstring expected = summary(L"Documents détectés : 1\nAucun doublon trouvé.\n");
    EXPECT_EQ(run_on(in), (Outcome{0, banner + expected, L""}));
    EXPECT_EQ(read_file(report).size(), 50u);
}

TEST_F(RunTest, TheReportHoldsTheDuplicatesOfTheFolder) {
    tree.file(L"in\\b", "x");
    tree.file(L"in\\a", "x");
    ASSERT_EQ(run_on(in).code, 0);
    const std::wstring folder = strip_long_path_prefix(in);
    const std::string narrow(folder.begin(), folder.end());
    EXPECT_EQ(read_file(report).substr(50),
              "1;Original;\"" + narrow + "\\a\";1\r\n1;Doublon;\"" + narrow + "\\b\";1\r\n");
}

TEST_F(RunTest, WithoutAnIndexTheStatisticsShowNoTimeForReadingOrWritingIt) {
    const FakeClock slow(std::chrono::seconds(1));
    const std::wstring text = run_with({in.c_str(), L"--no-index", L"--stats"}).output;
    const std::wstring title = L"  Temps (ms) index/énumération/analyse/écriture/total : ";
    const std::size_t place = text.find(title);
    ASSERT_NE(place, std::wstring::npos);
    std::wistringstream times(text.substr(place + title.size()));
    std::vector<std::uint64_t> found(5);
    wchar_t slash = 0;
    for (std::uint64_t& time : found)
        times >> time >> slash;
    EXPECT_EQ(found[0], 0u);
    EXPECT_EQ(found[3], 0u);
    EXPECT_GE(found[4], 1000u);
}

TEST_F(RunTest, TheFolderMayBeRelativeOrInDisplayForm) {
    const std::wstring expected = summary(L"Documents détectés : 0\nAucun doublon trouvé.\n");
    for (const std::wstring& folder :
         {std::wstring(L"..\\in"), strip_long_path_prefix(in), in + L"\\"})
        EXPECT_TRUE(run_on(folder).output.ends_with(expected));
}

TEST_F(RunTest, AReportInALongPathIsNamedInDisplayForm) {
    hooks().GetCurrentDirectoryW = [this](DWORD capacity, LPWSTR buffer) -> DWORD {
        if (capacity == 0)
            return static_cast<DWORD>(out.size()) + 1;
        out.copy(buffer, out.size());
        return static_cast<DWORD>(out.size());
    };
    const std::wstring text = run_on(in).output;
    EXPECT_TRUE(
        text.ends_with(L"Résultats enregistrés dans :\n" + strip_long_path_prefix(report) + L"\n"));
}

TEST_F(RunTest, AFailedOutputChangesNeitherTheExitCodeNorTheReport) {
    std::wcout.rdbuf(nullptr);
    EXPECT_EQ(run_on(in), (Outcome{0, L"", L""}));
    EXPECT_TRUE(file_exists(report));
}

TEST_F(RunTest, ABannerThatCouldNotBeWrittenDoesNotSilenceTheSummary) {
    std::wcout.setstate(std::ios_base::badbit);
    const std::wstring expected = summary(L"Documents détectés : 0\nAucun doublon trouvé.\n");
    EXPECT_EQ(run_on(in), (Outcome{0, expected, L""}));
}

TEST_F(RunTest, TheBannerIsFlushedBeforeTheFolderIsQueried) {
    std::wstring flushed_before;
    hooks().GetFileAttributesW = [&](LPCWSTR) -> DWORD {
        flushed_before = output.flushed();
        return INVALID_FILE_ATTRIBUTES;
    };
    EXPECT_EQ(run_on(in).code, 2);
    EXPECT_EQ(flushed_before, banner);
}

TEST_F(RunTest, BothStreamsAreFlushedAtTheEnd) {
    const Outcome summary = run_on(in);
    EXPECT_EQ(output.flushed(), summary.output);
    const Outcome failure = run_with({L"-x"});
    EXPECT_EQ(output.flushed(), failure.output);
    EXPECT_EQ(errors.flushed(), failure.errors);
}

TEST_F(RunTest, InvalidParametersEndWithCode1BeforeAnyFolderIsQueried) {
    hooks().GetFileAttributesW = [](LPCWSTR) -> DWORD {
        ADD_FAILURE();
        return INVALID_FILE_ATTRIBUTES;
    };
    EXPECT_EQ(run_with({L"-x"}), (Outcome{1, banner, invalid_parameters}));
}

TEST_F(RunTest, AMissingFolderEndsWithCode2) {
    EXPECT_EQ(run_on(tree.path(L"missing")), (Outcome{2, banner, not_accessible}));
}

TEST_F(RunTest, AnEmptyFolderNameEndsWithCode2) {
    EXPECT_EQ(run_on(L""), (Outcome{2, banner, not_accessible}));
}

TEST_F(RunTest, OnlyTheDirectoryAttributeMakesAFolder) {
    DWORD attributes = ~DWORD{FILE_ATTRIBUTE_DIRECTORY};
    hooks().GetFileAttributesW = [&](LPCWSTR) { return attributes; };
    EXPECT_EQ(run_on(in).code, 2);
    attributes = FILE_ATTRIBUTE_DIRECTORY | FILE_ATTRIBUTE_HIDDEN;
    EXPECT_EQ(run_on(in).code, 0);
}

TEST_F(RunTest, TheFolderIsQueriedInItsLongForm) {
    std::vector<std::wstring> asked;
    hooks().GetFileAttributesW = [&](LPCWSTR path) {
        asked.emplace_back(path);
        return INVALID_FILE_ATTRIBUTES;
    };
    run_on(L"..\\in");
    run_on(L"D:\\photos\\");
    EXPECT_EQ(asked, (std::vector<std::wstring>{in, L"\\\\?\\D:\\photos\\"}));
}

TEST_F(RunTest, WithoutArgumentsTheDriveCIsScanned) {
    std::vector<std::wstring> asked;
    hooks().GetFileAttributesW = [&](LPCWSTR path) -> DWORD {
        asked.emplace_back(path);
        return FILE_ATTRIBUTE_DIRECTORY;
    };
    hooks().FindFirstFileExW = [&](LPCWSTR path, auto...) {
        asked.emplace_back(path);
        SetLastError(ERROR_ACCESS_DENIED);
        return INVALID_HANDLE_VALUE;
    };
    EXPECT_EQ(run_with({}).code, 3);
    EXPECT_EQ(asked, (std::vector<std::wstring>{L"\\\\?\\C:\\", L"\\\\?\\C:\\*"}));
}

TEST_F(RunTest, AnUnreadableRootEndsWithCode3AndTheMessageOfTheScan) {
    hooks().FindFirstFileExW = [](auto...) {
        SetLastError(ERROR_ACCESS_DENIED);
        return INVALID_HANDLE_VALUE;
    };
    const std::wstring text = L"Erreur : root directory is not readable\n";
    EXPECT_EQ(run_on(in), (Outcome{3, banner, unfinished_scan + text}));
    EXPECT_FALSE(file_exists(report));
}

TEST_F(RunTest, AStandardExceptionOutOfTheScanEndsWithCode3AndItsMessage) {
    hooks().FindFirstFileExW = [](auto...) -> HANDLE { throw std::out_of_range("\xE9t\xE9 \xFF"); };
    EXPECT_EQ(run_on(in),
              (Outcome{3, banner, unfinished_scan + std::wstring(L"Erreur : été ÿ\n")}));
    EXPECT_FALSE(file_exists(report));
}

TEST_F(RunTest, AnyOtherExceptionOutOfTheScanEndsWithCode3) {
    hooks().FindFirstFileExW = [](auto...) -> HANDLE { throw 7; };
    EXPECT_EQ(run_on(in), (Outcome{3, banner, std::wstring(unfinished_scan) + unknown_exception}));
    EXPECT_FALSE(file_exists(report));
}

// Exceptions outside the scan, with a console whose cursor is hidden.
class RunExceptionTest : public RunTest {
  protected:
    RunExceptionTest() {
        console.cursor = {25, FALSE};
        console.on_call = [this](const std::string&) { EXPECT_EQ(errors.str(), L""); };
    }
    template <typename Exception>
    void throw_at_the_folder(const Exception& exception) {
        hooks().GetFileAttributesW = [exception](LPCWSTR) -> DWORD { throw exception; };
    }

    FakeConsole console;
    const FakeConsole::Calls shows_cursor = {"GetConsoleCursorInfo",
                                             "SetConsoleCursorInfo 25 visible"};
};

TEST_F(RunExceptionTest, AStandardExceptionShowsTheCursorAndEndsWithCode3AndItsMessage) {
    throw_at_the_folder(std::runtime_error("\xE9t\xE9 \xFF\x80 100%s"));
    const std::wstring message = L"Erreur : été ÿ\u0080 100%s\n";
    EXPECT_EQ(run_on(in), (Outcome{3, banner, unfinished_run + message}));
    EXPECT_EQ(console.calls(), shows_cursor);
}

TEST_F(RunExceptionTest, AnyOtherExceptionShowsTheCursorAndEndsWithCode3) {
    throw_at_the_folder(7);
    EXPECT_EQ(run_on(in), (Outcome{3, banner, std::wstring(unfinished_run) + unknown_exception}));
    EXPECT_EQ(errors.flushed(), errors.str());
    EXPECT_EQ(console.calls(), shows_cursor);
}

TEST_F(RunExceptionTest, RunWithoutTheGuardLetsExceptionsEscape) {
    const wchar_t* const argv[] = {L"larkspine.exe", in.c_str(), nullptr};
    throw_at_the_folder(std::runtime_error("lost"));
    EXPECT_THROW(static_cast<void>(run(2, argv)), std::runtime_error);
    throw_at_the_folder(7);
    EXPECT_THROW(static_cast<void>(run(2, argv)), int);
    EXPECT_EQ(errors.str(), L"");
}

TEST_F(RunTest, AReportThatCannotBeWrittenEndsWithCode4AndStaysAsItIs) {
    tree.file(L"in\\a", "x");
    tree.file(L"in\\b", "x");
    HANDLE created = nullptr;
    hooks().CreateFileW = [&](LPCWSTR path, auto... others) -> HANDLE {
        const HANDLE file = real_imports().CreateFileW(path, others...);
        if (is_report(path))
            created = file;
        return file;
    };
    answer_writes([&](const FileWrite& write, DWORD&) {
        return write.file == created ? std::optional<BOOL>(FALSE) : std::nullopt;
    });
    EXPECT_EQ(run_on(in), (Outcome{4, banner, not_saved}));
    EXPECT_NE(created, nullptr);
    EXPECT_EQ(read_file(report), "");
}

}  // namespace
}  // namespace larkspine::testing
