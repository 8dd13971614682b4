#include <algorithm>
#include <atomic>
#include <chrono>
#include <gtest/gtest.h>
#include <mutex>
#include <optional>
#include <string>
#include <system_error>
#include <vector>

#include "app/progress_display.h"
#include "support/fake_console.h"
#include "support/import_replacement.h"
#include "support/thread_starts.h"

namespace larkspine::testing {
namespace {

using Calls = FakeConsole::Calls;
using Clock = std::chrono::steady_clock;
using std::chrono::milliseconds;

// What a frame writes from this row on when nothing has been counted yet.
Calls frame_at(int row) {
    const char* const lines[] = {"Analyse : [░░░░░░░░░░░░░░░░░░░░] 0 %", "Temps écoulé : 00:00:00",
                                 "Documents détectés : 0", "Doublons trouvés : 0"};
    Calls calls;
    for (const char* line : lines) {
        calls.push_back("SetConsoleCursorPosition 0," + std::to_string(row++));
        calls.push_back(std::string("WriteConsoleW ") + line);
        calls.push_back("WriteConsoleW         ");
    }
    return calls;
}

Calls operator+(Calls first, const Calls& second) {
    first.insert(first.end(), second.begin(), second.end());
    return first;
}

const Calls mode = {"GetConsoleMode output"};
const Calls hide = {"GetConsoleCursorInfo", "SetConsoleCursorInfo 25 hidden"};
const Calls reserve = {"WriteConsoleW \r\n\r\n\r\n\r\n", "GetConsoleScreenBufferInfo"};
const Calls show = {"SetConsoleCursorInfo 25 visible"};

Calls below_at(int row) {
    return {"GetConsoleScreenBufferInfo", "SetConsoleCursorPosition 0," + std::to_string(row)};
}

// The display on a fake console whose cursor stands in row 10. Its thread sleeps until the
// display is stopped, so that the calls are those of start and stop, unless a test lets it draw.
class ProgressDisplayCallsTest : public ::testing::Test {
  protected:
    ProgressDisplayCallsTest() {
        hooks().Sleep = [this](DWORD time) { sleep(time); };
    }
    void TearDown() override { display.stop(); }

    void start() { display.start(progress); }
    // The calls of a start and a stop.
    Calls run() {
        start();
        display.stop();
        return console.calls();
    }
    std::size_t frames() const { return console.calls("WriteConsoleW Analyse").size(); }
    void wait_for_frames(std::size_t count) {
        const Clock::time_point latest = Clock::now() + std::chrono::seconds(10);
        while (frames() < count && Clock::now() < latest)
            real_imports().Sleep(1);
        ASSERT_GE(frames(), count);
    }

    ImportReset reset;
    FakeConsole console;
    ScanProgress progress;
    ProgressDisplay display;
    std::atomic<bool> draws = false;

    std::vector<DWORD> sleeps() {
        const std::lock_guard lock(mutex_);
        return sleeps_;
    }

  private:
    void sleep(DWORD time) {
        // The thread library sleeps too, on the thread that starts and stops.
        if (GetCurrentThreadId() == test_thread_ || time == 0)
            return real_imports().Sleep(time);
        {
            const std::lock_guard lock(mutex_);
            sleeps_.push_back(time);
        }
        while (!draws && display.running)
            real_imports().Sleep(1);
        real_imports().Sleep(time);
    }

