// How the work of a scan grows with the number of files: system calls, comparisons of paths and
// allocations. They are counted, not timed.
#include "base/win32_api.h"

#include <algorithm>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <gtest/gtest.h>
#include <string>

#include "engine/scan_driver.h"
#include "index/index_location.h"
#include "report/results_csv.h"
#include "support/allocation_counter.h"
#include "support/fake_folder.h"
#include "support/scoped_environment.h"
#include "support/temp_tree.h"

namespace larkspine::testing {
namespace {

// A tenth, a half, the whole.
constexpr std::uint64_t counts[] = {200, 1000, 2000};

// The trees: each file's contents by its number.
std::string of_its_own_size(std::size_t file) {
    return std::string(file + 1, 'x');
}
std::string of_one_size(std::size_t file) {
    const std::string digits = std::to_string(file);
    return std::string(32 - digits.size(), '0') + digits;
}
std::string always_the_same(std::size_t) {
    return "la meme chose";
}
std::string in_pairs(std::size_t file) {
    return of_one_size(file / 2);
}
std::string nothing(std::size_t) {
    return {};
}

// Sorting n paths may take this many comparisons. Searching an unordered list for each path would
// take n * n / 2.
std::uint64_t of_one_sort(std::uint64_t n) {
    return 2 * n * static_cast<std::uint64_t>(std::bit_width(n));
}

// What one scan of a tree did.
struct Work {
    Asked asked;
    std::uint64_t comparisons = 0;
    std::uint64_t allocations = 0;  // of the scan's own thread
    ScanResult result;
};

class ScanDriverGrowthTest : public ::testing::Test {
  protected:
    using Check = std::function<void(std::uint64_t files, const Work& first, const Work& second)>;

    // Scans trees of each count twice, the second time with the index of the first.
    void at_every_count(const FakeFolder::Contents& contents, const Check& check) {
        for (const std::uint64_t files : counts) {
            SCOPED_TRACE(files);
            const TempTree indexes;
            const ScopedEnvironment directory(L"LARKSPINE_INDEX_DIRECTORY", indexes.root());
            FakeFolder folder(L"\\\\?\\R:\\arbre", files, contents);
            const Work first = work_of(folder);
            const Work second = work_of(folder);
            EXPECT_EQ(first.result.failures + second.result.failures, 0u);
            EXPECT_EQ(first.result.statistics.files, files);
            EXPECT_TRUE(second.result.statistics.index_loaded);
            EXPECT_EQ(second.asked, (Asked{.listings = files + 1}));
            EXPECT_EQ(first.result.groups.size(), second.result.groups.size());
            check(files, first, second);
        }
    }

