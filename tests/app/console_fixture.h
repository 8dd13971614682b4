// Tests that draw into a screen buffer of a console that only this process has. The output of the
// tests themselves still goes to its pipe or file.
#pragma once

#include <gtest/gtest.h>
#include <memory>

#include "support/headless_console.h"

namespace larkspine::testing {

// The tests of a suite share the console. A SetUp that follows this one must first ask IsSkipped.
class HeadlessConsoleTest : public ::testing::Test {
  protected:
    static void SetUpTestSuite() { console_ = std::make_unique<HeadlessConsole>(); }
    static void TearDownTestSuite() { console_.reset(); }

    void SetUp() override {
        if (!console_->available())
            GTEST_SKIP() << "this process cannot get its own console here";
    }

  private:
    static inline std::unique_ptr<HeadlessConsole> console_;
};

}  // namespace larkspine::testing
