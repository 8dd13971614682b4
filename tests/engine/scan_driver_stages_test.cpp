#include "base/win32_api.h"

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <gtest/gtest.h>
#include <new>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "engine/scanned_tree.h"
#include "support/fake_clock.h"
#include "support/file_calls.h"
#include "support/thread_starts.h"

namespace larkspine::testing {
namespace {

using namespace std::chrono_literals;

// The live counters at one moment.
struct Seen {
    ScanPhase phase = ScanPhase::enumerating;
    std::uint64_t documents = 0;
    std::uint64_t candidates_total = 0;
    std::uint64_t candidates_done = 0;
    std::uint64_t duplicates = 0;

    friend bool operator==(const Seen&, const Seen&) = default;
};

class ScanDriverStagesTest : public ScannedTreeTest {
  protected:
    ScanResult run() {
        calls.restart();
        return ScannedTreeTest::run();
    }

    Seen seen() const {
        return {progress.phase, progress.documents, progress.candidates_total,
                progress.candidates_done, progress.duplicates};
    }

    // The last letters of the paths in each group.
    static std::vector<std::wstring> letters(const ScanResult& result) {
        std::vector<std::wstring> all;
        for (const DuplicateGroup& group : result.groups) {
            std::wstring& word = all.emplace_back();
            for (const DuplicateEntry& entry : group)
                word += entry.path.back();
        }
        return all;
    }