    static Work work_of(FakeFolder& folder) {
        ScanOptions options;
        options.root = folder.root();
        options.workers = 2;
        ScanProgress progress;
        Work work;
        folder.forget();
        work.allocations = allocations_during([&] { work.result = scan(options, progress); });
        work.asked = folder.asked();
        work.comparisons = folder.comparisons();
        return work;
    }
};

TEST_F(ScanDriverGrowthTest, FilesOfDifferentSizesAreListedAndNothingElse) {
    at_every_count(of_its_own_size, [](std::uint64_t n, const Work& first, const Work& second) {
        EXPECT_EQ(first.asked, (Asked{.listings = n + 1}));
        EXPECT_EQ(first.comparisons + second.comparisons, 0u);
        EXPECT_TRUE(first.result.groups.empty());
    });
}

TEST_F(ScanDriverGrowthTest, FilesOfOneSizeAreOpenedTwiceAndSortedOnce) {
    at_every_count(of_one_size, [](std::uint64_t n, const Work& first, const Work& second) {
        EXPECT_EQ(first.asked, (Asked{n + 1, 2 * n, n, n, 2 * n}));
        EXPECT_GE(first.comparisons, n - 1) << "comparisons are counted at all";
        EXPECT_LE(first.comparisons, of_one_sort(n));
        EXPECT_LE(second.comparisons, of_one_sort(n));
        EXPECT_TRUE(first.result.groups.empty());
    });
}

TEST_F(ScanDriverGrowthTest, CopiesAreOpenedThreeTimesAndSortedTwice) {
    at_every_count(always_the_same, [](std::uint64_t n, const Work& first, const Work& second) {
        // The full hash reads up to the end, and once more to see it.
        EXPECT_EQ(first.asked, (Asked{n + 1, 3 * n, n, 3 * n, 3 * n}));
        EXPECT_LE(first.comparisons, 2 * of_one_sort(n));
        EXPECT_LE(second.comparisons, 2 * of_one_sort(n));
        ASSERT_EQ(first.result.groups.size(), 1u);
        EXPECT_EQ(first.result.groups[0].size(), n);
        EXPECT_TRUE(std::ranges::is_sorted(first.result.groups[0], {}, &DuplicateEntry::path));
    });
}

TEST_F(ScanDriverGrowthTest, ManyGroupsOfOneSizeCostNoMoreThanOne) {
    at_every_count(in_pairs, [](std::uint64_t n, const Work& first, const Work& second) {
        EXPECT_EQ(first.asked, (Asked{n + 1, 3 * n, n, 3 * n, 3 * n}));
        EXPECT_LE(first.comparisons, 2 * of_one_sort(n));
        EXPECT_LE(second.comparisons, 2 * of_one_sort(n));
        ASSERT_EQ(first.result.groups.size(), n / 2);
        for (std::size_t i = 0; i < n / 2; ++i)
            ASSERT_EQ(FakeFolder::file_of(first.result.groups[i][0].path), 2 * i);
    });
}

TEST_F(ScanDriverGrowthTest, EmptyFilesAreOpenedOnceAndSortedTwice) {
    at_every_count(nothing, [](std::uint64_t n, const Work& first, const Work& second) {
        EXPECT_EQ(first.asked, (Asked{n + 1, n, n, 0, n}));
        EXPECT_LE(first.comparisons, 2 * of_one_sort(n));
        EXPECT_LE(second.comparisons, 2 * of_one_sort(n));
        ASSERT_EQ(first.result.groups.size(), 1u);
        EXPECT_EQ(first.result.groups[0].size(), n);
    });
}

TEST_F(ScanDriverGrowthTest, TheAllocationsForEachFileDoNotGrowWithTheNumberOfFiles) {
    for (std::string (*const contents)(std::size_t) :
         {of_its_own_size, of_one_size, always_the_same, in_pairs, nothing}) {
        std::uint64_t few[2] = {0, 0};
        at_every_count(contents, [&](std::uint64_t n, const Work& first, const Work& second) {
            const std::uint64_t taken[2] = {first.allocations, second.allocations};
            for (std::size_t run = 0; run < 2; ++run) {
                if (n == counts[0])
                    few[run] = taken[run];
                ASSERT_GT(few[run], counts[0]) << "each file has at least a path";
                // A tenth more, because tables round up when they grow.
                EXPECT_LE(taken[run] * counts[0] * 10, few[run] * n * 11) << "run " << run + 1;
            }
        });
    }
}

TEST_F(ScanDriverGrowthTest, TheReportOfOneLargeGroupTakesOnePassAndOneSort) {
    const TempTree tree;
    at_every_count(always_the_same, [&](std::uint64_t n, const Work& first, const Work&) {
        std::uint64_t comparisons = 0;
        hooks().CompareStringOrdinal = [&](auto... arguments) {
            ++comparisons;
            return real_imports().CompareStringOrdinal(arguments...);
        };
        ASSERT_TRUE(write_results_csv(tree.path(L"rapport.csv"), first.result.groups));
        // One pass finds its first path, one sort orders its rows.
        EXPECT_GE(comparisons, n - 1) << "comparisons are counted at all";
        EXPECT_LE(comparisons, n + of_one_sort(n));
        const std::string report = read_file(tree.path(L"rapport.csv"));
        EXPECT_EQ(static_cast<std::uint64_t>(std::ranges::count(report, '\n')), n + 1);
    });
}

// Paths around the longest string that the index stores. The length of the root decides theirs.
class LongPathScanTest : public ScanDriverGrowthTest {
  protected:
    static std::wstring root_for(std::size_t path_length) {
        std::wstring root = L"\\\\?\\R:\\";
        while (root.size() + 8 < path_length)
            root.push_back(root.size() % 200 == 199 ? L'\\' : L'd');
        return root;
    }
    TempTree indexes;
    ScopedEnvironment directory{L"LARKSPINE_INDEX_DIRECTORY", indexes.root()};
};

TEST_F(LongPathScanTest, PathsOfUpTo32768UnitsAreScannedReportedAndRemembered) {
    for (const std::size_t length : {32'766u, 32'767u, 32'768u}) {
        FakeFolder folder(root_for(length), 3, always_the_same);
        ASSERT_EQ(folder.path(0).size(), length);
        const Work first = work_of(folder);
        EXPECT_EQ(first.result.failures, 0u);
        ASSERT_EQ(first.result.groups.size(), 1u);
        ASSERT_EQ(first.result.groups[0].size(), 3u);
        EXPECT_EQ(first.result.groups[0][2].path, folder.path(2).substr(4));
        EXPECT_EQ(work_of(folder).asked, (Asked{.listings = 4}));

        // Each digit of a name takes two bytes.
        ASSERT_TRUE(write_results_csv(indexes.path(L"rapport.csv"), first.result.groups));
        EXPECT_EQ(read_file(indexes.path(L"rapport.csv")).size(),
                  50 +
                      3 * (std::string_view("1;Doublon;\"\";13\r\n").size() + length - 4 +
                           FakeFolder::name_length) +
                      1);
    }
}

TEST_F(LongPathScanTest, PathsOf32769UnitsAreGroupedButTheirIndexIsNotSaved) {
    FakeFolder folder(root_for(32'769), 3, always_the_same);
    ASSERT_EQ(folder.path(0).size(), 32'769u);
    for (int run = 0; run < 2; ++run) {
        const Work work = work_of(folder);
        EXPECT_EQ(work.result.failures, 1u) << "only the save fails";
        ASSERT_EQ(work.result.groups.size(), 1u);
        EXPECT_EQ(work.result.groups[0].size(), 3u);
        EXPECT_EQ(work.asked, (Asked{4, 9, 3, 9, 9}));
    }
    EXPECT_FALSE(file_exists(index_file_path(folder.root()).value()));
}

}  // namespace
}  // namespace larkspine::testing
