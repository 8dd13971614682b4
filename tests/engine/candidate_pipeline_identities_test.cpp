// Several names of one file, and empty files, of which only the identity is read.
#include "base/win32_api.h"

#include <bit>
#include <gtest/gtest.h>
#include <optional>
#include <string>
#include <vector>

#include "engine/pipeline_fixture.h"
#include "fs/volume.h"

namespace larkspine::testing {
namespace {

using PipelineIdentitiesTest = PipelineTest;

TEST_F(PipelineIdentitiesTest, TwoHardLinksAloneAreNotReported) {
    add_link(L"b", add(L"a"));
    process();
    EXPECT_EQ(groups(), std::vector<Names>{});
    EXPECT_EQ(links(), (Counts{1, 1}));
    EXPECT_EQ(hashed(), (Counts{0, 0}));
}

TEST_F(PipelineIdentitiesTest, TheFirstOfThreeHardLinksInPathOrderIsReportedWithTheirCopy) {
    const detail::FileCandidate& original = add(L"k3");
    add_link(L"k2", original);
    add(L"copy");
    add_link(L"K1", original);
    process();
    EXPECT_EQ(groups(), (std::vector<Names>{{L"copy", L"K1"}}));
    EXPECT_EQ(links(), (Counts{1, 2}));
}

TEST_F(PipelineIdentitiesTest, EachFileWithSeveralNamesIsCountedOnce) {
    add_link(L"a2", add(L"a1"));
    add_link(L"b2", add(L"b1"));
    add(L"single");
    EXPECT_EQ(collapse(), (Names{L"a1", L"b1", L"single"}));
    EXPECT_EQ(links(), (Counts{2, 2}));
}

TEST_F(PipelineIdentitiesTest, TheIdentityThatTheSystemGivesIsStored) {
    const detail::FileCandidate& file = add(L"a");
    (void)collapse();
    const std::optional<FILE_ID_INFO> identity = file_identity_of(file.path);
    ASSERT_NE(identity, std::nullopt);
    EXPECT_EQ(file.has_file_id, true);
    EXPECT_EQ(file.volume_serial, identity->VolumeSerialNumber);
    EXPECT_EQ(file.file_id, std::bit_cast<detail::FileId>(identity->FileId));
}

TEST_F(PipelineIdentitiesTest, AStoredIdentityIsNotReadAgain) {
    identify(add_missing(L"b"), 1, 2, 3);
    identify(add_missing(L"a"), 1, 2, 3);
    EXPECT_EQ(collapse(), Names{L"a"});
    EXPECT_EQ(links(), (Counts{1, 1}));
}

TEST_F(PipelineIdentitiesTest, EveryPartOfTheIdentityDistinguishesFiles) {
    identify(add_missing(L"a"), 1, 2, 3);
    identify(add_missing(L"b"), 9, 2, 3);
    identify(add_missing(L"c"), 1, 9, 3);
    identify(add_missing(L"d"), 1, 2, 9);
    EXPECT_EQ(collapse(), (Names{L"a", L"b", L"c", L"d"}));
    EXPECT_EQ(links(), (Counts{0, 0}));
}

// An entry of a table scan has only the low half of the volume's serial number; any other has all
// of it.
TEST_F(PipelineIdentitiesTest, TwoNamesOfOneFileFoundByTableAndByWalkAreNoDuplicates) {
    identify(add_missing(L"b"), 0x1B0C'7D42, 2);
    identify(add_missing(L"a"), 0x5EA1'90F3'1B0C'7D42, 2);
    EXPECT_EQ(collapse(), Names{L"a"});
    EXPECT_EQ(links(), (Counts{1, 1}));
    EXPECT_EQ(list[0]->volume_serial, 0x1B0C'7D42u) << "what is stored stays as it was found";
    EXPECT_EQ(list[1]->volume_serial, 0x5EA1'90F3'1B0C'7D42u);
}

TEST_F(PipelineIdentitiesTest, SurvivorsAreInPathOrderWhetherIdentifiedOrNot) {
    for (const wchar_t* name : {L"F", L"b", L"d"})
        add(name);
    for (const wchar_t* name : {L"e", L"C", L"a"})
        add_missing(name);
    EXPECT_EQ(collapse(), (Names{L"a", L"b", L"C", L"d", L"e", L"F"}));
    EXPECT_EQ(list[3]->has_file_id, false);
    EXPECT_EQ(statistics.failures, 0U);
}

// A folder listing may still show no size for a new file that a program is writing.
TEST_F(PipelineIdentitiesTest, AFileListedAsEmptyThatHasContentsIsNotGroupedWithEmptyFiles) {
    size = 7;
    add(L"a log that is being written").size = 0;
    size = 0;
    add(L"b");
    add(L"c");
    process(true);
    EXPECT_EQ(groups(), (std::vector<Names>{{L"b", L"c"}}));
    EXPECT_EQ(statistics.empty_files_grouped, 2U);
    EXPECT_EQ(statistics.failures, 1U);
    EXPECT_FALSE(list[0]->has_file_id) << "so that the next run asks again";
}

class EmptyFilesTest : public PipelineTest, public ::testing::WithParamInterface<bool> {
  protected:
    EmptyFilesTest() { size = 0; }
    const bool verify_bytes = GetParam();
};

TEST_P(EmptyFilesTest, EmptyFilesAreOneGroupWithoutBeingHashedOrCompared) {
    add(L"b\\empty");
    add(L"a\\empty");
    process(verify_bytes);
    EXPECT_EQ(groups(), (std::vector<Names>{{L"a\\empty", L"b\\empty"}}));
    EXPECT_EQ(results[0][0].size, 0U);
    EXPECT_EQ(statistics.empty_files_grouped, 2U);
    EXPECT_EQ(hashed(), (Counts{0, 0}));
    EXPECT_EQ(statistics.byte_comparisons, 0U);
    EXPECT_EQ(progress.duplicates, 1U);
}

TEST_P(EmptyFilesTest, NamesOfOneEmptyFileAreNotReported) {
    add_link(L"b", add(L"a"));
    process(verify_bytes);
    EXPECT_EQ(groups(), std::vector<Names>{});
    EXPECT_EQ(statistics.empty_files_grouped, 0U);
}

INSTANTIATE_TEST_SUITE_P(WithAndWithoutVerification, EmptyFilesTest, ::testing::Bool());

}  // namespace
}  // namespace larkspine::testing
