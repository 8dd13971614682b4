#include "fs/journal_changes.h"

#include <gtest/gtest.h>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace larkspine::testing {
namespace {

using detail::apply_journal_change;
using detail::rebuild_paths;
using detail::RecordMap;
using detail::ReferenceSet;

constexpr std::uint64_t root_reference = 5;
constexpr std::uint64_t serial = 0x44000000;
constexpr std::uint32_t folder = 0x10;
const std::vector<std::wstring> index_folders = {L"c:\\indexes"};

class JournalChangesTest : public ::testing::Test {
  protected:
    // An entry with both digests, as the last run left it.
    void entry(std::uint64_t reference, std::uint64_t parent, std::wstring_view name,
               std::uint32_t attributes = 0x20) {
        detail::FileCandidate& added = records_[reference];
        added.name = name;
        added.record_id = parent;
        added.attributes = attributes;
        added.has_sample_digest = added.has_full_digest = true;
    }
    bool apply(std::uint64_t reference, std::uint32_t reason, std::wstring_view name = L"name",
               std::uint64_t parent = root_reference, std::uint32_t attributes = 0x20) {
        return apply_journal_change(
            {reference, parent, std::wstring(name), attributes, reason, ++usn_}, serial, records_,
            changed_);
    }
    void rebuild() { rebuild_paths(root_, {root_reference, serial}, index_folders, records_); }
    std::optional<std::wstring> path_of(std::uint64_t reference) const {
        const auto found = records_.find(reference);
        return found == records_.end() ? std::nullopt : std::optional(found->second.path);
    }