    const DWORD test_thread_ = GetCurrentThreadId();
    std::mutex mutex_;
    std::vector<DWORD> sleeps_;
};

TEST_F(ProgressDisplayCallsTest, StartAndStopMakeTheseCallsInThisOrder) {
    start();
    const Calls started = mode + hide + reserve + frame_at(6);
    EXPECT_EQ(console.calls(), started);
    display.stop();
    EXPECT_EQ(console.calls(), started + frame_at(6) + below_at(10) + show);
}

TEST_F(ProgressDisplayCallsTest, OneThreadIsStartedAndEndedWithTheDisplay) {
    const std::size_t before = threads_started();
    start();
    EXPECT_EQ(threads_started(), before + 1);
    EXPECT_TRUE(display.thread.joinable());
    start();
    EXPECT_EQ(threads_started(), before + 1);
    display.stop();
    EXPECT_FALSE(display.thread.joinable());
}

TEST_F(ProgressDisplayCallsTest, OnARedirectedOutputOnlyTheConsoleModeIsQueried) {
    console.redirected = {console.output};
    const std::size_t before = threads_started();
    EXPECT_EQ(run(), mode);
    EXPECT_EQ(threads_started(), before);
}

TEST_F(ProgressDisplayCallsTest, ARedirectedRunAfterOneOnAConsoleDrawsNothing) {
    const Calls first = run();
    console.redirected = {console.output};
    EXPECT_EQ(run(), first + mode);
}

TEST_F(ProgressDisplayCallsTest, WithoutAProgressRecordNothingIsDrawn) {
    display.console = console.output;
    display.enabled = true;
    display.draw();
    EXPECT_EQ(console.calls(), Calls{});
}

TEST_F(ProgressDisplayCallsTest, WithoutAnOutputHandleNothingIsCalled) {
    const std::size_t before = threads_started();
    for (HANDLE none : {HANDLE{nullptr}, INVALID_HANDLE_VALUE}) {
        console.output = none;
        EXPECT_EQ(run(), Calls{});
    }
    EXPECT_EQ(threads_started(), before);
}

TEST_F(ProgressDisplayCallsTest,
       WhenTheScreenBufferCannotBeQueriedTheCursorIsRestoredAndNothingIsDrawn) {
    console.failing = {"GetConsoleScreenBufferInfo"};
    const std::size_t before = threads_started();
    start();
    const Calls expected = mode + hide + reserve + show;
    EXPECT_EQ(console.calls(), expected);
    EXPECT_FALSE(display.enabled);
    display.draw();
    display.stop();
    EXPECT_EQ(console.calls(), expected);
    EXPECT_EQ(threads_started(), before);
}

TEST_F(ProgressDisplayCallsTest, WhenNeitherScreenBufferNorCursorCanBeQueriedNothingIsRestored) {
    console.failing = {"GetConsoleScreenBufferInfo", "GetConsoleCursorInfo"};
    EXPECT_EQ(run(), mode + Calls{"GetConsoleCursorInfo"} + reserve);
}

TEST_F(ProgressDisplayCallsTest, AfterAFailedScreenBufferQueryTheNextStartDrawsTheBlock) {
    console.failing = {"GetConsoleScreenBufferInfo"};
    const Calls failed = run();
    console.failing.clear();
    EXPECT_EQ(run(),
              failed + mode + hide + reserve + frame_at(6) + frame_at(6) + below_at(10) + show);
}

TEST_F(ProgressDisplayCallsTest, ACursorThatCannotBeQueriedIsNeitherHiddenNorRestored) {
    console.failing = {"GetConsoleCursorInfo"};
    EXPECT_EQ(run(), mode + Calls{"GetConsoleCursorInfo"} + reserve + frame_at(6) + frame_at(6) +
                         below_at(10));
}

TEST_F(ProgressDisplayCallsTest, ACursorSavedInAnEarlierRunIsNotRestoredInALaterOne) {
    run();
    console.failing = {"GetConsoleCursorInfo"};
    run();
    EXPECT_EQ(console.calls("SetConsoleCursorInfo").size(), 2u);
}

TEST_F(ProgressDisplayCallsTest, ACursorThatCannotBeHiddenIsStillRestored) {
    console.failing = {"SetConsoleCursorInfo"};
    EXPECT_EQ(run(), mode + hide + reserve + frame_at(6) + frame_at(6) + below_at(10) + show);
}

TEST_F(ProgressDisplayCallsTest, FailedWritesAndCursorMovesSkipNoOtherCall) {
    console.failing = {"WriteConsoleW", "SetConsoleCursorPosition"};
    EXPECT_EQ(run(), mode + hide + reserve + frame_at(6) + frame_at(6) + below_at(10) + show);
}

TEST_F(ProgressDisplayCallsTest, AHiddenCursorIsRestoredHidden) {
    console.cursor = {60, FALSE};
    run();
    EXPECT_EQ(console.calls("SetConsoleCursorInfo"),
              (Calls{"SetConsoleCursorInfo 60 hidden", "SetConsoleCursorInfo 60 hidden"}));
}

TEST_F(ProgressDisplayCallsTest, TheBlockNeverStandsAboveTheFirstRow) {
    for (SHORT row : {SHORT{3}, SHORT{0}}) {
        console.place = {5, row};
        start();
        EXPECT_EQ(display.origin.Y, 0);
        EXPECT_EQ(display.origin.X, 0);
        display.stop();
    }
    console.place = {5, 5};
    start();
    EXPECT_EQ(display.origin.Y, 1);
    EXPECT_EQ(display.origin.X, 0);
}

TEST_F(ProgressDisplayCallsTest, TheCursorIsLeftBelowTheBlockButNeverBelowTheBuffer) {
    const auto last_place = [this](SHORT height) {
        console.size.Y = height;
        run();
        return console.calls("SetConsoleCursorPosition").back();
    };
    EXPECT_EQ(last_place(12), "SetConsoleCursorPosition 0,10");
    EXPECT_EQ(last_place(11), "SetConsoleCursorPosition 0,10");
    EXPECT_EQ(last_place(10), "SetConsoleCursorPosition 0,9");
    EXPECT_EQ(last_place(3), "SetConsoleCursorPosition 0,2");
}

TEST_F(ProgressDisplayCallsTest, WhenTheBufferHeightIsUnknownAtTheEndTheCursorIsLeftBelowTheBlock) {
    console.size.Y = 3;
    start();
    console.failing = {"GetConsoleScreenBufferInfo"};
    display.stop();
    EXPECT_EQ(console.calls(),
              mode + hide + reserve + frame_at(6) + frame_at(6) + below_at(10) + show);
}

TEST_F(ProgressDisplayCallsTest, TheThreadDrawsEightTimesASecond) {
    draws = true;
    start();
    const Clock::time_point begin = Clock::now();
    wait_for_frames(5);
    EXPECT_GE(Clock::now() - begin, 4 * milliseconds(125) - milliseconds(10));
    display.stop();
}

TEST_F(ProgressDisplayCallsTest, TheThreadSleepsForTheIntervalInMillisecondsRoundedUp) {
    draws = true;
    start();
    wait_for_frames(5);
    display.stop();
    const std::vector<DWORD> times = sleeps();
    ASSERT_GE(times.size(), 4u);
    // The clock has moved on by less than a millisecond since the interval began, except when the
    // thread had to wait for a processor.
    EXPECT_EQ(*std::max_element(times.begin(), times.end()), 125u);
}

TEST_F(ProgressDisplayCallsTest, ASleepThatEndsEarlyIsContinued) {
    hooks().Sleep = [](DWORD time) { real_imports().Sleep(std::min(time, DWORD{10})); };
    start();
    const Clock::time_point begin = Clock::now();
    wait_for_frames(3);
    EXPECT_GE(Clock::now() - begin, 2 * milliseconds(125) - milliseconds(10));
    display.stop();
}

TEST_F(ProgressDisplayCallsTest, StopWaitsForTheIntervalAndTheThreadDrawsNoMore) {
    start();
    while (sleeps().empty())
        real_imports().Sleep(1);
    const Clock::time_point begin = Clock::now();
    display.stop();
    EXPECT_LT(Clock::now() - begin, std::chrono::seconds(1));
    EXPECT_EQ(frames(), 2u);
}

TEST_F(ProgressDisplayCallsTest, TwoFramesAreNeverDrawnAtOnce) {
    draws = true;
    std::atomic<int> inside = 0;
    std::atomic<bool> overlapped = false;
    console.on_call = [&](const std::string&) {
        overlapped = overlapped || ++inside > 1;
        real_imports().Sleep(5);
        --inside;
    };
    start();
    wait_for_frames(2);
    display.stop();
    EXPECT_FALSE(overlapped);
    EXPECT_EQ(console.calls("WriteConsoleW Doublons").size(), frames());
}

TEST_F(ProgressDisplayCallsTest, StoppingTheDisplayFromItsOwnThreadThrowsADeadlockError) {
    draws = true;
    std::optional<std::error_code> raised;
    std::atomic<bool> done = false;
    console.on_call = [&, test_thread = GetCurrentThreadId()](const std::string&) {
        if (GetCurrentThreadId() == test_thread || done)
            return;
        try {
            display.stop();
        } catch (const std::system_error& error) {
            raised = error.code();
        }
        done = true;
    };
    start();
    wait_for_frames(2);
    display.stop();
    EXPECT_EQ(raised,
              std::optional(std::make_error_code(std::errc::resource_deadlock_would_occur)));
    EXPECT_EQ(console.calls("SetConsoleCursorInfo").back(), show[0]);
}

TEST_F(ProgressDisplayCallsTest, StartThrowsWhenItsThreadCannotBeStartedAndStopTidiesUp) {
    std::optional<std::error_code> raised;
    try {
        const NoMoreThreads none;
        start();
    } catch (const std::system_error& error) {
        raised = error.code();
    }
    EXPECT_EQ(raised,
              std::optional(std::make_error_code(std::errc::resource_unavailable_try_again)));
    const Calls started = mode + hide + reserve + frame_at(6);
    EXPECT_EQ(console.calls(), started);
    display.stop();
    EXPECT_EQ(console.calls(), started + frame_at(6) + below_at(10) + show);
}

}  // namespace
}  // namespace larkspine::testing
