// Scans of a whole NTFS volume in which each system call fails at each of its uses.
#include <cstddef>
#include <gtest/gtest.h>

#include "app/swept_volume.h"
#include "support/temp_tree.h"

namespace larkspine::testing {
namespace {

class RunVolumeSweepTest : public SweptVolumeTest {
  protected:
    RunVolumeSweepTest() {
        volume.write(L"a", "same");
        volume.write(L"b", "same");
        volume.write(L"c", "else");
        volume.write(L"f\\d", "same");
        volume.write(L"f\\big", patterned_bytes(140'000));
        volume.write(L"big", patterned_bytes(140'000));
        list_files();
    }
    void change_the_volume() {
        volume.write(L"new", "same");
        volume.rename(L"f\\d", L"moved");
        volume.overwrite(L"b", 0, "else");
        list_files();
    }
    void sweep_everything(std::size_t at_least) {
        std::size_t uses = runs.sweep(swept_folder_calls());
        uses += runs.sweep(swept_volume_calls());
        uses += runs.sweep_threads();
        EXPECT_GE(uses, at_least);
        RecordProperty("uses", static_cast<int>(uses));
        EXPECT_EQ(volume.open_handles(), 0u);
    }
};

TEST_F(RunVolumeSweepTest, AFirstRunByTheMftSurvivesEveryFailingCall) {
    runs.begin(swept, false);
    sweep_everything(80);
}

TEST_F(RunVolumeSweepTest, AnUnchangedVolumeSurvivesEveryFailingCall) {
    runs.begin(swept, true);
    sweep_everything(20);
}

TEST_F(RunVolumeSweepTest, ADeltaSurvivesEveryFailingCall) {
    runs.begin(swept, true);
    change_the_volume();
    runs.begin_with_present_index(swept);
    sweep_everything(60);
}

TEST_F(RunVolumeSweepTest, EveryFileThatAScanByTheMftLosesIsCounted) {
    runs.runs_again = false;
    swept.whole_program = false;
    runs.begin(swept, false);
    sweep_everything(60);
}

TEST_F(RunVolumeSweepTest, EveryFileThatADeltaLosesIsCounted) {
    runs.runs_again = false;
    swept.whole_program = false;
    runs.begin(swept, true);
    change_the_volume();
    runs.begin_with_present_index(swept);
    sweep_everything(40);
}

}  // namespace
}  // namespace larkspine::testing
