// The worked example in docs/index-format.md must be right: its bytes must load, and saving what
// was loaded must give the same bytes.
#include <fstream>
#include <gtest/gtest.h>
#include <sstream>
#include <string>
#include <vector>

#include "index/index_format.h"
#include "support/snapshots.h"

namespace larkspine::testing {
namespace {

// The bytes of the document's lines of the form "0010  4c 52 4b ...  LRK", 16 a line.
std::vector<std::byte> documented_bytes() {
    std::ifstream document(LARKSPINE_DOCS_DIR "/index-format.md");
    std::vector<std::byte> bytes;
    for (std::string line; std::getline(document, line);) {
        const bool dump = line.size() > 53 && line.substr(4, 2) == "  " &&
                          line.find_first_not_of("0123456789abcdef") == 4 &&
                          std::stoul(line.substr(0, 4), nullptr, 16) == bytes.size();
        if (!dump)
            continue;
        std::istringstream values(line.substr(6, 47));
        for (unsigned value = 0; values >> std::hex >> value;)
            bytes.push_back(static_cast<std::byte>(value));
    }
    return bytes;
}

TEST(IndexFormatDocument, TheWorkedExampleLoadsAndSavesToTheSameBytes) {
    const std::vector<std::byte> bytes = documented_bytes();
    ASSERT_EQ(bytes.size(), 266u);
    const std::optional<detail::IndexSnapshot> snapshot =
        detail::decode_index(bytes, L"\\\\?\\d:\\photos\\");
    ASSERT_TRUE(snapshot.has_value());
    EXPECT_EQ(snapshot->root, L"\\\\?\\D:\\Photos");
    ASSERT_EQ(snapshot->entries.size(), 1u);

    const detail::FileCandidate& entry = snapshot->entries[0];
    EXPECT_EQ(entry.path, L"\\\\?\\D:\\Photos\\\u00e9t\u00e9.jpg");
    EXPECT_EQ(entry.name, L"\u00e9t\u00e9.jpg");
    EXPECT_EQ(entry.volume_serial, 0x44000000u);
    EXPECT_EQ(entry.file_id, (detail::FileId{0x0002000000001234, 0}));
    EXPECT_EQ(entry.size, 1'500'000u);
    EXPECT_TRUE(entry.has_sample_digest);
    EXPECT_FALSE(entry.has_full_digest);

    const std::optional<detail::EncodedIndex> again = detail::encode_index(*snapshot);
    ASSERT_TRUE(again.has_value());
    EXPECT_EQ(std::vector<std::byte>(again->span().begin(), again->span().end()), bytes);
}

}  // namespace
}  // namespace larkspine::testing
