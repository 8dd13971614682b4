// A scan is stopped at each of its calls in turn. What it knows by then is saved; the next scan
// computes the rest and nothing twice.
#include "base/win32_api.h"

#include <atomic>
#include <cstddef>
#include <gtest/gtest.h>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "engine/byte_verification.h"
#include "engine/scan_driver.h"
#include "index/index_file.h"
#include "index/index_location.h"
#include "support/import_replacement.h"
#include "support/scoped_environment.h"
#include "support/temp_tree.h"

namespace larkspine::testing {
namespace {

using detail::files_identical;

class ScanDriverStopTest : public ::testing::Test {
  protected:
    void SetUp() override {
        for (const wchar_t* name : {L"a", L"b", L"sub\\c"})
            tree.sized_file(name, 3000);
        tree.sized_file(L"other", 3000, 1500);
        for (const wchar_t* name : {L"large a", L"large b"})
            tree.sized_file(name, 2'200'000);
        tree.file(L"empty a", "");
        tree.file(L"empty b", "");
        tree.hard_link(L"z link", tree.path(L"a"));
        options.root = tree.root();
        options.workers = 1;
    }

    // Counts the calls that a scan makes from its analysis on, and stops it at one of them.
    // CloseHandle is not counted: the runtime of the threads calls it too, not equally often in
    // every scan.
    void stop_at(std::optional<std::size_t> call) {
        calls = 0;
        const auto count = [this, call](ScanProgress* progress) {
            if (progress->phase != ScanPhase::enumerating && calls++ == call)
                progress->stop_requested = true;
        };
        hooks().CreateFileW = [=, this](auto... rest) {
            count(running);
            return real_imports().CreateFileW(rest...);
        };
        hooks().ReadFile = [=, this](auto... rest) {
            count(running);
            return real_imports().ReadFile(rest...);
        };
        hooks().WriteFile = [=, this](auto... rest) {
            count(running);
            return real_imports().WriteFile(rest...);
        };
        hooks().FlushFileBuffers = [=, this](auto... rest) {
            count(running);
            return real_imports().FlushFileBuffers(rest...);
        };
        hooks().MoveFileExW = [=, this](auto... rest) {
            count(running);
            return real_imports().MoveFileExW(rest...);
        };
    }
    ScanResult run(ScanProgress& progress) {
        running = &progress;
        ScanResult result = scan(options, progress);
        hooks() = {};
        return result;
    }
    ScanResult undisturbed() {
        ScanProgress progress;
        return run(progress);
    }
    void forget() { DeleteFileW(index_file_path(tree.root()).value().c_str()); }

    static std::vector<std::wstring> paths_of(const ScanResult& result) {
        std::vector<std::wstring> paths;
        for (const DuplicateGroup& group : result.groups) {
            for (const DuplicateEntry& entry : group)
                paths.push_back(entry.path);
            paths.emplace_back(L"--");
        }
        return paths;
    }

    // Stops a scan at each of its calls; after each, the next scan computes what is missing.
    void stop_everywhere() {
        forget();
        const ScanResult whole = undisturbed();
        ASSERT_EQ(whole.groups.size(), 3u);
        std::set<std::uint64_t> computed_before_the_stop;
        std::size_t call = 0;
        for (;; ++call) {
            forget();
            ScanProgress progress;
            stop_at(call);
            const ScanResult stopped = run(progress);
            if (!progress.stop_requested)
                break;
            EXPECT_TRUE(stopped.index_saved) << call;
            const ScanStatistics& first = stopped.statistics;
            computed_before_the_stop.insert(first.sample_hashes_computed +
                                            first.full_hashes_computed);
            const ScanResult next = undisturbed();
            EXPECT_TRUE(next.statistics.index_loaded) << call;
            EXPECT_EQ(first.sample_hashes_computed + next.statistics.sample_hashes_computed,
                      whole.statistics.sample_hashes_computed)
                << call;
            EXPECT_EQ(first.full_hashes_computed + next.statistics.full_hashes_computed,
                      whole.statistics.full_hashes_computed)
                << call;
            EXPECT_EQ(paths_of(next), paths_of(whole)) << call;
        }
        // A stop fell between any two digests: every number of digests occurred.
        EXPECT_EQ(computed_before_the_stop.size(), whole.statistics.sample_hashes_computed +
                                                       whole.statistics.full_hashes_computed + 1);
        EXPECT_GT(call, 40u);
    }

    TempTree tree;
    TempTree indexes;
    ScopedEnvironment directory{L"LARKSPINE_INDEX_DIRECTORY", indexes.root()};
    ScanOptions options;
    ScanProgress* running = nullptr;
    std::atomic<std::size_t> calls{0};
    ImportReset reset;
};

TEST_F(ScanDriverStopTest, AfterAStopAtAnyCallTheNextScanComputesOnlyWhatIsMissing) {
    stop_everywhere();
}

TEST_F(ScanDriverStopTest, AStopAtAnyCallOfAScanThatComparesBytesLosesNoDigest) {
    options.verify_bytes = true;
    stop_everywhere();
}

TEST_F(ScanDriverStopTest, AStoppedScanHasNoGroupsAndIsNotDone) {
    ScanProgress progress;
    stop_at(0);
    const ScanResult stopped = run(progress);
    EXPECT_TRUE(stopped.groups.empty());
    EXPECT_EQ(progress.phase, ScanPhase::analysing);
}

TEST_F(ScanDriverStopTest, AStopInTheMiddleOfAFileReadsNoFurther) {
    std::size_t reads = 0;
    ScanProgress progress;
    running = &progress;
    hooks().ReadFile = [&](HANDLE file, LPVOID buffer, DWORD size, auto... rest) {
        // The first block of the first file that is hashed whole.
        if (size > 100'000) {
            ++reads;
            progress.stop_requested = true;
        }
        return real_imports().ReadFile(file, buffer, size, rest...);
    };
    const ScanResult stopped = scan(options, progress);
    EXPECT_EQ(reads, 1u);
    EXPECT_EQ(stopped.statistics.full_hashes_computed, 0u);
}

TEST_F(ScanDriverStopTest, AStoppedScanWithTheIndexDisabledSavesNothing) {
    options.index_mode = IndexMode::disabled;
    ScanProgress progress;
    stop_at(0);
    EXPECT_FALSE(run(progress).index_saved);
}

TEST_F(ScanDriverStopTest, AComparisonStopsBetweenTwoReads) {
    std::size_t reads = 0;
    std::atomic<bool> stop{false};
    hooks().ReadFile = [&](auto... rest) {
        ++reads;
        stop = true;
        return real_imports().ReadFile(rest...);
    };
    EXPECT_FALSE(files_identical(tree.path(L"large a"), tree.path(L"large b"), stop));
    EXPECT_EQ(reads, 2u);
}

}  // namespace
}  // namespace larkspine::testing
