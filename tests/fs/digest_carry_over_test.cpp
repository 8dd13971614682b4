#include "fs/digest_carry_over.h"

#include <gtest/gtest.h>

#include "fs/entry_identity.h"
#include "fs/volume.h"
#include "support/snapshots.h"
#include "support/temp_tree.h"

namespace larkspine::testing {
namespace {

using detail::carry_over_digests;
using detail::FileCandidate;
using detail::IdentityAnswer;
using detail::IndexSnapshot;
using detail::read_identity;

constexpr std::uint64_t created = 1'000;
constexpr std::uint64_t written = 2'000;

class DigestCarryOverTest : public ::testing::Test {
  protected:
    // An entry as the walk leaves it.
    static FileCandidate fresh(const std::wstring& path, std::uint64_t size = 5) {
        FileCandidate entry = walked_file(path, size);
        entry.creation_time = created;
        entry.last_write_time = written;
        return entry;
    }
    // The same with an identity and digests, as the last run left it.
    static FileCandidate hashed(const std::wstring& path, std::uint64_t size = 5) {
        FileCandidate entry = fresh(path, size);
        entry.volume_serial = 77;
        entry.file_id = {88, 99};
        entry.has_file_id = true;
        entry.sample_digest = digest_from(1);
        entry.full_digest = digest_from(2);
        entry.has_sample_digest = true;
        entry.has_full_digest = true;
        return entry;
    }
    // With the identity that the file at `real` has.
    static FileCandidate hashed_with_identity_of(const std::wstring& path,
                                                 const std::wstring& real) {
        FileCandidate entry = hashed(path);
        FileCandidate identified = fresh(real);
        EXPECT_EQ(read_identity(identified), IdentityAnswer::read);
        entry.volume_serial = identified.volume_serial;
        entry.file_id = identified.file_id;
        return entry;
    }
    static FileCandidate carry(FileCandidate entry, std::initializer_list<FileCandidate> loaded) {
        std::vector<FileCandidate> entries{std::move(entry)};
        carry_over_digests(entries, snapshot_of(L"x", loaded));
        return entries[0];
    }
    static bool inherited(const FileCandidate& entry, const FileCandidate& previous) {
        return entry.has_sample_digest == previous.has_sample_digest &&
               entry.has_full_digest == previous.has_full_digest &&
               entry.sample_digest == previous.sample_digest &&
               entry.full_digest == previous.full_digest &&
               entry.has_file_id == previous.has_file_id && entry.file_id == previous.file_id &&
               entry.volume_serial == previous.volume_serial;
    }
    static bool has_no_digest(const FileCandidate& entry) {
        return !entry.has_sample_digest && !entry.has_full_digest;
    }

