#include "support/fake_table.h"

#include "base/win32_api.h"

#include <gtest/gtest.h>
#include <stdexcept>

namespace larkspine::testing {
namespace {

class FakeTableTest : public ::testing::Test {
  protected:
    std::uint64_t add(std::uint64_t parent, std::wstring_view name, std::uint32_t attributes = 32) {
        const std::uint64_t reference = table.allocate(attributes);
        table.add_name(reference, parent, name);
        return reference;
    }
    std::vector<UsnRecordFields> listed(std::uint64_t number) {
        std::vector<UsnRecordFields> records;
        table.list(number, records);
        return records;
    }

    FakeTable table;
};

TEST_F(FakeTableTest, TheRootIsRecordFiveAndItsOwnParent) {
    ASSERT_EQ(listed(5).size(), 1u);
    const UsnRecordFields root = listed(5).at(0);
    EXPECT_EQ(root.reference, 0x0005'0000'0000'0005u);
    EXPECT_EQ(root.parent, root.reference);
    EXPECT_EQ(root.name, L".");
    EXPECT_EQ(root.attributes & FILE_ATTRIBUTE_DIRECTORY, DWORD{FILE_ATTRIBUTE_DIRECTORY});
    EXPECT_EQ(table.find(L""), std::optional(root.reference));
}

TEST_F(FakeTableTest, NewFilesTakeTheLowestFreeRecordsFrom24On) {
    EXPECT_EQ(add(root_reference, L"a"), make_reference(24, 1));
    EXPECT_EQ(add(root_reference, L"b"), make_reference(25, 1));
    EXPECT_EQ(table.end(), 26u);
}

TEST_F(FakeTableTest, ARecordThatIsUsedAgainHasTheNextSequenceNumber) {
    const std::uint64_t first = add(root_reference, L"a");
    add(root_reference, L"b");
    table.remove_name(root_reference, L"a");
    table.free(first);
    EXPECT_TRUE(listed(24).empty());
    EXPECT_THROW((void)table.file(first), std::logic_error);
    const std::uint64_t second = add(root_reference, L"c");
    EXPECT_EQ(second, make_reference(24, 2));
    EXPECT_THROW((void)table.file(first), std::logic_error);
    EXPECT_EQ(listed(24).at(0).reference, second);
}

TEST_F(FakeTableTest, TheSequenceNumberAfterTheHighestIsOne) {
    std::uint64_t reference = table.allocate(32);
    for (int i = 1; i < 0xFFFF; ++i) {
        table.free(reference);
        reference = table.allocate(32);
    }
    EXPECT_EQ(reference, make_reference(24, 0xFFFF));
    table.free(reference);
    EXPECT_EQ(table.allocate(32), make_reference(24, 1));
}

TEST_F(FakeTableTest, AReservedNumberIsNotGivenOut) {
    table.reserve(25);
    EXPECT_EQ(table.allocate(32), make_reference(24, 1));
    EXPECT_EQ(table.allocate(32), make_reference(26, 1));
    EXPECT_TRUE(listed(25).empty());
}

TEST_F(FakeTableTest, PathsAreFoundWithoutRegardToCase) {
    const std::uint64_t folder = add(root_reference, L"Données", FILE_ATTRIBUTE_DIRECTORY);
    const std::uint64_t file = add(folder, L"a.TXT");
    EXPECT_EQ(table.find(L"DONNÉES\\A.txt"), std::optional(file));
    EXPECT_EQ(table.find(L"Données\\b.txt"), std::nullopt);
    EXPECT_EQ(table.find(L"a.txt"), std::nullopt);
    EXPECT_EQ(table.find(L"Données\\a.txt\\c"), std::nullopt);
}

TEST_F(FakeTableTest, AFileOfSeveralNamesIsListedOnceUnderItsOldest) {
    const std::uint64_t folder = add(root_reference, L"f", FILE_ATTRIBUTE_DIRECTORY);
    const std::uint64_t file = add(root_reference, L"a");
    table.add_name(file, folder, L"b");
    ASSERT_EQ(listed(record_number(file)).size(), 1u);
    EXPECT_EQ(listed(record_number(file)).at(0).name, L"a");
    table.remove_name(root_reference, L"a");
    EXPECT_EQ(listed(record_number(file)).at(0).name, L"b");
    EXPECT_EQ(listed(record_number(file)).at(0).parent, folder);
    EXPECT_EQ(table.find(L"f\\b"), std::optional(file));
}

TEST_F(FakeTableTest, AChangedNameKeepsItsAge) {
    const std::uint64_t file = add(root_reference, L"a");
    table.add_name(file, root_reference, L"b");
    table.change_name(root_reference, L"A", root_reference, L"z");
    EXPECT_EQ(listed(24).at(0).name, L"z");
    EXPECT_EQ(table.find(L"a"), std::nullopt);
    EXPECT_EQ(table.find(L"z"), std::optional(file));
}

TEST_F(FakeTableTest, EveryNameIsVisitedWithItsPath) {
    const std::uint64_t folder = add(root_reference, L"f", FILE_ATTRIBUTE_DIRECTORY);
    add(folder, L"b");
    add(root_reference, L"a");
    std::vector<std::wstring> paths;
    table.visit(root_reference, L"",
                [&](const std::wstring& path, std::uint64_t) { paths.push_back(path); });
    EXPECT_EQ(paths, (std::vector<std::wstring>{L"a", L"f", L"f\\b"}));
}

TEST_F(FakeTableTest, PathsComeApartAtTheLastSeparator) {
    EXPECT_EQ(folder_of(L"a\\b\\c"), L"a\\b");
    EXPECT_EQ(name_of(L"a\\b\\c"), L"c");
    EXPECT_EQ(folder_of(L"c"), L"");
    EXPECT_EQ(name_of(L"c"), L"c");
}

}  // namespace
}  // namespace larkspine::testing
