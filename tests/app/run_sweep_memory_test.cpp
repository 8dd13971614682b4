// Runs in which each allocation fails, on any thread. Each run ends with its message and exit code
// 3, and keeps everything that was there before.
#include <gtest/gtest.h>

#include "app/run_sweep.h"
#include "app/swept_volume.h"
#include "base/path_forms.h"
#include "support/temp_tree.h"

namespace larkspine::testing {
namespace {

class RunMemorySweepTest : public ::testing::Test {
  protected:
    RunMemorySweepTest() {
        swept.root = tree.root();
        swept.folder = strip_long_path_prefix(tree.root());
        swept.options = {L"--workers", L"2", L"--verify-bytes", L"--stats"};
        for (const wchar_t* name : {L"a", L"sub\\b", L"sub\\c"})
            swept.files.push_back(tree.file(name, "same"));
    }
    void expect_survived(RunSweep& runs) {
        const std::size_t once = runs.sweep_allocations(Shortage::once);
        EXPECT_GE(once, 80u);
        const std::size_t lasting = runs.sweep_allocations(Shortage::lasting);
        EXPECT_GE(lasting, 80u);
        RecordProperty("allocations", static_cast<int>(once + lasting));
        runs.run_quietly();
    }

    TempTree tree;
    SweptRun swept;
    ImportReset reset;
};

TEST_F(RunMemorySweepTest, AFirstRunReportsEveryFailedAllocation) {
    RunSweep runs;
    runs.begin(swept, false);
    expect_survived(runs);
}

TEST_F(RunMemorySweepTest, ARunWithAnIndexReportsEveryFailedAllocation) {
    RunSweep runs;
    runs.begin(swept, true);
    tree.file(L"sub\\new", "same");
    swept.files.push_back(tree.path(L"sub\\new"));
    runs.begin_with_present_index(swept);
    expect_survived(runs);
}

// The progress block's thread is started and joined around the failure.
TEST_F(RunMemorySweepTest, ARunOnAConsoleReportsEveryFailedAllocation) {
    RunSweep runs(ProgramStreams::Kind::console);
    runs.begin(swept, false);
    EXPECT_GE(runs.sweep_allocations(Shortage::lasting, 3), 25u);
    runs.run_quietly();
}

class RunVolumeMemorySweepTest : public SweptVolumeTest {
  protected:
    RunVolumeMemorySweepTest() {
        for (const wchar_t* name : {L"a", L"f\\b", L"f\\c"})
            volume.write(name, "same");
        list_files();
    }
    void expect_survived() {
        const std::size_t allocations = runs.sweep_allocations(Shortage::once);
        EXPECT_GE(allocations, 50u);
        RecordProperty("allocations", static_cast<int>(allocations));
        runs.run_quietly();
    }
};

TEST_F(RunVolumeMemorySweepTest, AFirstRunByTheMftReportsEveryFailedAllocation) {
    runs.begin(swept, false);
    expect_survived();
}

TEST_F(RunVolumeMemorySweepTest, ADeltaReportsEveryFailedAllocation) {
    runs.begin(swept, true);
    volume.write(L"new", "same");
    volume.rename(L"f", L"g");
    list_files();
    runs.begin_with_present_index(swept);
    expect_survived();
}

}  // namespace
}  // namespace larkspine::testing
