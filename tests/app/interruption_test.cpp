// Ctrl+C and similar events: what the handler does at each stage of a run, and how an interrupted
// run ends.
#include "app/interruption.h"

#include <atomic>
#include <functional>
#include <gtest/gtest.h>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "app/console_pause.h"
#include "app/run_fixture.h"
#include "support/fake_console.h"

namespace larkspine::testing {
namespace {

constexpr UINT control_c_exit = 0xC000013A;
const std::wstring kept =
    L"Analyse interrompue : les empreintes déjà calculées sont conservées dans l’index.\n";
const std::wstring plain = L"Analyse interrompue.\n";

PHANDLER_ROUTINE installed_handler() {
    PHANDLER_ROUTINE handler = nullptr;
    hooks().SetConsoleCtrlHandler = [&](PHANDLER_ROUTINE added, BOOL add) {
        EXPECT_TRUE(add);
        handler = added;
        return TRUE;
    };
    install_interruption_handler();
    hooks().SetConsoleCtrlHandler = nullptr;
    EXPECT_NE(handler, nullptr);
    return handler;
}

class InterruptionTest : public RunTest {
  protected:
    InterruptionTest() { tree.file(L"in\\a", "same"), tree.file(L"in\\b", "same"); }
    ~InterruptionTest() override { pause_on_exit = false; }

    // The exit code with which the event ends the process; none when it does not.
    std::optional<UINT> ended_by(DWORD event) {
        try {
            EXPECT_TRUE(handler(event));
        } catch (const ProcessEnded& ended) {
            return ended.code;
        }
        return std::nullopt;
    }
    // Makes the event happen while the first file is read.
    void interrupt_the_first_read(DWORD event = CTRL_C_EVENT) {
        hooks().ReadFile = [this, event](auto... arguments) {
            if (!interrupted.exchange(true)) {
                EXPECT_EQ(ended_by(event), std::nullopt);
            }
            return real_imports().ReadFile(arguments...);
        };
    }
    [[nodiscard]] bool report_exists() const { return file_exists(report); }

    FakeConsole console;
    PHANDLER_ROUTINE handler = installed_handler();
    ScanProgress progress;
    ProgressDisplay display;
    std::atomic<bool> interrupted{false};
};

TEST_F(InterruptionTest, AnEventOutsideAScanIsLeftToTheSystem) {
    for (const DWORD event :
         {CTRL_C_EVENT, CTRL_BREAK_EVENT, CTRL_CLOSE_EVENT, CTRL_LOGOFF_EVENT, CTRL_SHUTDOWN_EVENT})
        EXPECT_FALSE(handler(event)) << event;
    {
        ScanInterruption scan(progress, display);
        scan.finish();
        EXPECT_FALSE(handler(CTRL_C_EVENT));
    }
    EXPECT_FALSE(handler(CTRL_C_EVENT));
    EXPECT_FALSE(progress.stop_requested);
    EXPECT_EQ(errors.str(), L"");
}

TEST_F(InterruptionTest, AnEventDuringTheEnumerationEndsTheProgramBelowTheBlock) {
    ScanInterruption scan(progress, display);
    EXPECT_EQ(ended_by(CTRL_C_EVENT), control_c_exit);
    EXPECT_EQ(errors.str(), plain);
    EXPECT_EQ(errors.flushed(), plain);
    EXPECT_TRUE(console.cursor.bVisible);
    const FakeConsole::Calls calls = console.calls();
    EXPECT_EQ(calls[calls.size() - 2], "SetConsoleCursorInfo 25 visible");
}

// Runs `meanwhile` on another thread when the display next queries the screen buffer. At a start
// the cursor has just been hidden; at a stop it is not visible again yet.
class DuringTheNextQuestion {
  public:
    DuringTheNextQuestion(FakeConsole& console, std::function<void()> meanwhile) {
        console.on_call = [this, meanwhile](const std::string& call) {
            if (call != "GetConsoleScreenBufferInfo" || asked_)
                return;
            asked_ = true;
            thread_ = std::thread([this, meanwhile] {
                begun_ = true;
                meanwhile();
            });
            while (!begun_)
                std::this_thread::yield();
            for (int turn = 0; turn < 1000; ++turn)
                std::this_thread::yield();
        };
    }
    void join() { thread_.join(); }

