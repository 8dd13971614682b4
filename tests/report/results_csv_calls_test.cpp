#include "base/win32_api.h"

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <gtest/gtest.h>
#include <numeric>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "report/results_csv.h"
#include "support/file_writes.h"
#include "support/import_replacement.h"
#include "support/open_call.h"
#include "support/temp_tree.h"

namespace larkspine::testing {
namespace {

using Groups = std::vector<DuplicateGroup>;

constexpr std::size_t block_size = 262'144;
const std::string header =
    "\xEF\xBB\xBF"
    "Groupe;Statut;Chemin complet;Taille en octets\r\n";
constexpr const wchar_t* report = L"D:\\out\\report.csv";
const HANDLE report_handle = reinterpret_cast<HANDLE>(std::uintptr_t{0x7ffe0001});

// Stands for a WriteFile that fails, in a list of numbers of bytes.
constexpr DWORD fails = 0xFFFFFFFF;

// The file is a fake. `accepted` holds how many bytes each WriteFile in turn takes. Further calls
// take everything.
class ResultsCsvCallsTest : public ::testing::Test {
  protected:
    ResultsCsvCallsTest() {
        hooks().CreateFileW = [this](LPCWSTR path, DWORD access, DWORD share,
                                     LPSECURITY_ATTRIBUTES security, DWORD disposition, DWORD flags,
                                     HANDLE pattern) -> HANDLE {
            if (!std::wstring_view(path).ends_with(L"report.csv"))
                return real_imports().CreateFileW(path, access, share, security, disposition, flags,
                                                  pattern);
            created.push_back({path, access, share, security, disposition, flags, pattern});
            return creatable ? report_handle : INVALID_HANDLE_VALUE;
        };
        answer_writes([this](const FileWrite& write, DWORD& count) -> std::optional<BOOL> {
            if (write.file != report_handle && write.file != nullptr &&
                write.file != INVALID_HANDLE_VALUE)
                return std::nullopt;
            EXPECT_EQ(closed, 0);
            return take(write.text(), count);
        });
        hooks().CloseHandle = [this](HANDLE handle) -> BOOL {
            if (handle != report_handle)
                return real_imports().CloseHandle(handle);
            ++closed;
            return TRUE;
        };
        hooks().DeleteFileW = [this](LPCWSTR) -> BOOL {
            deleted = true;
            return TRUE;
        };
    }

    // All that was accepted, as one text.
    std::string contents() const {
        return std::accumulate(written.begin(), written.end(), std::string());
    }

    bool creatable = true;
    std::vector<DWORD> accepted;
    std::vector<OpenCall> created;
    std::vector<std::size_t> requests;  // the bytes that each WriteFile was asked to write
    std::vector<std::string> written;   // and those that it took
    int closed = 0;
    bool deleted = false;