    FileCalls calls;
};

// Workers requested, threads started.
TEST_F(ScanDriverStagesTest, TheRequestedWorkersAreLimitedToOneTo64) {
    for (const auto& [workers, threads] : {std::pair<std::uint64_t, std::size_t>(0, 1),
                                           {1, 1},
                                           {2, 2},
                                           {64, 64},
                                           {65, 64},
                                           {UINT64_MAX, 64}}) {
        const std::size_t before = threads_started();
        options.workers = workers;
        (void)run();
        EXPECT_EQ(threads_started() - before, threads) << workers;
    }
}

TEST_F(ScanDriverStagesTest, TheDefaultNumberOfWorkersIsZero) {
    EXPECT_EQ(ScanOptions().workers, 0U);
}

TEST_F(ScanDriverStagesTest, NothingIsAnalysedWhileFilesAreEnumerated) {
    for (const wchar_t* name : {L"a", L"b", L"c"})
        tree.file(name, "same");
    std::vector<Seen> moments;
    hooks().FindNextFileW = [&](HANDLE listing, LPWIN32_FIND_DATAW found) {
        moments.push_back(seen());
        return real_imports().FindNextFileW(listing, found);
    };
    (void)run();
    ASSERT_GE(moments.size(), 4U);
    for (Seen& moment : moments)
        moment.documents = 0;
    EXPECT_EQ(moments, std::vector<Seen>(moments.size()));
}

TEST_F(ScanDriverStagesTest, TheTotalsAreSetWhenAnalysisBegins) {
    for (const wchar_t* name : {L"a", L"b", L"c"})
        tree.file(name, "same");
    tree.file(L"alone", "of its size");
    progress.documents = 99;  // as if left over, like the next
    progress.candidates_done = 99;
    std::vector<Seen> moments;
    calls.on_open = [&](const std::string&, DWORD) {
        if (moments.empty())
            moments.push_back(seen());
        return true;
    };
    (void)run();
    EXPECT_EQ(moments, std::vector<Seen>({{ScanPhase::analysing, 4, 3, 0, 0}}));
}

TEST_F(ScanDriverStagesTest, CandidatesAreDoneAndDuplicatesCountedGroupByGroup) {
    for (const wchar_t* name : {L"a", L"b"})
        tree.file(name, "short");
    for (const wchar_t* name : {L"c", L"d"})
        tree.file(name, "and longer");
    options.workers = 1;
    std::vector<Seen> moments;
    calls.on_open = [&](const std::string&, DWORD) {
        if (moments.empty() || moments.back() != seen())
            moments.push_back(seen());
        return true;
    };
    (void)run();
    moments.push_back(seen());
    EXPECT_EQ(moments, (std::vector<Seen>{{ScanPhase::analysing, 4, 4, 0, 0},
                                          {ScanPhase::analysing, 4, 4, 2, 1},
                                          {ScanPhase::done, 4, 4, 4, 2}}));
}

TEST_F(ScanDriverStagesTest, TheLargestGroupIsReadFirstAndThenTheSmallOnesFollow) {
    for (const wchar_t* name : {L"a", L"b"})
        tree.sized_file(name, 10);
    for (const wchar_t* name : {L"c", L"d"})
        tree.sized_file(name, 20);
    for (const wchar_t* name : {L"e", L"f"})
        tree.sized_file(name, 1'000'000);
    options.workers = 1;
    std::wstring opened;
    hooks().CreateFileW = [&, others = hooks().CreateFileW](LPCWSTR path, auto... rest) {
        const wchar_t letter = std::wstring_view(path).back();
        if (opened.find(letter) == std::wstring::npos)
            opened.push_back(letter);
        return others(path, rest...);
    };
    EXPECT_EQ(letters(run()), (std::vector<std::wstring>{L"ab", L"cd", L"ef"}));
    EXPECT_EQ(opened, L"efabcd");
}

TEST_F(ScanDriverStagesTest, FailuresOfEveryStageAddUp) {
    for (const wchar_t* name : {L"a", L"b", L"c", L"secret\\d"})
        tree.file(name, "same");
    hooks().FindFirstFileExW = [secret = tree.path(L"secret\\*")](LPCWSTR path, auto... rest) {
        return path == secret ? INVALID_HANDLE_VALUE
                              : real_imports().FindFirstFileExW(path, rest...);
    };
    calls.on_open = [](const std::string& name, DWORD) { return name != "b"; };
    const ScanResult result = run();
    EXPECT_EQ(letters(result), std::vector<std::wstring>{L"ac"});
    EXPECT_EQ(result.failures, 2U);
    EXPECT_EQ(result.statistics.failures, 2U);
    EXPECT_EQ(result.statistics.directories, 2U);
}

TEST_F(ScanDriverStagesTest, AnExceptionOfAJobReachesTheCallerAndEveryFileIsClosed) {
    for (const wchar_t* name : {L"a", L"b", L"c", L"d", L"e"})
        tree.file(name, "same");
    calls.throw_at_read(0);
    EXPECT_THROW((void)run(), std::bad_alloc);
    EXPECT_EQ(progress.phase, ScanPhase::analysing);
    EXPECT_EQ(calls.open_handles(), 0U);
}

TEST_F(ScanDriverStagesTest, FilesAreOnlyReadAndAllAreClosed) {
    for (const wchar_t* name : {L"a", L"b"})
        tree.file(name, "same");
    tree.file(L"alone", "of its size");
    options.verify_bytes = true;
    (void)run();
    for (const OpenCall& call : calls.opens)
        EXPECT_EQ(call.access, GENERIC_READ);
    EXPECT_EQ(calls.opens.size(), 8U);  // identity, sample, full hash and comparison of both
    EXPECT_EQ(calls.open_handles(), 0U);
}

// Rounded instead, each would be the next number.
TEST_F(ScanDriverStagesTest, EachPhaseHasItsOwnTimeInWholeMillisecondsTruncated) {
    for (const wchar_t* name : {L"a", L"b"})
        tree.file(name, "same");
    options.index_mode = IndexMode::rebuild;
    FakeClock clock;
    hooks().FindFirstFileExW = [&](auto... arguments) {
        clock.advance(120'999'900ns);
        return real_imports().FindFirstFileExW(arguments...);
    };
    calls.on_open = [&, first = true](const std::string&, DWORD) mutable {
        if (std::exchange(first, false))
            clock.advance(250'999'900ns);
        return true;
    };
    hooks().MoveFileExW = [&](auto...) {
        clock.advance(30'999'900ns);
        return FALSE;
    };
    const ScanStatistics statistics = run().statistics;
    EXPECT_EQ(statistics.index_ms, 0U);
    EXPECT_EQ(statistics.enumeration_ms, 120U);
    EXPECT_EQ(statistics.analysis_ms, 250U);
    EXPECT_EQ(statistics.write_ms, 30U);
    EXPECT_EQ(statistics.total_ms, 402U);
}

TEST_F(ScanDriverStagesTest, WithoutAnIndexItsTimesAreZeroHoweverSlowTheMachineIs) {
    const FakeClock slow(1s);
    const ScanStatistics statistics = run().statistics;
    EXPECT_EQ(statistics.index_ms, 0U);
    EXPECT_EQ(statistics.write_ms, 0U);
    EXPECT_GE(statistics.total_ms, 1000U);
}

TEST_F(ScanDriverStagesTest, TheAnalysisPhaseIsEnteredWithoutAnyCandidate) {
    tree.file(L"alone", "of its size");
    options.index_mode = IndexMode::rebuild;
    std::vector<Seen> moments;
    hooks().MoveFileExW = [&](auto...) {
        moments.push_back(seen());
        return FALSE;
    };
    (void)run();
    EXPECT_EQ(moments, std::vector<Seen>({{ScanPhase::analysing, 1, 0, 0, 0}}));
}

// The tree stands in for the share: there is no server here.
TEST_F(ScanDriverStagesTest, ANetworkFolderIsScannedByItsLongFormAndReportedInItsDisplayForm) {
    tree.file(L"a", "same");
    tree.file(L"sub\\b", "same");
    const std::wstring share = L"\\\\?\\UNC\\server\\share";
    std::set<std::wstring> listed;
    const auto local = [&](LPCWSTR path) {
        const std::wstring text(path);
        return text.starts_with(share) ? tree.root() + text.substr(share.size()) : text;
    };
    hooks().FindFirstFileExW = [&](LPCWSTR path, auto... rest) {
        listed.emplace(path);
        return real_imports().FindFirstFileExW(local(path).c_str(), rest...);
    };
    hooks().CreateFileW = [&](LPCWSTR path, auto... rest) {
        return real_imports().CreateFileW(local(path).c_str(), rest...);
    };
    for (const wchar_t* root : {L"\\\\server\\share", L"\\\\?\\UNC\\server\\share"}) {
        options.root = root;
        listed.clear();
        const ScanResult result = scan(options, progress);
        EXPECT_EQ(listed, (std::set{share + L"\\*", share + L"\\sub\\*"}));
        ASSERT_EQ(result.groups.size(), 1U);
        EXPECT_EQ(result.groups[0].at(0).path, L"\\\\server\\share\\a");
        EXPECT_EQ(result.groups[0].at(1).path, L"\\\\server\\share\\sub\\b");
        EXPECT_EQ(result.failures, 0U);
    }
}

}  // namespace
}  // namespace larkspine::testing
