#include "support/fake_table.h"

#include "base/win32_api.h"

#include <gtest/gtest.h>
#include <optional>
#include <vector>

namespace larkspine::testing {
namespace {

class FakeTableTest : public ::testing::Test {
  protected:
    FakeTable table;
};

TEST_F(FakeTableTest, TheSequenceNumberWrapsFromTheHighestToOne) {
    std::uint64_t reference = table.allocate(32);
    for (int i = 1; i < 0xFFFF; ++i) {
        table.free(reference);
        reference = table.allocate(32);
    }
    EXPECT_EQ(reference, make_reference(24, 0xFFFF));
    table.free(reference);
    EXPECT_EQ(table.allocate(32), make_reference(24, 1));
}

TEST_F(FakeTableTest, ARenamedLinkKeepsItsPlaceAmongTheNamesOfItsFile) {
    const std::uint64_t file = table.allocate(FILE_ATTRIBUTE_ARCHIVE);
    table.add_name(file, root_reference, L"a");
    table.add_name(file, root_reference, L"b");
    table.change_name(root_reference, L"A", root_reference, L"z");
    std::vector<UsnRecordFields> records;
    table.list(record_number(file), records);
    EXPECT_EQ(records.at(0).name, L"z");
    EXPECT_EQ(table.find(L"a"), std::nullopt);
    EXPECT_EQ(table.find(L"z"), std::optional(file));
}

}  // namespace
}  // namespace larkspine::testing