  private:
    std::atomic<bool> asked_{false};
    std::atomic<bool> begun_{false};
    std::thread thread_;
};

TEST_F(InterruptionTest, AnEventWhileTheDisplayStartsEndsTheProgramBelowTheBlock) {
    std::optional<UINT> code;
    DuringTheNextQuestion event(console, [&] { code = ended_by(CTRL_C_EVENT); });
    ScanInterruption scan(progress, display);
    event.join();
    EXPECT_EQ(code, control_c_exit);
    EXPECT_EQ(console.calls("SetConsoleCursorInfo 25 visible").size(), 1u);
}

TEST_F(InterruptionTest, AnEventWhileTheDisplayStopsWaitsUntilTheCursorIsVisible) {
    ScanInterruption scan(progress, display);
    std::optional<BOOL> answer;
    std::size_t shown = 0;
    DuringTheNextQuestion event(console, [&] {
        answer = handler(CTRL_C_EVENT);
        shown = console.calls("SetConsoleCursorInfo 25 visible").size();
    });
    scan.finish();
    event.join();
    EXPECT_EQ(answer, std::optional<BOOL>(FALSE));
    EXPECT_EQ(shown, 1u);
}

TEST_F(InterruptionTest, AnEventDuringTheAnalysisRequestsAStop) {
    for (const DWORD event : {CTRL_C_EVENT, CTRL_BREAK_EVENT}) {
        ScanProgress analysed;
        analysed.phase = ScanPhase::analysing;
        ScanInterruption scan(analysed, display);
        EXPECT_EQ(ended_by(event), std::nullopt);
        EXPECT_TRUE(analysed.stop_requested);
    }
    EXPECT_EQ(errors.str(), L"");
}

TEST_F(InterruptionTest, ASecondEventEndsTheProgramAtOnce) {
    progress.phase = ScanPhase::analysing;
    ScanInterruption scan(progress, display);
    EXPECT_EQ(ended_by(CTRL_C_EVENT), std::nullopt);
    EXPECT_EQ(ended_by(CTRL_BREAK_EVENT), control_c_exit);
    EXPECT_EQ(errors.str(), plain);
}

// When the handler of these events returns, the system ends the process.
TEST_F(InterruptionTest, ACloseLogoffOrShutdownRequestsAStopAndWaitsForTheRun) {
    console.redirected = {console.output};  // so that the display does not sleep
    progress.phase = ScanPhase::analysing;
    for (const DWORD event : {CTRL_CLOSE_EVENT, CTRL_LOGOFF_EVENT, CTRL_SHUTDOWN_EVENT}) {
        progress.stop_requested = false;
        ScanInterruption scan(progress, display);
        std::vector<DWORD> slept;
        hooks().Sleep = [&](DWORD milliseconds) {
            slept.push_back(milliseconds);
            // Meanwhile the main thread finishes the scan.
            scan.finish();
        };
        EXPECT_EQ(ended_by(event), std::nullopt);
        EXPECT_EQ(slept, std::vector<DWORD>{INFINITE});
        EXPECT_TRUE(progress.stop_requested);
    }
}

// The user closes the window before the scan has stopped. The index must still be saved.
TEST_F(InterruptionTest, AWindowClosedAfterControlCStillWaitsForTheRun) {
    console.redirected = {console.output};
    progress.phase = ScanPhase::analysing;
    ScanInterruption scan(progress, display);
    EXPECT_EQ(ended_by(CTRL_C_EVENT), std::nullopt);
    std::vector<DWORD> slept;
    hooks().Sleep = [&](DWORD milliseconds) { slept.push_back(milliseconds); };
    EXPECT_EQ(ended_by(CTRL_CLOSE_EVENT), std::nullopt);
    EXPECT_EQ(slept, std::vector<DWORD>{INFINITE});
    EXPECT_EQ(ended_by(CTRL_C_EVENT), control_c_exit);
}

TEST_F(InterruptionTest, TheEndOfAScanWaitsWhileAnEventEndsTheProgram) {
    ScanInterruption scan(progress, display);
    std::atomic<bool> begun{false};
    std::atomic<bool> finished{false};
    std::thread run;
    hooks().TerminateProcess = [&](auto...) {
        run = std::thread([&] {
            begun = true;
            scan.finish();
            finished = true;
        });
        while (!begun)
            std::this_thread::yield();
        for (int turn = 0; turn < 1000; ++turn)
            std::this_thread::yield();
        EXPECT_FALSE(finished);
        return TRUE;
    };
    (void)handler(CTRL_C_EVENT);
    run.join();
    EXPECT_TRUE(finished);
}

TEST_F(InterruptionTest, AnInterruptedRunSavesItsIndexAndWritesNoReport) {
    TempTree indexes;
    const ScopedEnvironment directory(L"LARKSPINE_INDEX_DIRECTORY", indexes.root());
    interrupt_the_first_read();
    const int code = static_cast<int>(control_c_exit);
    EXPECT_EQ(run_with({in.c_str(), L"--stats"}), (Outcome{code, banner, kept}));
    EXPECT_TRUE(interrupted);
    EXPECT_FALSE(report_exists());
    EXPECT_TRUE(console.cursor.bVisible);
}

TEST_F(InterruptionTest, AnInterruptedRunThatSavesNoIndexDoesNotClaimASave) {
    interrupt_the_first_read(CTRL_BREAK_EVENT);
    const int code = static_cast<int>(control_c_exit);
    EXPECT_EQ(run_on(in), (Outcome{code, banner, plain}));
    EXPECT_FALSE(report_exists());

    interrupted = false;
    TempTree indexes;
    const ScopedEnvironment directory(L"LARKSPINE_INDEX_DIRECTORY", indexes.root());
    hooks().MoveFileExW = [](auto...) { return FALSE; };
    output.str(L"");
    errors.str(L"");
    EXPECT_EQ(run_with({in.c_str()}), (Outcome{code, banner, plain}));
}

TEST_F(InterruptionTest, AnInterruptedRunDoesNotWaitForAKey) {
    pause_on_exit = true;
    interrupt_the_first_read();
    EXPECT_EQ(run_on(in).code, static_cast<int>(control_c_exit));
    EXPECT_EQ(console.calls("ReadConsoleW").size(), 0u);
}

TEST_F(InterruptionTest, AnEventAfterTheScanIsLeftToTheSystem) {
    std::optional<BOOL> answer;
    hooks().GetLocalTime = [&](LPSYSTEMTIME time) {
        *time = {2024, 1, 2, 2, 3, 4, 5, 6};
        answer = handler(CTRL_C_EVENT);
    };
    EXPECT_EQ(run_on(in).code, 0);
    EXPECT_EQ(answer, std::optional<BOOL>(FALSE));
    EXPECT_TRUE(report_exists());
}

TEST_F(InterruptionTest, AnEventAfterAScanThatThrewIsLeftToTheSystem) {
    hooks().FindFirstFileExW = [](auto...) -> HANDLE { throw std::runtime_error("planted"); };
    EXPECT_EQ(run_on(in).code, 3);
    EXPECT_FALSE(handler(CTRL_C_EVENT));
}

}  // namespace
}  // namespace larkspine::testing
