#include "engine/scan_driver.h"

#include "base/win32_api.h"

#include <cstddef>
#include <cstdint>
#include <gtest/gtest.h>
#include <stdexcept>
#include <string>
#include <string_view>
#include <tuple>
#include <vector>

#include "base/path.h"
#include "engine/scanned_tree.h"
#include "support/scoped_environment.h"

namespace larkspine::testing {
namespace {

class ScanDriverTest : public ScannedTreeTest {
  protected:
    void add(std::wstring_view name, std::string_view contents) {
        files.push_back(tree.file(name, contents));
    }
    void add_sized(std::wstring_view name, std::uint64_t size,
                   std::uint64_t changed_at = UINT64_MAX) {
        files.push_back(tree.sized_file(name, size, changed_at));
    }
    void add_link(std::wstring_view name, std::wstring_view to) {
        files.push_back(tree.hard_link(name, tree.path(to)));
    }

    // Something for every stage; one file alone of its size.
    void add_mixed_tree() {
        add(L"one.txt", "alone of its size");
        for (const wchar_t* name : {L"z.txt", L"Copy.txt", L"docs\\B.txt", L"docs\\a.txt"})
            add(name, "four times the same");
        add(L"docs\\other.txt", "same length, other.");
        for (const wchar_t* name : {L"empty", L"docs\\empty", L"deep\\er\\and\\deeper\\empty"})
            add(name, "");
        for (const std::uint64_t size : {131'072, 131'073, 1'048'577})
            for (const wchar_t* folder : {L"big\\", L"big\\copy\\"})
                add_sized(folder + std::to_wstring(size), size);
        add_sized(L"big\\middle", 131'073, 65'536);
        add_sized(L"big\\middle copy", 131'073, 65'536);
        add_sized(L"big\\last byte", 1'048'577, 1'048'576);
        add_sized(L"big\\first byte", 1'048'577, 0);
        add(L"links\\file", "a file with three names");
        add_link(L"links\\again", L"links\\file");
        add_link(L"a link", L"links\\file");
        add(L"links\\copy", "a file with three names");
        add(L"\u00e9t\u00e9 \u65e5\u672c\\\u00c9t\u00e9.txt", "accents");
        add(L"\u00e9t\u00e9 \u65e5\u672c\\zone.txt", "accents");
        add(L"pairs\\1", "ab");
        add(L"pairs\\2", "cd");
        add(L"pairs\\3", "ab");
        add(L"pairs\\4", "cd");
    }

