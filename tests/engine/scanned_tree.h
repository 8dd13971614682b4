// Scans of a folder without an index.
#pragma once

#include <gtest/gtest.h>

#include "engine/scan_driver.h"
#include "support/reference_groups.h"
#include "support/temp_tree.h"

namespace larkspine::testing {

class ScannedTreeTest : public ::testing::Test {
  protected:
    ScannedTreeTest() {
        options.root = tree.root();
        options.workers = 2;
        options.index_mode = IndexMode::disabled;
    }

    ScanResult run() { return scan(options, progress); }

    TempTree tree;
    ScanOptions options;
    ScanProgress progress;
};

}  // namespace larkspine::testing