  private:
    BOOL take(std::string_view bytes, DWORD& count) {
        const auto asked_for = static_cast<DWORD>(bytes.size());
        const DWORD answer =
            requests.size() < accepted.size() ? accepted[requests.size()] : asked_for;
        requests.push_back(bytes.size());
        count = 0;
        if (answer == fails)
            return FALSE;
        count = std::min(answer, asked_for);
        written.emplace_back(bytes.substr(0, count));
        return TRUE;
    }
    ImportReset reset_;
};

// `count` files of one group, and the rows that they give.
struct Example {
    explicit Example(int count) : groups(1), contents(header) {
        for (int i = 0; i < count; ++i) {
            const std::string name =
                "C:\\" + std::string(99, 'd') + "\\" + std::to_string(10'000 + i);
            groups[0].push_back({std::wstring(name.begin(), name.end()), 7});
            rows.push_back((i == 0 ? "1;Original;\"" : "1;Doublon;\"") + name + "\";7\r\n");
            contents += rows.back();
        }
    }
    Groups groups;
    std::vector<std::string> rows;
    std::string contents;
};

TEST_F(ResultsCsvCallsTest, TheFileIsCreatedAnewByItsLongPathAndSharedForReadingOnly) {
    EXPECT_TRUE(write_results_csv(report, {}));
    const OpenCall expected = {
        L"\\\\?\\D:\\out\\report.csv", GENERIC_WRITE, FILE_SHARE_READ, nullptr, CREATE_ALWAYS,
        FILE_ATTRIBUTE_NORMAL,         nullptr};
    EXPECT_EQ(created, std::vector<OpenCall>{expected});
}

TEST_F(ResultsCsvCallsTest, NetworkPathsAndLongPathsGetTheirLongForm) {
    EXPECT_TRUE(write_results_csv(L"\\\\server\\share\\report.csv", {}));
    closed = 0;
    EXPECT_TRUE(write_results_csv(L"\\\\?\\D:\\report.csv", {}));
    ASSERT_EQ(created.size(), 2u);
    EXPECT_EQ(created[0].path, L"\\\\?\\UNC\\server\\share\\report.csv");
    EXPECT_EQ(created[1].path, L"\\\\?\\D:\\report.csv");
}

TEST_F(ResultsCsvCallsTest, AFileThatCannotBeCreatedIsNeitherWrittenNorClosed) {
    creatable = false;
    EXPECT_FALSE(write_results_csv(report, Example(3).groups));
    EXPECT_EQ(created.size(), 1u);
    EXPECT_EQ(requests.size(), 0u);
    EXPECT_EQ(closed, 0);
}

TEST_F(ResultsCsvCallsTest, ASmallReportIsOneWriteAndOneClose) {
    const Example example(3);
    EXPECT_TRUE(write_results_csv(report, example.groups));
    EXPECT_EQ(written, std::vector<std::string>{example.contents});
    EXPECT_EQ(closed, 1);
}

TEST_F(ResultsCsvCallsTest, TheHeaderAloneIsOneWrite) {
    EXPECT_TRUE(write_results_csv(report, {}));
    EXPECT_EQ(written, std::vector<std::string>{header});
}

TEST_F(ResultsCsvCallsTest, ABlockIsWrittenAfterTheRowThatReaches256Kib) {
    const Example example(6'000);
    EXPECT_TRUE(write_results_csv(report, example.groups));
    std::vector<std::size_t> expected = {header.size()};
    for (const std::string& row : example.rows) {
        if (expected.back() >= block_size)
            expected.push_back(0);
        expected.back() += row.size();
    }
    EXPECT_EQ(expected.size(), 3u);
    EXPECT_EQ(requests, expected);
}

TEST_F(ResultsCsvCallsTest, SeveralBlocksAddUpToTheWholeReport) {
    const Example example(6'000);
    EXPECT_TRUE(write_results_csv(report, example.groups));
    EXPECT_GT(written.size(), 1u);
    EXPECT_TRUE(contents() == example.contents);
    EXPECT_EQ(closed, 1);
}

// The path that gives a report of one row this size.
std::wstring path_filling_a_block(std::size_t report_size) {
    const std::string around = header + "1;Original;\"\";10\r\n";
    return std::wstring(report_size - around.size(), L'a');
}

TEST_F(ResultsCsvCallsTest, AReportOfExactlyOneBlockEndsWithoutAnEmptyWrite) {
    EXPECT_TRUE(write_results_csv(report, Groups{{{path_filling_a_block(block_size), 10}}}));
    EXPECT_EQ(requests, std::vector<std::size_t>{block_size});
    EXPECT_EQ(closed, 1);
}

TEST_F(ResultsCsvCallsTest, ABlockOneByteShortOf256KibTakesAnotherRow) {
    const Groups groups = {{{path_filling_a_block(block_size - 1), 10}, {L"b", 10}}};
    EXPECT_TRUE(write_results_csv(report, groups));
    EXPECT_EQ(requests,
              std::vector<std::size_t>{block_size - 1 + std::strlen("1;Doublon;\"b\";10\r\n")});
}

TEST_F(ResultsCsvCallsTest, ABlockIsWrittenBetweenTwoRowsOfAGroupAndBetweenTwoGroups) {
    const std::wstring filling = path_filling_a_block(block_size);
    EXPECT_TRUE(write_results_csv(report, Groups{{{filling, 10}, {L"b", 10}}}));
    EXPECT_EQ(written.back(), "1;Doublon;\"b\";10\r\n");
    closed = 0;
    EXPECT_TRUE(write_results_csv(report, Groups{{{filling, 10}}, {{L"b", 10}}}));
    EXPECT_EQ(written.back(), "2;Original;\"b\";10\r\n");
}

TEST_F(ResultsCsvCallsTest, AShortWriteInTheMiddleOfTheBlocksLosesNothing) {
    const Example example(6'000);
    accepted = {block_size / 2, 1};
    EXPECT_TRUE(write_results_csv(report, example.groups));
    EXPECT_TRUE(contents() == example.contents);
}

TEST_F(ResultsCsvCallsTest, AFailureAtAnyCallEndsTheReportThereAndClosesTheFile) {
    const Example example(6'000);
    const auto written_when_failing_after = [&](std::size_t successes) {
        requests.clear();
        written.clear();
        closed = 0;
        accepted.assign(successes, 100'000);
        accepted.push_back(fails);
        return write_results_csv(report, example.groups);
    };
    std::size_t successes = 0;
    for (; !written_when_failing_after(successes); ++successes) {
        EXPECT_EQ(requests.size(), successes + 1);
        EXPECT_EQ(closed, 1);
    }
    EXPECT_EQ(successes, 9u);  // three calls for each of three blocks
    EXPECT_TRUE(contents() == example.contents);
    EXPECT_FALSE(deleted);
}

class ResultsCsvRealFileTest : public ::testing::Test {
  protected:
    TempTree tree;
    std::wstring path = tree.path(L"report.csv");

  private:
    ImportReset reset_;
};

TEST_F(ResultsCsvRealFileTest, AFailedReportKeepsWhatWasWrittenBefore) {
    const Example example(6'000);
    int calls = 0;
    DWORD first_block = 0;
    answer_writes([&](const FileWrite& write, DWORD&) -> std::optional<BOOL> {
        if (++calls > 1)
            return FALSE;
        first_block = write.length;
        return std::nullopt;
    });
    EXPECT_FALSE(write_results_csv(path, example.groups));
    EXPECT_EQ(calls, 2);
    EXPECT_GE(first_block, block_size);
    EXPECT_TRUE(read_file(path) == example.contents.substr(0, first_block));
}

TEST_F(ResultsCsvRealFileTest, AReportThatFailsAtOnceLeavesAnEmptyFileInPlaceOfTheOldOne) {
    tree.file(L"report.csv", "old");
    answer_writes([](const FileWrite&, DWORD&) { return std::optional<BOOL>(FALSE); });
    EXPECT_FALSE(write_results_csv(path, {}));
    EXPECT_EQ(read_file(path), "");
}

// The current directory and the local time are fakes.
class ResultsFilePathCallsTest : public ::testing::Test {
  protected:
    ResultsFilePathCallsTest() {
        hooks().GetCurrentDirectoryW = [this](DWORD capacity, LPWSTR buffer) -> DWORD {
            capacities.push_back(capacity);
            const std::size_t call = capacities.size() - 1;
            const DWORD needed = static_cast<DWORD>(directory.size()) + 1;
            if (call < answers.size() && answers[call])
                return *answers[call];
            if (capacity < needed)
                return needed;
            std::copy_n(directory.c_str(), needed, buffer);
            return needed - 1;
        };
        hooks().GetLocalTime = [this](LPSYSTEMTIME time) { *time = now; };
    }

    std::wstring directory = L"D:\\out";
    // The results of the calls in turn, where they differ from the true ones.
    std::vector<std::optional<DWORD>> answers;
    std::vector<DWORD> capacities;
    SYSTEMTIME now = {2024, 1, 6, 2, 3, 4, 5, 678};

  private:
    ImportReset reset_;
};

TEST_F(ResultsFilePathCallsTest, TheNameIsTheLocalTimePaddedWithZeros) {
    EXPECT_EQ(results_file_path(), L"D:\\out\\Fennick_Resultats_2024-01-02_03-04-05.csv");
    now = {1999, 12, 0, 31, 23, 59, 58, 0};
    EXPECT_EQ(results_file_path(), L"D:\\out\\Fennick_Resultats_1999-12-31_23-59-58.csv");
    now = {7, 0, 0, 0, 0, 0, 0, 0};
    EXPECT_EQ(results_file_path(), L"D:\\out\\Fennick_Resultats_0007-00-00_00-00-00.csv");
}

TEST_F(ResultsFilePathCallsTest, NumbersWiderThanTheirPlaceAreWrittenWhole) {
    now = {65535, 65535, 65535, 65535, 65535, 65535, 65535, 65535};
    EXPECT_EQ(results_file_path(),
              L"D:\\out\\Fennick_Resultats_65535-65535-65535_65535-65535-65535.csv");
}

TEST_F(ResultsFilePathCallsTest, WithinOneSecondTheNameStaysTheSame) {
    const std::optional<std::wstring> first = results_file_path();
    now.wMilliseconds = 999;
    now.wDayOfWeek = 3;
    EXPECT_EQ(results_file_path(), first);
    EXPECT_NE(first, std::nullopt);
}

TEST_F(ResultsFilePathCallsTest, TheLengthOfTheCurrentDirectoryIsQueriedFirst) {
    EXPECT_NE(results_file_path(), std::nullopt);
    EXPECT_EQ(capacities, (std::vector<DWORD>{0, 7}));
}

TEST_F(ResultsFilePathCallsTest, ADirectoryThatEndsInASeparatorGetsNoSecondOne) {
    const std::wstring name = L"Fennick_Resultats_2024-01-02_03-04-05.csv";
    for (const wchar_t* ending : {L"D:\\", L"D:/", L"/", L"\\\\server\\share\\", L"D:\\out\\"}) {
        directory = ending;
        EXPECT_EQ(results_file_path(), ending + name);
    }
    for (const wchar_t* ending : {L"D:", L"\\\\server\\share", L"\\\\?\\D:\\out", L"D:\\é"}) {
        directory = ending;
        EXPECT_EQ(results_file_path(), std::wstring(ending) + L"\\" + name);
    }
}

TEST_F(ResultsFilePathCallsTest, ALongDirectoryIsKeptWhole) {
    directory = L"D:\\" + std::wstring(32'000, L'd');
    EXPECT_EQ(results_file_path(), directory + L"\\Fennick_Resultats_2024-01-02_03-04-05.csv");
}

TEST_F(ResultsFilePathCallsTest,
       ACurrentDirectoryWhoseLengthCannotBeQueriedGivesNoPathAndIsNotRead) {
    answers = {0};
    EXPECT_EQ(results_file_path(), std::nullopt);
    EXPECT_EQ(capacities.size(), 1u);
}

TEST_F(ResultsFilePathCallsTest, ACurrentDirectoryThatCannotBeReadGivesNoPath) {
    answers = {std::nullopt, 0};
    EXPECT_EQ(results_file_path(), std::nullopt);
    EXPECT_EQ(capacities.size(), 2u);
}

TEST_F(ResultsFilePathCallsTest, ACurrentDirectoryThatGrowsBetweenTheTwoCallsGivesNoPath) {
    for (DWORD length : {7u, 8u, 100'000u}) {
        capacities.clear();
        answers = {std::nullopt, length};
        EXPECT_EQ(results_file_path(), std::nullopt) << length;
        EXPECT_EQ(capacities.size(), 2u);
    }
}

TEST_F(ResultsFilePathCallsTest, ACurrentDirectoryThatShrinksBetweenTheTwoCallsIsUsed) {
    answers = {100};
    EXPECT_EQ(results_file_path(), L"D:\\out\\Fennick_Resultats_2024-01-02_03-04-05.csv");
    EXPECT_EQ(capacities, (std::vector<DWORD>{0, 100}));
}

TEST_F(ResultsFilePathCallsTest, AnotherCurrentDirectoryAtTheNextCallGivesAnotherPath) {
    EXPECT_NE(results_file_path(), std::nullopt);
    directory = L"E:\\elsewhere";
    EXPECT_EQ(results_file_path(), L"E:\\elsewhere\\Fennick_Resultats_2024-01-02_03-04-05.csv");
}

}  // namespace
}  // namespace larkspine::testing
