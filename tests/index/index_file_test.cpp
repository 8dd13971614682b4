#include "index/index_file.h"

#include <cstring>
#include <gtest/gtest.h>

#include "base/win32_handle.h"
#include "index/index_location.h"
#include "support/scoped_environment.h"
#include "support/snapshots.h"
#include "support/temp_tree.h"

namespace larkspine::testing {
namespace {

using detail::IndexSnapshot;
using detail::load_index;
using detail::read_whole_file;
using detail::save_index;

constexpr const wchar_t* root = L"\\\\?\\D:\\Photos";

class IndexFileTest : public ::testing::Test {
  protected:
    [[nodiscard]] static IndexSnapshot old_snapshot() {
        return snapshot_of(root, {walked_file(L"\\\\?\\D:\\Photos\\old.txt", 1)});
    }
    [[nodiscard]] static IndexSnapshot new_snapshot() {
        return snapshot_of(root, {full_entry(L"\\\\?\\D:\\Photos\\new.txt", L"new.txt"),
                                  walked_file(L"\\\\?\\D:\\Photos\\\xd83d\xde00.txt", 2)});
    }
    [[nodiscard]] static std::wstring index_path() { return index_file_path(root).value(); }
    [[nodiscard]] std::wstring temporary_path() const {
        return index_path() + L".tmp-" + std::to_wstring(GetCurrentProcessId());
    }
    void write_index(std::string_view bytes) const {
        tree_.file(index_path().substr(index_path().rfind(L'\\') + 1), bytes);
    }
    static bool loads(const IndexSnapshot& expected) {
        const std::optional<IndexSnapshot> loaded = load_index(root);
        return loaded.has_value() && same_snapshot(*loaded, expected);
    }

    TempTree tree_;
    ScopedEnvironment directory_{L"LARKSPINE_INDEX_DIRECTORY", tree_.root()};
};

TEST_F(IndexFileTest, WhatIsSavedIsLoaded) {
    ASSERT_TRUE(save_index(new_snapshot()));
    EXPECT_TRUE(loads(new_snapshot()));
    EXPECT_FALSE(file_exists(temporary_path()));
}

TEST_F(IndexFileTest, ASecondSaveReplacesTheFirst) {
    ASSERT_TRUE(save_index(old_snapshot()));
    ASSERT_TRUE(save_index(new_snapshot()));
    EXPECT_TRUE(loads(new_snapshot()));
}

TEST_F(IndexFileTest, WithoutAFileThereIsNoIndex) {
    EXPECT_FALSE(load_index(root).has_value());
}

TEST_F(IndexFileTest, AnEmptyFileIsNoIndex) {
    write_index("");
    EXPECT_FALSE(load_index(root).has_value());
}

TEST_F(IndexFileTest, ATruncatedFileIsNoIndex) {
    ASSERT_TRUE(save_index(new_snapshot()));
    const std::string whole = read_file(index_path());
    for (const std::size_t size : {std::size_t{7}, std::size_t{40}, whole.size() - 1}) {
        write_index(whole.substr(0, size));
        EXPECT_FALSE(load_index(root).has_value()) << "kept " << size << " bytes";
    }
}

TEST_F(IndexFileTest, AFileWithOneByteMoreIsNoIndex) {
    ASSERT_TRUE(save_index(new_snapshot()));
    write_index(read_file(index_path()) + '\0');
    EXPECT_FALSE(load_index(root).has_value());
}

TEST_F(IndexFileTest, TheIndexOfARootWithTheSameHashIsNoIndex) {
    IndexSnapshot other = new_snapshot();
    other.root = L"\\\\?\\D:\\Other";
    ASSERT_TRUE(save_index(other));
    write_index(read_file(index_file_path(other.root).value()));
    EXPECT_FALSE(load_index(root).has_value());
}

TEST_F(IndexFileTest, AnotherSpellingOfTheRootFindsTheIndexAndKeepsTheStoredOne) {
    IndexSnapshot data = new_snapshot();
    data.root = L"C:\\Data";
    ASSERT_TRUE(save_index(data));
    const std::optional<IndexSnapshot> loaded = load_index(L"c:/data/");
    ASSERT_TRUE(loaded.has_value());
    EXPECT_EQ(loaded->root, L"C:\\Data");
}

TEST_F(IndexFileTest, APathThatIsTooLongFailsTheSaveWithoutTouchingTheDisk) {
    ASSERT_TRUE(save_index(old_snapshot()));
    IndexSnapshot snapshot = new_snapshot();
    snapshot.entries.back().path.assign(32'769, L'x');
    EXPECT_FALSE(save_index(snapshot));
    EXPECT_TRUE(loads(old_snapshot()));
    EXPECT_FALSE(file_exists(temporary_path()));
}

TEST_F(IndexFileTest, AnIndexThatCannotBeReplacedStaysAndTheTemporaryGoes) {
    ASSERT_TRUE(save_index(old_snapshot()));
    {
        const unique_handle holder = own_handle(
            CreateFileW(index_path().c_str(), GENERIC_READ, 0, nullptr, OPEN_EXISTING, 0, nullptr));
        ASSERT_TRUE(holder);
        EXPECT_FALSE(save_index(new_snapshot()));
        EXPECT_FALSE(load_index(root).has_value()) << "locked, so it cannot be read";
        EXPECT_FALSE(file_exists(temporary_path()));
    }
    EXPECT_TRUE(loads(old_snapshot()));
}

TEST_F(IndexFileTest, AFolderInTheIndexFilesPlaceFailsTheSave) {
    tree_.folder(index_path().substr(index_path().rfind(L'\\') + 1));
    EXPECT_FALSE(save_index(new_snapshot()));
    EXPECT_FALSE(file_exists(temporary_path()));
    EXPECT_FALSE(load_index(root).has_value());
}

TEST_F(IndexFileTest, ALeftoverTemporaryIsOverwrittenAndNeverRead) {
    tree_.file(temporary_path().substr(temporary_path().rfind(L'\\') + 1), "half an index");
    EXPECT_FALSE(load_index(root).has_value());
    ASSERT_TRUE(save_index(new_snapshot()));
    EXPECT_TRUE(loads(new_snapshot()));
    EXPECT_FALSE(file_exists(temporary_path()));
}

TEST_F(IndexFileTest, AFolderInTheTemporarysPlaceFailsTheSaveAndBothStay) {
    ASSERT_TRUE(save_index(old_snapshot()));
    tree_.file(temporary_path().substr(temporary_path().rfind(L'\\') + 1) + L"\\inside", "x");
    EXPECT_FALSE(save_index(new_snapshot()));
    EXPECT_TRUE(loads(old_snapshot()));
    EXPECT_EQ(read_file(temporary_path() + L"\\inside"), "x");
}

TEST_F(IndexFileTest, WithoutADirectoryNothingIsSavedOrLoaded) {
    const ScopedEnvironment missing(L"LARKSPINE_INDEX_DIRECTORY", tree_.path(L"no\\such\\folder"));
    EXPECT_FALSE(save_index(new_snapshot()));
    EXPECT_FALSE(load_index(root).has_value());
}

TEST_F(IndexFileTest, AWholeFileIsReadAsItIs) {
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
