// Scans of a folder in which each system call fails at each of its uses.
#include "app/run_sweep.h"

#include <gtest/gtest.h>
#include <string>
#include <vector>

#include "base/path_forms.h"
#include "support/temp_tree.h"

namespace larkspine::testing {
namespace {

class RunSweepTest : public ::testing::Test {
  protected:
    RunSweepTest() {
        tree.file(L"a", "same");
        tree.file(L"b", "same");
        tree.file(L"c", "else");
        tree.file(L"sub\\d", "same");
        tree.sized_file(L"big 1", 140'000);
        tree.sized_file(L"sub\\big 2", 140'000);
        tree.hard_link(L"z", tree.path(L"a"));
        swept.root = tree.root();
        swept.folder = strip_long_path_prefix(tree.root());
        for (const wchar_t* name : {L"a", L"b", L"c", L"sub\\d", L"big 1", L"sub\\big 2", L"z"})
            swept.files.push_back(tree.path(name));
        swept.link = tree.path(L"z");
        swept.options = {L"--workers", L"2"};
    }
    // Every call and every start of a thread.
    void sweep_everything(std::size_t at_least) {
        std::size_t uses = runs.sweep(swept_folder_calls());
        uses += runs.sweep_threads();
        EXPECT_GE(uses, at_least);
        RecordProperty("uses", static_cast<int>(uses));
    }

    TempTree tree;
    SweptRun swept;
    ImportReset reset;
    RunSweep runs;
};

TEST_F(RunSweepTest, AFirstRunSurvivesEveryFailingCall) {
    runs.begin(swept, false);
    sweep_everything(100);
}

TEST_F(RunSweepTest, ARunWithAnIndexSurvivesEveryFailingCall) {
    runs.begin(swept, true);
    sweep_everything(50);
}

TEST_F(RunSweepTest, ARunAfterAMoveSurvivesEveryFailingCall) {
    runs.begin(swept, true);
    tree.remove_file(L"sub\\d");
    swept.files[3] = tree.file(L"sub\\moved", "same");
    ASSERT_TRUE(MoveFileExW(tree.path(L"b").c_str(), tree.path(L"sub\\b").c_str(), 0));
    swept.files[1] = tree.path(L"sub\\b");
    runs.begin_with_present_index(swept);
    sweep_everything(50);
}

TEST_F(RunSweepTest, ARunThatVerifiesBytesSurvivesEveryFailingCall) {
    runs.runs_again = false;
    swept.options.emplace_back(L"--verify-bytes");
    runs.begin(swept, false);
    sweep_everything(100);
}

TEST_F(RunSweepTest, ARunWithoutAnIndexSurvivesEveryFailingCall) {
    runs.runs_again = false;
    swept.options.emplace_back(L"--no-index");
    runs.begin(swept, false);
    sweep_everything(50);
}

TEST_F(RunSweepTest, ARunThatRebuildsItsIndexSurvivesEveryFailingCall) {
    runs.runs_again = false;
    runs.begin(swept, true);
    swept.options.emplace_back(L"--rebuild-index");
    runs.begin_with_present_index(swept);
    sweep_everything(100);
}

TEST_F(RunSweepTest, ATemporaryFileThatCannotBeDeletedStaysUntilTheNextSave) {
    runs.begin(swept, true);
    EXPECT_EQ(runs.sweep(swept_delete(), &swept_flush()), 1u);
}

TEST_F(RunSweepTest, EveryFileThatAScanLosesIsCounted) {
    runs.runs_again = false;
    swept.whole_program = false;
    runs.begin(swept, false);
    sweep_everything(80);
}

TEST_F(RunSweepTest, EveryFileThatAScanWithAnIndexLosesIsCounted) {
    runs.runs_again = false;
    swept.whole_program = false;
    runs.begin(swept, true);
    sweep_everything(30);
}

// The program owns its console, so each run ends with the pause.
class RunConsoleSweepTest : public ::testing::Test {
  protected:
    RunConsoleSweepTest() {
        swept.root = tree.root();
        swept.folder = strip_long_path_prefix(tree.root());
        for (const wchar_t* name : {L"a", L"b"})
            swept.files.push_back(tree.file(name, "same"));
        swept.options = {L"--no-index", L"--workers", L"1"};
        runs.runs_again = false;
        runs.begin(swept, false);
    }

    TempTree tree;
    SweptRun swept;
    ImportReset reset;
    RunSweep runs{ProgramStreams::Kind::console};
};

TEST_F(RunConsoleSweepTest, ARunOnAConsoleSurvivesEveryFailingCall) {
    const std::size_t uses = runs.sweep(swept_console_calls());
    EXPECT_GE(uses, 60u);
    RecordProperty("uses", static_cast<int>(uses));
}

TEST_F(RunConsoleSweepTest, ARunOnAConsoleSurvivesEveryThreadThatCannotBeStarted) {
    EXPECT_EQ(runs.sweep_threads(), 2u) << "one for the progress block, one worker";
}

}  // namespace
}  // namespace larkspine::testing