    TempTree tree_;
};

TEST_F(DigestCarryOverTest, AnUnchangedPathInheritsIdentityAndDigests) {
    const FileCandidate previous = hashed(L"\\\\?\\Q:\\a.txt");
    EXPECT_TRUE(inherited(carry(fresh(L"\\\\?\\Q:\\a.txt"), {previous}), previous));
}

TEST_F(DigestCarryOverTest, APathIsMatchedInItsComparisonForm) {
    const FileCandidate previous = hashed(L"\\\\?\\Q:\\Folder\\A.txt");
    EXPECT_TRUE(inherited(carry(fresh(L"Q:/folder/a.TXT"), {previous}), previous));
}

TEST_F(DigestCarryOverTest, AChangedSizeOrTimeInheritsNothing) {
    const FileCandidate previous = hashed(L"\\\\?\\Q:\\a.txt");
    for (std::uint64_t FileCandidate::*field :
         {&FileCandidate::size, &FileCandidate::creation_time, &FileCandidate::last_write_time}) {
        for (const int change : {-1, +1}) {
            FileCandidate entry = fresh(L"\\\\?\\Q:\\a.txt");
            entry.*field += static_cast<std::uint64_t>(change);
            const FileCandidate result = carry(entry, {previous});
            EXPECT_TRUE(has_no_digest(result));
            EXPECT_FALSE(result.has_file_id);
        }
    }
}

TEST_F(DigestCarryOverTest, OnlyTheDigestsThatWereThereAreInherited) {
    FileCandidate previous = hashed(L"\\\\?\\Q:\\a.txt");
    previous.has_full_digest = false;
    previous.has_file_id = false;
    EXPECT_TRUE(inherited(carry(fresh(L"\\\\?\\Q:\\a.txt"), {previous}), previous));
}

TEST_F(DigestCarryOverTest, AMovedFileIsRecognisedByItsIdentity) {
    const std::wstring now = tree_.file(L"folder\\new.txt", "hello");
    const FileCandidate previous = hashed_with_identity_of(tree_.path(L"old.txt"), now);
    EXPECT_TRUE(inherited(carry(fresh(now), {previous}), previous));
}

TEST_F(DigestCarryOverTest, AMovedFileWithAnotherTimeKeepsItsIdentityAlone) {
    const std::wstring now = tree_.file(L"new.txt", "hello");
    const FileCandidate previous = hashed_with_identity_of(tree_.path(L"old.txt"), now);
    FileCandidate entry = fresh(now);
    ++entry.last_write_time;
    const FileCandidate result = carry(entry, {previous});
    EXPECT_TRUE(has_no_digest(result));
    EXPECT_TRUE(result.has_file_id);
    EXPECT_EQ(result.file_id, previous.file_id);
}

TEST_F(DigestCarryOverTest, AnIdentityThatDiffersInEitherHalfOrInTheVolumeDoesNotMatch) {
    const std::wstring now = tree_.file(L"new.txt", "hello");
    FileCandidate other_low = hashed_with_identity_of(tree_.path(L"old.txt"), now);
    FileCandidate other_high = other_low;
    FileCandidate other_volume = other_low;
    ++other_low.file_id.low;
    ++other_high.file_id.high;
    ++other_volume.volume_serial;
    EXPECT_TRUE(has_no_digest(carry(fresh(now), {other_low, other_high, other_volume})));
}

// A table scan knows only the low half of a volume's serial number.
TEST_F(DigestCarryOverTest, AMovedFileThatTheTableListedIsRecognisedByTheLowHalfOfTheSerialNumber) {
    const std::wstring now = tree_.file(L"new.txt", "hello");
    FileCandidate previous = hashed_with_identity_of(tree_.path(L"old.txt"), now);
    previous.volume_serial ^= 0xABCD'0000'0000'0000;
    EXPECT_TRUE(inherited(carry(fresh(now), {previous}), previous));
}

TEST_F(DigestCarryOverTest, ANewFileInheritsNothingAndKnowsItsIdentity) {
    const std::wstring now = tree_.file(L"new.txt", "hello");
    const FileCandidate result = carry(fresh(now), {hashed(tree_.path(L"other.txt"))});
    EXPECT_TRUE(has_no_digest(result));
    EXPECT_TRUE(result.has_file_id);
}

TEST_F(DigestCarryOverTest, AFileThatCannotBeOpenedInheritsNothing) {
    const FileCandidate previous = hashed(tree_.path(L"old.txt"));
    const FileCandidate result = carry(fresh(tree_.path(L"missing.txt")), {previous});
    EXPECT_TRUE(has_no_digest(result));
    EXPECT_FALSE(result.has_file_id);
}

TEST_F(DigestCarryOverTest, ARewrittenFileAtTheSamePathIsNotLookedUpByIdentity) {
    const std::wstring path = tree_.file(L"a.txt", "hello");
    FileCandidate previous = hashed_with_identity_of(path, path);
    FileCandidate entry = fresh(path);
    ++entry.last_write_time;
    const FileCandidate result = carry(entry, {previous});
    EXPECT_TRUE(has_no_digest(result));
    EXPECT_FALSE(result.has_file_id) << "the path is known, so the file is not opened";
}

// Only one name of a file was hashed: the one that was kept.
TEST_F(DigestCarryOverTest, TheDigestsOfTheHashedNameOfAFileAreInherited) {
    const std::wstring now = tree_.file(L"new.txt", "hello");
    const FileCandidate kept = hashed_with_identity_of(tree_.path(L"a.txt"), now);
    FileCandidate collapsed = hashed_with_identity_of(tree_.path(L"b.txt"), now);
    collapsed.has_sample_digest = false;
    collapsed.has_full_digest = false;
    EXPECT_TRUE(inherited(carry(fresh(now), {kept, collapsed}), kept));
    EXPECT_TRUE(inherited(carry(fresh(now), {collapsed, kept}), kept));
}

// In a case-sensitive folder the comparison form does not tell which of the files it was.
TEST_F(DigestCarryOverTest, ThePathWithTheSameSpellingWinsOverOthersThatDifferInCase) {
    const std::wstring now = tree_.file(L"a.txt", "hello");
    const FileCandidate upper = hashed(tree_.path(L"A.TXT"));
    const FileCandidate mixed = hashed(tree_.path(L"A.txt"));
    FileCandidate lower = hashed(tree_.path(L"a.txt"));
    lower.full_digest = digest_from(9);
    EXPECT_TRUE(inherited(carry(fresh(now), {upper, mixed, lower}), lower));
    EXPECT_TRUE(inherited(carry(fresh(now), {upper, lower, mixed}), lower));
    EXPECT_TRUE(inherited(carry(fresh(now), {lower, upper, mixed}), lower));
}

TEST_F(DigestCarryOverTest, APathSpelledLikeNoneOfSeveralIsLookedUpByIdentity) {
    const std::wstring now = tree_.file(L"a.txt", "hello");
    const FileCandidate upper = hashed(tree_.path(L"A.TXT"));
    FileCandidate mixed = hashed_with_identity_of(tree_.path(L"A.txt"), now);
    mixed.full_digest = digest_from(9);
    EXPECT_TRUE(inherited(carry(fresh(now), {upper, mixed}), mixed));
    EXPECT_TRUE(inherited(carry(fresh(now), {mixed, upper}), mixed));
}

TEST_F(DigestCarryOverTest, ANewFileListedAsEmptyThatHasContentsGetsNoIdentity) {
    FileCandidate entry = fresh(tree_.file(L"new.txt", "hello"));
    entry.size = 0;
    EXPECT_FALSE(carry(entry, {hashed(tree_.path(L"other.txt"))}).has_file_id);
}

TEST_F(DigestCarryOverTest, AnEmptySnapshotOrTreeInheritsNothing) {
    std::vector<FileCandidate> none;
    carry_over_digests(none, snapshot_of(L"x", {hashed(L"a")}));
    EXPECT_TRUE(none.empty());
    EXPECT_TRUE(has_no_digest(carry(fresh(tree_.path(L"missing")), {})));
}

}  // namespace
}  // namespace larkspine::testing
