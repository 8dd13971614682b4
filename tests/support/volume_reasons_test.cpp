// The reasons of a fake volume's records: alone, combined, and gathered by a file that is held
// open.
#include <gtest/gtest.h>
#include <stdexcept>
#include <string>
#include <vector>

#include "support/journalled_volume.h"

namespace larkspine::testing {
namespace {

using VolumeReasonsTest = JournalledVolumeTest;

TEST_F(VolumeReasonsTest, ReasonsAccumulateWhileTheFileIsHeldOpen) {
    volume.write(L"a", "0123");
    forget();
    volume.open(L"a");
    EXPECT_EQ(changes(), Changes{});
    volume.append(L"a", "4");
    volume.append(L"a", "5");  // no new reason
    volume.overwrite(L"a", 0, "x");
    volume.set_attributes(L"a", FILE_ATTRIBUTE_HIDDEN);
    EXPECT_EQ(changes(), (Changes{{0x2, L"a"}, {0x3, L"a"}, {0x8003, L"a"}}));
    volume.close(L"a");
    EXPECT_EQ(changes(), (Changes{{0x80008003, L"a"}}));
    volume.append(L"a", "6");
    EXPECT_EQ(changes(), (Changes{{0x2, L"a"}, {0x80000002, L"a"}}));
}

TEST_F(VolumeReasonsTest, ARenameOfAHeldFileKeepsItsReasonsButNeverCombinesOldAndNewName) {
    volume.write(L"a", "0123");
    forget();
    volume.open(L"a");
    volume.append(L"a", "4");
    volume.rename(L"a", L"b");
    volume.rename(L"b", L"c");
    volume.close(L"c");
    EXPECT_EQ(changes(), (Changes{{0x2, L"a"},
                                  {0x1002, L"a"},
                                  {0x2002, L"b"},
                                  {0x1002, L"b"},
                                  {0x2002, L"c"},
                                  {0x80002002, L"c"}}));
}

TEST_F(VolumeReasonsTest, EachLinkChangeOfAHeldFileIsOneRecordWithTheReasonsGatheredSoFar) {
    volume.write(L"a", "x");
    forget();
    volume.open(L"a");
    volume.link(L"a", L"b");
    volume.append(L"a", "y");
    volume.link(L"a", L"c");
    volume.remove(L"b");
    EXPECT_EQ(changes(),
              (Changes{{0x80010000, L"b"}, {0x2, L"a"}, {0x80010002, L"c"}, {0x80010002, L"b"}}));
    volume.append(L"a", "z");  // recorded already: the link was closed, not the file
    volume.close(L"a");
    EXPECT_EQ(changes(), (Changes{{0x80000002, L"a"}}));
}

TEST_F(VolumeReasonsTest, EveryRepeatableReasonCanBeJournalledAlone) {
    volume.write(L"a", "x");
    const std::uint64_t time = write_time(L"a");
    forget();
    for (const std::uint32_t reason : usn_reason::repeatable) {
        volume.journal_reasons(L"a", reason);
        const Changes one{{0x80000000, L"a"}};
        const Changes two{{reason, L"a"}, {0x80000000 | reason, L"a"}};
        EXPECT_EQ(changes(), reason == 0x80000000 ? one : two) << reason;
    }
    EXPECT_EQ(write_time(L"a"), time);
    EXPECT_EQ(contents(L"a"), "x");
}

TEST_F(VolumeReasonsTest, ReasonsCombineInOneRecordOrAccumulateOverSeveral) {
    volume.write(L"a", "x");
    forget();
    volume.journal_reasons(L"a", 0x80880400);
    EXPECT_EQ(changes(), (Changes{{0x80880400, L"a"}}));
    volume.journal_reasons(L"a", 0x880400);
    EXPECT_EQ(changes(),
              (Changes{{0x400, L"a"}, {0x80400, L"a"}, {0x880400, L"a"}, {0x80880400, L"a"}}));
}

TEST_F(VolumeReasonsTest, JournalledReasonsJoinThoseOfAFileThatIsHeldOpen) {
    volume.write(L"a", "x");
    forget();
    volume.open(L"a");
    volume.append(L"a", "y");
    volume.journal_reasons(L"a", 0x800);
    volume.journal_reasons(L"a", 0x800);
    EXPECT_EQ(changes(), (Changes{{0x2, L"a"}, {0x802, L"a"}}));
    volume.journal_reasons(L"a", 0x80000000);  // another handle of the file
    EXPECT_EQ(changes(), (Changes{{0x80000802, L"a"}}));
    volume.close(L"a");
    EXPECT_EQ(changes(), (Changes{{0x80000802, L"a"}}));
}

TEST_F(VolumeReasonsTest, ReasonsThatBelongToOtherOperationsAreRefused) {
    volume.write(L"a", "x");
    forget();
    for (const std::uint32_t reason : {0x100u, 0x200u, 0x1000u, 0x2000u, 0x10000u})
        EXPECT_THROW(volume.journal_reasons(L"a", reason | 0x80000000), std::logic_error);
    EXPECT_EQ(changes(), Changes{});
}

TEST_F(VolumeReasonsTest, AReparsePointShowsInTheJournalInQueriesAndInListings) {
    volume.write(L"f\\a", "x");
    volume.write(L"f\\b", "x");
    const std::uint64_t f = volume.reference_of(L"f");
    forget();
    volume.set_reparse_point(L"f\\b", true);
    EXPECT_EQ(changes(), (Changes{{0x100000, L"b", f}, {0x80100000, L"b", f}}));
    EXPECT_EQ(volume.journalled().back().attributes, 0x420u);
    EXPECT_EQ(GetFileAttributesW(volume.path(L"f\\b").c_str()), 0x420u);
    EXPECT_EQ(listed(L"f"), (std::vector<std::wstring>{L"a 20", L"b 420"}));
    volume.append(L"f\\b", "y");
    EXPECT_EQ(volume.journalled().back().attributes, 0x420u) << "still a reparse point";
    volume.set_reparse_point(L"f\\b", false);
    EXPECT_EQ(volume.journalled().back().attributes, 0x20u);
    EXPECT_EQ(listed(L"f"), (std::vector<std::wstring>{L"a 20", L"b 20"}));
}

TEST_F(VolumeReasonsTest, ClosingAnUnchangedFileJournalsNothing) {
    volume.write(L"a", "0123");
    forget();
    volume.open(L"a");
    volume.close(L"a");
    EXPECT_EQ(changes(), Changes{});
}

}  // namespace
}  // namespace larkspine::testing