    const std::wstring root_ = L"\\\\?\\C:\\";
    RecordMap records_;
    ReferenceSet changed_;
    std::int64_t usn_ = 1000;
};

TEST_F(JournalChangesTest, ADeletionErasesTheEntryAndIsAChange) {
    entry(10, root_reference, L"a");
    EXPECT_TRUE(apply(10, 0x80000200));
    EXPECT_TRUE(records_.empty());
    EXPECT_TRUE(changed_.empty());
}

TEST_F(JournalChangesTest, ADeletionOfAnUnknownReferenceIsNoChange) {
    EXPECT_FALSE(apply(10, 0x80000200));
    EXPECT_TRUE(records_.empty());
}

TEST_F(JournalChangesTest, AFileCreatedAndDeletedAgainLeavesNothingButItsReference) {
    EXPECT_FALSE(apply(10, 0x100));
    EXPECT_TRUE(apply(10, 0x80000300)) << "the deletion wins over the other reasons of the record";
    EXPECT_TRUE(records_.empty());
    EXPECT_TRUE(changed_.contains(10));
}

TEST_F(JournalChangesTest, ANewFileHasEverythingTheRecordSays) {
    EXPECT_FALSE(apply(0x0002000000000010, 0x100, L"new.txt", 77, 0x21));
    const detail::FileCandidate& added = records_.at(0x0002000000000010);
    EXPECT_EQ(added.name, L"new.txt");
    EXPECT_EQ(added.record_id, 77u);
    EXPECT_EQ(added.attributes, 0x21u);
    EXPECT_EQ(added.volume_serial, serial);
    EXPECT_EQ(added.file_id, (detail::FileId{0x0002000000000010, 0}));
    EXPECT_TRUE(added.has_file_id);
    EXPECT_EQ(added.record_stamp, 1001u);
    EXPECT_TRUE(changed_.contains(0x0002000000000010));
}

TEST_F(JournalChangesTest, EachReasonThatTouchesContentsDropsBothDigests) {
    for (const std::uint32_t reason : {0x1u, 0x2u, 0x4u, 0x10u, 0x20u, 0x40u, 0x100u}) {
        records_.clear();
        changed_.clear();
        entry(10, root_reference, L"a");
        apply(10, reason);
        EXPECT_FALSE(records_.at(10).has_sample_digest) << reason;
        EXPECT_FALSE(records_.at(10).has_full_digest) << reason;
        EXPECT_TRUE(changed_.contains(10)) << reason;
    }
}

TEST_F(JournalChangesTest, ABasicChangeOrANewNameKeepsTheDigestsAndRequestsMetadata) {
    for (const std::uint32_t reason : {0x8000u, 0x2000u, 0x80002000u}) {
        changed_.clear();
        entry(10, root_reference, L"a");
        apply(10, reason);
        EXPECT_TRUE(records_.at(10).has_sample_digest);
        EXPECT_TRUE(records_.at(10).has_full_digest);
        EXPECT_TRUE(changed_.contains(10)) << reason;
    }
}

// A record has no size and no times. Without fresh metadata an entry would keep the size zero and
// be reported among the empty files.
TEST_F(JournalChangesTest, AnEntryMadeByARecordOfAnyReasonRequestsMetadata) {
    for (std::uint64_t bit = 0; bit < 32; ++bit) {
        const std::uint32_t reason = std::uint32_t{1} << bit;
        if (reason == 0x200)
            continue;
        apply(100 + bit, reason);
        EXPECT_TRUE(changed_.contains(100 + bit)) << reason;
    }
    apply(200, 0);
    EXPECT_TRUE(changed_.contains(200));
}

TEST_F(JournalChangesTest, AnEntryErasedAndMadeAgainRequestsMetadata) {
    entry(10, root_reference, L"a");
    apply(10, 0x80000200);
    apply(10, 0x800);
    EXPECT_TRUE(changed_.contains(10));
}

TEST_F(JournalChangesTest, OtherReasonsSetNameAndParentAndKeepTheDigests) {
    for (const std::uint32_t reason : {0x10000u, 0x80u, 0x400u, 0x800u, 0x4000u, 0x80000000u}) {
        changed_.clear();
        entry(10, root_reference, L"a");
        EXPECT_FALSE(apply(10, reason, L"other", 9));
        EXPECT_TRUE(records_.at(10).has_full_digest);
        EXPECT_EQ(records_.at(10).name, L"other");
        EXPECT_EQ(records_.at(10).record_id, 9u);
        EXPECT_TRUE(changed_.empty()) << reason;
    }
}

TEST_F(JournalChangesTest, TheOldHalfOfARenameLeavesNameAndParentAlone) {
    entry(10, root_reference, L"new");
    apply(10, 0x1000, L"old", 99, 0x1);
    EXPECT_EQ(records_.at(10).name, L"new");
    EXPECT_EQ(records_.at(10).record_id, root_reference);
    EXPECT_EQ(records_.at(10).attributes, 0x20u);
    EXPECT_EQ(records_.at(10).record_stamp, 1001u);
    EXPECT_TRUE(changed_.empty());
}

TEST_F(JournalChangesTest, ARecordOfBothHalvesOfARenameSetsTheNewName) {
    entry(10, root_reference, L"a");
    apply(10, 0x3000, L"b", 99);
    EXPECT_EQ(records_.at(10).name, L"b");
    EXPECT_EQ(records_.at(10).record_id, 99u);
}

TEST_F(JournalChangesTest, ARenamedFolderMovesEveryDescendantWithoutARecordOfTheirs) {
    entry(10, root_reference, L"folder", folder);
    entry(11, 10, L"sub", folder);
    entry(12, 11, L"file");
    rebuild();
    ASSERT_EQ(path_of(12), L"\\\\?\\C:\\folder\\sub\\file");
    apply(10, 0x1000, L"folder", root_reference, folder);
    apply(10, 0x2000, L"renamed", root_reference, folder);
    rebuild();
    EXPECT_EQ(path_of(12), L"\\\\?\\C:\\renamed\\sub\\file");
    EXPECT_EQ(path_of(10), L"\\\\?\\C:\\renamed");
}

TEST_F(JournalChangesTest, TheRootGetsAnEntryWhenItHasNone) {
    rebuild();
    ASSERT_EQ(records_.size(), 1u);
    const detail::FileCandidate& root = records_.at(root_reference);
    EXPECT_EQ(root.path, root_);
    EXPECT_EQ(root.attributes, folder);
    EXPECT_EQ(root.record_id, root_reference);
    EXPECT_EQ(root.volume_serial, serial);
    EXPECT_EQ(root.file_id, (detail::FileId{root_reference, 0}));
    EXPECT_TRUE(root.has_file_id);
}

TEST_F(JournalChangesTest, TheRootsOwnEntryKeepsItsFieldsAndGetsItsPath) {
    entry(root_reference, root_reference, L"", folder);
    records_.at(root_reference).record_stamp = 7;
    rebuild();
    EXPECT_EQ(path_of(root_reference), root_);
    EXPECT_EQ(records_.at(root_reference).record_stamp, 7u);
}

TEST_F(JournalChangesTest, EntriesThatDoNotReachTheRootArePruned) {
    entry(10, 99, L"orphan");
    entry(11, 12, L"a", folder);
    entry(12, 11, L"b", folder);
    entry(13, 11, L"in the loop");
    entry(14, 14, L"its own parent", folder);
    rebuild();
    EXPECT_EQ(records_.size(), 1u);
    EXPECT_TRUE(records_.contains(root_reference));
}

TEST_F(JournalChangesTest, ExcludedEntriesAndReparsePointsArePruned) {
    entry(10, root_reference, L"Windows", folder);
    entry(11, 10, L"system.dll");
    entry(12, root_reference, L"Windows.old", folder);
    entry(13, root_reference, L"junction", folder | 0x400);
    entry(14, root_reference, L"Indexes", folder);
    entry(15, 14, L"index.lsi");
    rebuild();
    EXPECT_EQ(path_of(10), std::nullopt);
    EXPECT_EQ(path_of(11), std::nullopt);
    EXPECT_EQ(path_of(14), std::nullopt);
    EXPECT_EQ(path_of(15), std::nullopt);
    EXPECT_EQ(path_of(12), L"\\\\?\\C:\\Windows.old");
    EXPECT_EQ(path_of(13), std::nullopt);
}

// A forged index may hold a chain of any length.
TEST_F(JournalChangesTest, AVeryLongChainIsResolvedAndPrunedWhenItIsALoop) {
    constexpr std::uint64_t depth = 4'000;
    for (std::uint64_t i = 0; i < depth; ++i)
        entry(100 + i, i == 0 ? root_reference : 99 + i, L"d", folder);
    rebuild();
    EXPECT_EQ(path_of(100 + depth - 1)->size(), root_.size() + 2 * depth - 1);
    // Closed into a loop, the whole chain is pruned.
    records_.erase(100);
    entry(99, 100 + depth - 1, L"closes the loop", folder);
    entry(100, 99, L"d", folder);
    rebuild();
    EXPECT_EQ(records_.size(), 1u);
}

}  // namespace
}  // namespace larkspine::testing
