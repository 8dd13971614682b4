// A whole fake NTFS volume for swept runs.
#pragma once

#include <gtest/gtest.h>
#include <string>

#include "app/run_sweep.h"
#include "base/path_forms.h"
#include "support/fake_volume.h"
#include "support/temp_tree.h"

namespace larkspine::testing {

class SweptVolumeTest : public ::testing::Test {
  protected:
    SweptVolumeTest() {
        swept.root = volume.root();
        swept.folder = strip_long_path_prefix(volume.root());
        swept.options = {L"--workers", L"2"};
    }
    // Tells the sweep which files the volume has now.
    void list_files() {
        swept.files.clear();
        for (const std::wstring& file : volume.files())
            swept.files.push_back(volume.path(file));
    }

    TempTree tree;
    SweptRun swept;
    FakeVolume volume{tree};
    RunSweep runs;
};

}  // namespace larkspine::testing
