#include "index/index_file.h"

#include <cstring>
#include <gtest/gtest.h>

#include "base/win32_handle.h"
#include "index/saved_index.h"

namespace larkspine::testing {
namespace {

using detail::IndexSnapshot;
using detail::load_index;
using detail::read_whole_file;
using detail::save_index;

class IndexFileTest : public SavedIndexTest {
  protected:
    void write_index(std::string_view bytes) const {
        tree_.file(index_path().substr(index_path().rfind(L'\\') + 1), bytes);
    }
};

TEST_F(IndexFileTest, ASavedSnapshotIsLoadedAndReplacesTheOneBefore) {
    ASSERT_TRUE(save_index(old_));
    EXPECT_TRUE(loads(old_));
    ASSERT_TRUE(save_index(new_));
    EXPECT_TRUE(loads(new_));
    EXPECT_FALSE(file_exists(temporary_path()));
}

TEST_F(IndexFileTest, WithoutAFileThereIsNoIndex) {
    EXPECT_FALSE(load_index(root).has_value());
}

TEST_F(IndexFileTest, ATruncatedFileIsNoIndex) {
    ASSERT_TRUE(save_index(new_));
    const std::string whole = read_file(index_path());
    for (const std::size_t size : {std::size_t{7}, std::size_t{40}, whole.size() - 1}) {
        write_index(whole.substr(0, size));
        EXPECT_FALSE(load_index(root).has_value()) << "kept " << size << " bytes";
    }
}

TEST_F(IndexFileTest, TheIndexOfAnotherRootWithTheSameHashIsNotLoaded) {
    IndexSnapshot other = new_;
    other.root = L"\\\\?\\D:\\Other";
    ASSERT_TRUE(save_index(other));
    write_index(read_file(index_file_path(other.root).value()));
    EXPECT_FALSE(load_index(root).has_value());
}

TEST_F(IndexFileTest, AnotherSpellingOfTheRootFindsTheIndexAndKeepsTheStoredSpelling) {
    IndexSnapshot data = new_;
    data.root = L"C:\\Data";
    ASSERT_TRUE(save_index(data));
    const std::optional<IndexSnapshot> loaded = load_index(L"c:/data/");
    ASSERT_TRUE(loaded.has_value());
    EXPECT_EQ(loaded->root, L"C:\\Data");
}

TEST_F(IndexFileTest, APathThatIsTooLongFailsTheSaveWithoutTouchingTheDisk) {
    ASSERT_TRUE(save_index(old_));
    IndexSnapshot snapshot = new_;
    snapshot.entries.back().path.assign(32'769, L'x');
    EXPECT_FALSE(save_index(snapshot));
    EXPECT_TRUE(loads(old_));
    EXPECT_FALSE(file_exists(temporary_path()));
}

TEST_F(IndexFileTest, AnIndexThatCannotBeReplacedStaysAndTheTemporaryFileIsDeleted) {
    ASSERT_TRUE(save_index(old_));
    {
        const unique_handle holder = own_handle(
            CreateFileW(index_path().c_str(), GENERIC_READ, 0, nullptr, OPEN_EXISTING, 0, nullptr));
        ASSERT_TRUE(holder);
        EXPECT_FALSE(save_index(new_));
        EXPECT_FALSE(load_index(root).has_value()) << "locked, so it cannot be read";
        EXPECT_FALSE(file_exists(temporary_path()));
    }
    EXPECT_TRUE(loads(old_));
}

TEST_F(IndexFileTest, ALeftoverTemporaryIsOverwrittenAndNeverRead) {
    tree_.file(temporary_path().substr(temporary_path().rfind(L'\\') + 1), "half an index");
    EXPECT_FALSE(load_index(root).has_value());
    ASSERT_TRUE(save_index(new_));
    EXPECT_TRUE(loads(new_));
    EXPECT_FALSE(file_exists(temporary_path()));
}

TEST_F(IndexFileTest, AFolderAtTheTemporaryPathFailsTheSaveAndStaysLikeTheIndex) {
    ASSERT_TRUE(save_index(old_));
    tree_.file(temporary_path().substr(temporary_path().rfind(L'\\') + 1) + L"\\inside", "x");
    EXPECT_FALSE(save_index(new_));
    EXPECT_TRUE(loads(old_));
    EXPECT_EQ(read_file(temporary_path() + L"\\inside"), "x");
}

TEST_F(IndexFileTest, WithoutADirectoryNothingIsSavedOrLoaded) {
    const ScopedEnvironment missing(L"LARKSPINE_INDEX_DIRECTORY", tree_.path(L"no\\such\\folder"));
    EXPECT_FALSE(save_index(new_));
    EXPECT_FALSE(load_index(root).has_value());
}

TEST_F(IndexFileTest, ReadWholeFileReturnsEveryByteAndFailsForMissingFilesAndFolders) {
    const std::wstring path = tree_.sized_file(L"bytes", 3'000'001);
    const std::optional<std::vector<std::byte>> contents = read_whole_file(path);
    ASSERT_TRUE(contents.has_value());
    const std::string expected = patterned_bytes(3'000'001);
    ASSERT_EQ(contents->size(), expected.size());
    EXPECT_EQ(std::memcmp(contents->data(), expected.data(), expected.size()), 0);
    const std::optional<std::vector<std::byte>> empty = read_whole_file(tree_.file(L"empty", ""));
    ASSERT_TRUE(empty.has_value());
    EXPECT_TRUE(empty->empty());
    EXPECT_FALSE(read_whole_file(tree_.path(L"missing")).has_value());
    EXPECT_FALSE(read_whole_file(tree_.folder(L"folder")).has_value());
}

}  // namespace
}  // namespace larkspine::testing
