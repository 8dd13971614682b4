// The longest paths that result from the master file table of a volume.
#include "base/win32_api.h"

#include <cstddef>
#include <cstdint>
#include <gtest/gtest.h>
#include <optional>
#include <string>

#include "index/index_format.h"
#include "support/enumerated_volume.h"
#include "support/import_replacement.h"

namespace larkspine::testing {
namespace {

using detail::decode_index;
using detail::encode_index;
using detail::EncodedIndex;

// A chain of nested folders, and a fake answer for the attributes of files that are on no disk.
class MftLongPathTest : public EnumeratedVolumeTest {
  protected:
    MftLongPathTest() {
        path_ = volume.root();
        path_.pop_back();
        const std::wstring name(255, L'n');
        while (32'767 - path_.size() > 1 + name.size()) {
            parent_ = volume.plant_child(parent_, name, FILE_ATTRIBUTE_DIRECTORY);
            path_ += L"\\" + name;
        }
        hooks().GetFileAttributesExW = [](LPCWSTR, GET_FILEEX_INFO_LEVELS, LPVOID data) {
            *static_cast<WIN32_FILE_ATTRIBUTE_DATA*>(data) = {};
            return TRUE;
        };
    }

    // Adds a child of the last folder with a path of `length` units, and returns that path.
    std::wstring add(std::size_t length, std::uint32_t attributes) {
        const std::wstring name(length - path_.size() - 1, L'f');
        volume.plant_child(parent_, name, attributes);
        return path_ + L"\\" + name;
    }

    std::wstring path_;
    std::uint64_t parent_ = root_reference;
};

TEST_F(MftLongPathTest, AFileWithTheLongestPathIsAnEntryThatTheIndexKeeps) {
    const std::wstring longest = add(32'767, FILE_ATTRIBUTE_ARCHIVE);
    ASSERT_TRUE(enumerate());
    EXPECT_EQ(statistics.failures, 0u);
    EXPECT_EQ(entry(longest.substr(volume.root().size())).path.size(), 32'767u);
    const std::optional<EncodedIndex> encoded = encode_index(snapshot);
    ASSERT_TRUE(encoded.has_value());
    const std::optional<detail::IndexSnapshot> decoded =
        decode_index(encoded->span(), volume.root());
    ASSERT_TRUE(decoded.has_value());
    EXPECT_TRUE(same_snapshot(*decoded, snapshot));
}

// Folders can be moved below others until no call reaches them. The table still lists them, and
// folders are not queried.
TEST_F(MftLongPathTest, ASnapshotWithAFolderBeyondThePathLimitIsNotEncoded) {
    add(32'768, FILE_ATTRIBUTE_DIRECTORY);
    ASSERT_TRUE(enumerate());
    EXPECT_TRUE(encode_index(snapshot).has_value());
    const std::wstring beyond = add(32'769, FILE_ATTRIBUTE_DIRECTORY);
    ASSERT_TRUE(enumerate());
    EXPECT_EQ(entry(beyond.substr(volume.root().size())).path, beyond);
    EXPECT_FALSE(encode_index(snapshot).has_value());
}

}  // namespace
}  // namespace larkspine::testing