    std::vector<std::wstring> files;
};

class ScanDriverOptionsTest : public ScanDriverTest,
                              public ::testing::WithParamInterface<std::tuple<unsigned, bool>> {};

TEST_P(ScanDriverOptionsTest, AScanFindsWhatComparingEveryPairOfFilesFinds) {
    std::tie(options.workers, options.verify_bytes) = GetParam();
    add_mixed_tree();
    EXPECT_EQ(groups_of(run()), reference_groups(files));
}

INSTANTIATE_TEST_SUITE_P(WorkersAndVerification, ScanDriverOptionsTest,
                         ::testing::Combine(::testing::Values(0, 1, 2, 64, 65, 100'000),
                                            ::testing::Bool()));

TEST_F(ScanDriverTest, GroupsAreSortedByTheirFirstPathWithoutCase) {
    for (const wchar_t* name : {L"d", L"B", L"a", L"C"}) {
        add(name, std::string(*name, 'x'));  // each pair of its own size
        add(name + std::wstring(L"2"), std::string(*name, 'x'));
    }
    const std::wstring folder = strip_long_path_prefix(tree.root()) + L"\\";
    std::vector<std::wstring> first_paths;
    for (const auto& group : groups_of(run()))
        first_paths.push_back(group.front().substr(folder.size()));
    EXPECT_EQ(first_paths, (std::vector<std::wstring>{L"a", L"B", L"C", L"d"}));
}

TEST_F(ScanDriverTest, AnEmptyFolderHasNoGroups) {
    const ScanResult result = run();
    EXPECT_EQ(result.groups.size(), 0U);
    EXPECT_EQ(result.statistics.files, 0U);
    EXPECT_EQ(result.statistics.directories, 1U);
    EXPECT_EQ(progress.phase, ScanPhase::done);
}

TEST_F(ScanDriverTest, ARelativeRootIsReportedWithItsAbsolutePaths) {
    add(L"sub\\a", "same");
    add(L"sub\\b", "same");
    const ScopedCurrentDirectory current(strip_long_path_prefix(tree.root()));
    options.root = L"sub";
    EXPECT_EQ(groups_of(run()), reference_groups(files));
}

TEST_F(ScanDriverTest, OnlyFilesBelowTheRootAreScanned) {
    add(L"inside\\a", "same");
    add(L"outside\\b", "same");
    options.root = tree.path(L"inside");
    const ScanResult result = run();
    EXPECT_EQ(result.groups.size(), 0U);
    EXPECT_EQ(result.statistics.files, 1U);
}

TEST_F(ScanDriverTest, AMissingRootThrowsThatItIsNotReadable) {
    options.root = tree.path(L"missing");
    try {
        (void)run();
        FAIL() << "nothing was thrown";
    } catch (const std::runtime_error& error) {
        EXPECT_STREQ(error.what(), "root directory is not readable");
    }
    EXPECT_EQ(progress.phase, ScanPhase::enumerating);
}

TEST_F(ScanDriverTest, ProgressEndsWithTheTotalsOfTheScan) {
    add_mixed_tree();
    (void)run();
    EXPECT_EQ(progress.phase, ScanPhase::done);
    EXPECT_EQ(progress.documents, files.size());
    EXPECT_EQ(progress.candidates_total, files.size() - 1);
    EXPECT_EQ(progress.candidates_done, files.size() - 1);
    std::uint64_t duplicates = 0;
    for (const auto& group : reference_groups(files))
        duplicates += group.size() - 1;
    EXPECT_EQ(progress.duplicates, duplicates);
}

TEST_F(ScanDriverTest, AFileAloneOfItsSizeIsNoCandidateAndIsNotHashed) {
    add(L"a", "1");
    add(L"b", "22");
    const ScanStatistics statistics = run().statistics;
    EXPECT_EQ(statistics.files, 2U);
    EXPECT_EQ(statistics.candidates, 0U);
    EXPECT_EQ(statistics.sample_hashes_computed, 0U);
    EXPECT_EQ(progress.candidates_total, 0U);
    EXPECT_EQ(progress.candidates_done, 0U);
}

TEST_F(ScanDriverTest, TheStatisticsCountEachStage) {
    add(L"a", "same");
    add(L"folder\\b", "same");
    add(L"folder\\c", "eman");
    add(L"folder\\deeper\\alone", "12345");
    add(L"empty 1", "");
    add(L"empty 2", "");
    add_link(L"link", L"a");
    const ScanStatistics statistics = run().statistics;
    EXPECT_EQ(statistics.directories, 3U);
    EXPECT_EQ(statistics.files, 7U);
    EXPECT_EQ(statistics.index_entries, 7U);
    EXPECT_EQ(statistics.candidates, 6U);
    EXPECT_EQ(statistics.hardlink_groups, 1U);
    EXPECT_EQ(statistics.hardlinks_collapsed, 1U);
    EXPECT_EQ(statistics.empty_files_grouped, 2U);
    EXPECT_EQ(statistics.sample_hashes_computed, 3U);
    EXPECT_EQ(statistics.full_hashes_computed, 2U);
    EXPECT_EQ(statistics.sample_hashes_reused, 0U);
    EXPECT_EQ(statistics.full_hashes_reused, 0U);
    EXPECT_EQ(statistics.byte_comparisons, 0U);
    EXPECT_EQ(statistics.excluded_entries, 0U);
    EXPECT_EQ(statistics.failures, 0U);
}

}  // namespace
}  // namespace larkspine::testing
