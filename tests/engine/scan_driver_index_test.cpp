// How the driver uses the index: which files a second run opens, what is saved and when.
#include "base/win32_api.h"

#include <algorithm>
#include <gtest/gtest.h>
#include <string>
#include <vector>

#include "base/read_buffer.h"
#include "engine/scan_driver.h"
#include "index/index_file.h"
#include "index/index_location.h"
#include "support/import_replacement.h"
#include "support/reference_groups.h"
#include "support/scoped_environment.h"
#include "support/temp_tree.h"

namespace larkspine::testing {
namespace {

using detail::load_index;
using detail::save_index;

class ScanDriverIndexTest : public ::testing::Test {
  protected:
    void SetUp() override {
        tree.sized_file(L"a", 3000);
        tree.sized_file(L"sub\\b", 3000);
        tree.sized_file(L"large a", 1'100'000);
        tree.sized_file(L"large b", 1'100'000);
        tree.sized_file(L"large other", 1'100'000, 500'000);
        tree.file(L"alone", "x");
        tree.file(L"empty a", "");
        tree.file(L"empty b", "");
        tree.hard_link(L"z link", tree.path(L"a"));
        options.root = tree.root();
        options.workers = 1;  // one at a time, so that the list of opened files needs no lock
    }
    // Scans, listing the files below the tree that are opened meanwhile.
    ScanResult run(IndexMode mode = IndexMode::use) {
        opened.clear();
        hooks().CreateFileW = [this](LPCWSTR path, auto... rest) {
            if (std::wstring_view(path).starts_with(tree.root()))
                opened.emplace_back(std::wstring_view(path).substr(tree.root().size() + 1));
            return real_imports().CreateFileW(path, rest...);
        };
        options.index_mode = mode;
        ScanProgress progress;
        ScanResult result = scan(options, progress);
        hooks().CreateFileW = nullptr;
        return result;
    }
    [[nodiscard]] bool index_exists() const {
        return file_exists(index_file_path(tree.root()).value());
    }
    TempTree tree;
    TempTree indexes;
    ScopedEnvironment directory{L"LARKSPINE_INDEX_DIRECTORY", indexes.root()};
    ScanOptions options;
    std::vector<std::wstring> opened;
    ImportReset reset;
};

TEST_F(ScanDriverIndexTest, ASecondRunOpensNothingAndFindsTheSame) {
    const ScanResult first = run();
    EXPECT_FALSE(first.statistics.index_loaded);
    EXPECT_EQ(first.statistics.sample_hashes_computed, 5u);
    EXPECT_EQ(first.statistics.full_hashes_computed, 5u);
    EXPECT_FALSE(opened.empty());

    const ScanResult second = run();
    EXPECT_TRUE(second.statistics.index_loaded);
    EXPECT_EQ(opened, std::vector<std::wstring>{});
    EXPECT_EQ(groups_of(second), groups_of(first));
    EXPECT_EQ(second.groups.size(), 3u);
    EXPECT_EQ(second.statistics.sample_hashes_computed, 0u);
    EXPECT_EQ(second.statistics.full_hashes_computed, 0u);
    EXPECT_EQ(second.statistics.sample_hashes_reused, 5u);
    EXPECT_EQ(second.statistics.full_hashes_reused, 5u);
    EXPECT_FALSE(second.statistics.fast_path_unchanged);
    EXPECT_FALSE(second.statistics.usn_delta_applied);
    EXPECT_EQ(second.failures, 0u);
}

TEST_F(ScanDriverIndexTest, OnlyARewrittenFileIsOpenedAgain) {
    run();
    tree.sized_file(L"sub\\b", 3000, 1500);
    const ScanResult second = run();
    // For its identity, its sample and nothing more: the sample already differs.
    EXPECT_EQ(opened, (std::vector<std::wstring>{L"sub\\b", L"sub\\b"}));
    EXPECT_EQ(second.statistics.sample_hashes_computed, 1u);
    EXPECT_EQ(second.groups.size(), 2u);
}

TEST_F(ScanDriverIndexTest, AMovedFileIsOpenedForItsIdentityAlone) {
    run();
    const std::wstring from = tree.path(L"large b");
    ASSERT_TRUE(MoveFileExW(from.c_str(), tree.path(L"sub\\moved").c_str(), 0));
    const ScanResult second = run();
    EXPECT_EQ(opened, std::vector<std::wstring>{L"sub\\moved"});
    EXPECT_EQ(second.statistics.full_hashes_computed, 0u);
    EXPECT_EQ(second.groups.size(), 3u);
    run();
    EXPECT_EQ(opened, std::vector<std::wstring>{});
}

TEST_F(ScanDriverIndexTest, AFailedHashIsTriedAgainByTheNextRun) {
    hooks().ReadFile = [](auto...) { return FALSE; };
    const ScanResult failed = run();
    hooks().ReadFile = nullptr;
    EXPECT_EQ(failed.failures, 5u);
    const ScanResult second = run();
    EXPECT_EQ(second.statistics.sample_hashes_computed, 5u);
    EXPECT_EQ(second.groups.size(), 3u);
}

TEST_F(ScanDriverIndexTest, NewFullHashesAloneAreSaved) {
    hooks().ReadFile = [](HANDLE file, LPVOID bytes, DWORD wanted, auto... rest) {
        // Samples are read in smaller pieces.
        return wanted == detail::read_buffer_size
                   ? FALSE
                   : real_imports().ReadFile(file, bytes, wanted, rest...);
    };
    const ScanResult failed = run();
    hooks().ReadFile = nullptr;
    EXPECT_EQ(failed.statistics.sample_hashes_computed, 5u);
    EXPECT_EQ(failed.statistics.full_hashes_computed, 0u);

    const ScanResult second = run();
    EXPECT_EQ(second.statistics.sample_hashes_computed, 0u);
    EXPECT_EQ(second.statistics.full_hashes_computed, 5u);
    const ScanResult third = run();
    EXPECT_EQ(third.statistics.full_hashes_computed, 0u);
    EXPECT_EQ(third.groups.size(), 3u);
}

TEST_F(ScanDriverIndexTest, ADisabledIndexIsNeitherLoadedNorSaved) {
    const ScanResult first = run(IndexMode::disabled);
    EXPECT_FALSE(index_exists());
    EXPECT_EQ(first.statistics.index_ms, 0u);
    EXPECT_EQ(first.statistics.write_ms, 0u);
    run();
    const std::string kept = read_file(index_file_path(tree.root()).value());
    tree.file(L"new", "x");
    const ScanResult again = run(IndexMode::disabled);
    EXPECT_FALSE(again.statistics.index_loaded);
    EXPECT_EQ(again.statistics.sample_hashes_computed, 7u);
    EXPECT_EQ(read_file(index_file_path(tree.root()).value()), kept);
}

TEST_F(ScanDriverIndexTest, RebuildingLoadsNothingAndSaves) {
    run();
    tree.file(L"new", "y");
    const ScanResult rebuilt = run(IndexMode::rebuild);
    EXPECT_FALSE(rebuilt.statistics.index_loaded);
    EXPECT_EQ(rebuilt.statistics.sample_hashes_computed, 7u);
    const auto stored = load_index(tree.root());
    ASSERT_TRUE(stored.has_value());
    EXPECT_EQ(stored->entries.size(), 10u);
    EXPECT_EQ(rebuilt.statistics.index_entries, 10u);
}

TEST_F(ScanDriverIndexTest, ASaveThatFailsIsCountedAndTheScanSucceeds) {
    hooks().MoveFileExW = [](auto...) { return FALSE; };
    const ScanResult result = run();
    EXPECT_EQ(result.failures, 1u);
    EXPECT_EQ(result.statistics.failures, 1u);
    EXPECT_EQ(result.groups.size(), 3u);
    EXPECT_FALSE(index_exists());
}

TEST_F(ScanDriverIndexTest, WithoutAnIndexDirectoryTheSaveIsCountedAsFailed) {
    const ScopedEnvironment none(L"LARKSPINE_INDEX_DIRECTORY", indexes.path(L"no\\such"));
    const ScanResult result = run();
    EXPECT_EQ(result.failures, 1u);
    EXPECT_EQ(result.groups.size(), 3u);
}

TEST_F(ScanDriverIndexTest, TheSavedIndexHasTheDigestsAndIdentitiesOfTheAnalysis) {
    run();
    const auto stored = load_index(tree.root());
    ASSERT_TRUE(stored.has_value());
    EXPECT_FALSE(stored->journal_valid);
    EXPECT_EQ(stored->root, tree.root());
    const auto with = [&](auto field) {
        return std::count_if(stored->entries.begin(), stored->entries.end(),
                             [&](const detail::FileCandidate& entry) { return entry.*field; });
    };
    EXPECT_EQ(with(&detail::FileCandidate::has_sample_digest), 5);
    EXPECT_EQ(with(&detail::FileCandidate::has_full_digest), 5);
    EXPECT_EQ(with(&detail::FileCandidate::has_file_id), 8)
        << "all but the file that is alone of its size";
}

// A journal position means nothing for a folder: only a whole volume has a journal.
TEST_F(ScanDriverIndexTest, AWalkReusesTheDigestsOfAnIndexThatClaimsAJournal) {
    run();
    auto stored = load_index(tree.root());
    stored->journal_valid = true;
    stored->next_usn = 5;
    ASSERT_TRUE(save_index(*stored));
    hooks().DeviceIoControl = [](auto...) {
        ADD_FAILURE() << "a volume is queried";
        return FALSE;
    };
    const ScanResult second = run();
    EXPECT_TRUE(second.statistics.index_loaded);
    EXPECT_FALSE(second.statistics.fast_path_unchanged);
    EXPECT_EQ(opened, std::vector<std::wstring>{});
    EXPECT_FALSE(load_index(tree.root())->journal_valid);
}

}  // namespace
}  // namespace larkspine::testing
