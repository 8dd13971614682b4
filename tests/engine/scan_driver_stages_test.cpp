#include "base/win32_api.h"

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <gtest/gtest.h>
#include <new>
#include <optional>
#include <set>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "engine/scan_driver.h"
#include "support/fake_clock.h"
#include "support/file_calls.h"
#include "support/temp_tree.h"

namespace larkspine::testing {
namespace {

using namespace std::chrono_literals;

// The threads that come here. Each is held at its first visit until the expected number has come,
// and a little longer, for threads beyond that number to come too.
class Visitors {
  public:
    explicit Visitors(std::size_t expected) : expected_(expected) {}

    void visit() {
        AcquireSRWLockExclusive(&lock_);
        const bool is_new = threads_.insert(GetCurrentThreadId()).second;
        ReleaseSRWLockExclusive(&lock_);
        if (!is_new)
            return;
        for (int patience = 0; count() < expected_ && patience < 10'000; ++patience)
            Sleep(1);
        Sleep(50);
    }

    std::size_t count() {
        AcquireSRWLockExclusive(&lock_);
        const std::size_t threads = threads_.size();
        ReleaseSRWLockExclusive(&lock_);
        return threads;
    }

  private:
    std::size_t expected_;
    SRWLOCK lock_ = SRWLOCK_INIT;
    std::set<DWORD> threads_;
};

// The live counters at one moment.
struct Seen {
    ScanPhase phase = ScanPhase::enumerating;
    std::uint64_t documents = 0;
    std::uint64_t candidates_total = 0;
    std::uint64_t candidates_done = 0;
    std::uint64_t duplicates = 0;

    friend bool operator==(const Seen&, const Seen&) = default;
};

class ScanDriverStagesTest : public ::testing::Test {
  protected:
    ScanDriverStagesTest() {
        options.root = tree.root();
        options.workers = 2;
        options.index_mode = IndexMode::disabled;
    }

    ScanResult run() {
        calls.restart();
        return scan(options, progress);
    }

    Seen seen() const {
        return {progress.phase, progress.documents, progress.candidates_total,
                progress.candidates_done, progress.duplicates};
    }

    // Makes the listing of one folder fail as a whole.
    void refuse_to_list(const std::wstring& folder) {
        hooks().FindFirstFileExW = [pattern = folder + L"\\*"](LPCWSTR path, auto... rest) {
            if (path != pattern)
                return real_imports().FindFirstFileExW(path, rest...);
            SetLastError(ERROR_ACCESS_DENIED);
            return INVALID_HANDLE_VALUE;
        };
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

    TempTree tree;
    ScanOptions options;
    ScanProgress progress;
    FileCalls calls;
};

// Workers asked for, threads that hash.
class ScanDriverWorkersTest
    : public ScanDriverStagesTest,
      public ::testing::WithParamInterface<std::pair<std::uint64_t, std::size_t>> {};

// Twice 64 jobs may be in flight, so 140 files of one size keep any number of threads busy that is
// not far too large.
TEST_P(ScanDriverWorkersTest, TheWorkersAreAsManyAsAskedForWithinOneTo64) {
    const auto [workers, threads] = GetParam();
    for (std::size_t i = 1; i <= 140; ++i)
        tree.file(std::wstring(i, L'n'), "x");
    Visitors visitors(threads);
    calls.on_read = [&](std::size_t, DWORD&, DWORD&) {
        visitors.visit();
        return std::nullopt;
    };
    options.workers = workers;
    EXPECT_EQ(letters(run()), std::vector<std::wstring>{std::wstring(140, L'n')});
    EXPECT_EQ(visitors.count(), threads);
}

INSTANTIATE_TEST_SUITE_P(AroundBothLimits, ScanDriverWorkersTest,
                         ::testing::Values(std::pair(0, 1), std::pair(1, 1), std::pair(2, 2),
                                           std::pair(64, 64), std::pair(65, 64),
                                           std::pair(UINT64_MAX, 64)));

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

TEST_F(ScanDriverStagesTest, ARootThatCannotBeListedThrowsThatItIsNotReadable) {
    refuse_to_list(tree.root());
    try {
        (void)run();
        FAIL() << "nothing was thrown";
    } catch (const std::runtime_error& error) {
        EXPECT_STREQ(error.what(), "root directory is not readable");
    }
    EXPECT_EQ(progress.phase, ScanPhase::enumerating);
}

TEST_F(ScanDriverStagesTest, AFolderThatCannotBeListedIsCountedAndTheRestIsScanned) {
    for (const wchar_t* name : {L"a", L"secret\\b", L"open\\c"})
        tree.file(name, "same");
    refuse_to_list(tree.path(L"secret"));
    const ScanResult result = run();
    EXPECT_EQ(letters(result), std::vector<std::wstring>{L"ac"});
    EXPECT_EQ(result.failures, 1U);
    EXPECT_EQ(result.statistics.failures, 1U);
    EXPECT_EQ(result.statistics.directories, 3U);
}

TEST_F(ScanDriverStagesTest, FailuresOfEveryStageAddUp) {
    for (const wchar_t* name : {L"a", L"b", L"c", L"secret\\d"})
        tree.file(name, "same");
    refuse_to_list(tree.path(L"secret"));
    calls.on_open = [](const std::string& name, DWORD) { return name != "b"; };
    const ScanResult result = run();
    EXPECT_EQ(letters(result), std::vector<std::wstring>{L"ac"});
    EXPECT_EQ(result.failures, 2U);
}

TEST_F(ScanDriverStagesTest, AFileDeletedDuringTheScanIsNotReported) {
    for (const wchar_t* name : {L"a", L"b", L"c"})
        tree.file(name, "same");
    options.workers = 1;
    calls.on_open = [this, deleted = false](const std::string& name, DWORD) mutable {
        if (name == "b" && !std::exchange(deleted, true))
            tree.remove_file(L"b");
        return true;
    };
    const ScanResult result = run();
    EXPECT_EQ(letters(result), std::vector<std::wstring>{L"ac"});
    EXPECT_EQ(result.failures, 1U);
    EXPECT_EQ(progress.candidates_done, 3U);
}

TEST_F(ScanDriverStagesTest, AnExceptionOfAJobPassesThroughAndTheWorkersAreGone) {
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

// Each would be the next number if it were rounded.
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

TEST_F(ScanDriverStagesTest, WithoutAnyCandidateTheAnalysisIsAPhaseAllTheSame) {
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

TEST_F(ScanDriverStagesTest, OptionsThatNobodySetHaveOneWorker) {
    EXPECT_EQ(ScanOptions().workers, 0U);
    for (const wchar_t* name : {L"a", L"b", L"c", L"d"})
        tree.file(name, "same");
    options = {};
    options.root = tree.root();
    options.index_mode = IndexMode::disabled;
    Visitors visitors(1);
    calls.on_read = [&](std::size_t, DWORD&, DWORD&) {
        visitors.visit();
        return std::nullopt;
    };
    EXPECT_EQ(letters(run()), std::vector<std::wstring>{L"abcd"});
    EXPECT_EQ(visitors.count(), 1U);
}

// The share is the tree itself: there is no server here.
TEST_F(ScanDriverStagesTest, ANetworkFolderIsScannedInItsLongFormAndReportedAsTyped) {
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
