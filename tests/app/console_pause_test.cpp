#include "app/console_pause.h"

#include <gtest/gtest.h>
#include <iostream>
#include <stdexcept>
#include <streambuf>
#include <string>
#include <thread>
#include <vector>

#include "app/fatal_fault.h"
#include "support/fake_console.h"
#include "support/import_replacement.h"

namespace larkspine::testing {
namespace {

using Calls = FakeConsole::Calls;

const std::string request = "WriteConsoleW \r\nAppuyez sur Entrée pour fermer Larkspine...";
const Calls whole_pause = {"GetConsoleCursorInfo", "SetConsoleCursorInfo 25 visible", request,
                           "ReadConsoleW 1"};

class ConsolePauseTest : public ::testing::Test {
  protected:
    ConsolePauseTest() { console.cursor = {25, FALSE}; }
    ~ConsolePauseTest() override { pause_on_exit = false; }

    Calls pause() {
        pause_on_exit = true;
        pause_if_owned_console();
        return console.calls();
    }

    ImportReset reset;
    FakeConsole console;
};

TEST_F(ConsolePauseTest, TheOnlyProcessOnAConsoleOwnsIt) {
    EXPECT_TRUE(owns_console());
    EXPECT_EQ(console.calls(),
              (Calls{"GetConsoleMode input", "GetConsoleMode output", "GetConsoleProcessList 2"}));
    EXPECT_FALSE(pause_on_exit);
}

TEST_F(ConsolePauseTest, ASharedConsoleIsNotOwned) {
    const DWORD self = GetCurrentProcessId();
    for (const std::vector<DWORD>& processes :
         {std::vector<DWORD>{self, 1}, {1, self}, {self, 1, 2}, {self, self}}) {
        console.processes = processes;
        EXPECT_FALSE(owns_console());
    }
}

TEST_F(ConsolePauseTest, AConsoleThatListsOnlyAnotherProcessIsNotOwned) {
    for (DWORD other : {GetCurrentProcessId() + 4, DWORD{0}}) {
        console.processes = {other};
        EXPECT_FALSE(owns_console());
    }
}

TEST_F(ConsolePauseTest, AConsoleWhoseProcessesCannotBeListedIsNotOwned) {
    console.failing = {"GetConsoleProcessList"};
    EXPECT_FALSE(owns_console());
    console.failing.clear();
    console.processes.clear();
    EXPECT_FALSE(owns_console());
}

TEST_F(ConsolePauseTest, AConsoleIsNotOwnedWhenInputOrOutputIsRedirected) {
    for (const std::set<HANDLE>& redirected :
         {std::set<HANDLE>{console.input}, {console.output}, {console.input, console.output}}) {
        console.redirected = redirected;
        EXPECT_FALSE(owns_console());
    }
    EXPECT_EQ(console.calls("GetConsoleProcessList"), Calls{});
}

TEST_F(ConsolePauseTest, AConsoleIsOwnedEvenWhenTheErrorStreamIsRedirected) {
    console.redirected = {console.error};
    EXPECT_TRUE(owns_console());
    console.error = nullptr;
    EXPECT_TRUE(owns_console());
}

TEST_F(ConsolePauseTest, TheConsoleModeOfAMissingHandleIsNotQueried) {
    for (HANDLE none : {HANDLE{nullptr}, INVALID_HANDLE_VALUE}) {
        console.input = none;
        console.output = FakeConsole::fake_handle(2);
        EXPECT_FALSE(owns_console());
        EXPECT_EQ(console.calls(), Calls{});
    }
    for (HANDLE none : {HANDLE{nullptr}, INVALID_HANDLE_VALUE}) {
        console.input = FakeConsole::fake_handle(1);
        console.output = none;
        EXPECT_FALSE(owns_console());
        EXPECT_EQ(console.calls("GetConsoleMode output"), Calls{});
    }
    EXPECT_EQ(console.calls("GetConsoleProcessList"), Calls{});
}

TEST_F(ConsolePauseTest, ThePauseShowsTheCursorPromptsAndWaits) {
    EXPECT_EQ(pause(), whole_pause);
}

TEST_F(ConsolePauseTest, WithoutAnOwnedConsoleThereIsNoPause) {
    pause_if_owned_console();
    flush_and_pause();
    EXPECT_EQ(console.calls(), Calls{});
}

TEST_F(ConsolePauseTest, ThePauseHappensOnce) {
    EXPECT_EQ(pause(), whole_pause);
    EXPECT_FALSE(pause_on_exit);
    pause_if_owned_console();
    flush_and_pause();
    EXPECT_EQ(console.calls(), whole_pause);
}

TEST_F(ConsolePauseTest, SeveralThreadsThatPauseAtOncePauseOnlyOnce) {
    for (int round = 0; round < 20; ++round) {
        pause_on_exit = true;
        std::vector<std::thread> threads;
        for (int i = 0; i < 4; ++i)
            threads.emplace_back(pause_if_owned_console);
        for (std::thread& thread : threads)
            thread.join();
    }
    EXPECT_EQ(console.calls("ReadConsoleW").size(), 20u);
}

TEST_F(ConsolePauseTest, AFaultAtAnyStepOfThePauseDoesNotPauseAgain) {
    for (const std::string& step : whole_pause) {
        FakeConsole faulting;
        bool struck = false;
        faulting.on_call = [&](const std::string& call) {
            if (call != step || struck)
                return;
            struck = true;
            fatal_fault_filter(nullptr);
        };
        pause_on_exit = true;
        EXPECT_THROW(pause_if_owned_console(), ProcessEnded) << step;
        EXPECT_EQ(faulting.calls("TerminateProcess"), Calls{"TerminateProcess 3"}) << step;
        EXPECT_LE(faulting.calls(request).size(), 1u) << step;
        EXPECT_LE(faulting.calls("ReadConsoleW").size(), 1u) << step;
        EXPECT_FALSE(pause_on_exit) << step;
    }
}

TEST_F(ConsolePauseTest, ACursorThatCannotBeQueriedIsNotSetAndThePauseContinues) {
    console.failing = {"GetConsoleCursorInfo"};
    EXPECT_EQ(pause(), (Calls{"GetConsoleCursorInfo", request, "ReadConsoleW 1"}));
}

TEST_F(ConsolePauseTest, AFailureToShowTheCursorWriteOrReadSkipsNoOtherCall) {
    for (const char* name : {"SetConsoleCursorInfo", "WriteConsoleW", "ReadConsoleW"}) {
        FakeConsole failing;
        failing.failing = {name};
        pause_on_exit = true;
        pause_if_owned_console();
        EXPECT_EQ(failing.calls(), whole_pause) << name;
    }
}

TEST_F(ConsolePauseTest, WithoutAnOutputHandleThePauseOnlyWaits) {
    for (HANDLE none : {HANDLE{nullptr}, INVALID_HANDLE_VALUE}) {
        FakeConsole silent;
        silent.output = none;
        pause_on_exit = true;
        pause_if_owned_console();
        EXPECT_EQ(silent.calls(), Calls{"ReadConsoleW 1"});
    }
}

TEST_F(ConsolePauseTest, WithoutAnInputHandleThePauseDoesNotWait) {
    for (HANDLE none : {HANDLE{nullptr}, INVALID_HANDLE_VALUE}) {
        FakeConsole deaf;
        deaf.input = none;
        pause_on_exit = true;
        pause_if_owned_console();
        EXPECT_EQ(deaf.calls(), (Calls{whole_pause.begin(), whole_pause.end() - 1}));
    }
}

TEST_F(ConsolePauseTest, ShowingTheCursorKeepsItsSize) {
    console.cursor = {77, FALSE};
    show_console_cursor();
    EXPECT_EQ(console.calls(), (Calls{"GetConsoleCursorInfo", "SetConsoleCursorInfo 77 visible"}));
}

TEST_F(ConsolePauseTest, WithoutAnOutputHandleNoCursorIsShown) {
    for (HANDLE none : {HANDLE{nullptr}, INVALID_HANDLE_VALUE}) {
        console.output = none;
        show_console_cursor();
    }
    EXPECT_EQ(console.calls(), Calls{});
}

// A stream buffer whose flush fails: with an exception of its own, or with the stream's. The stream
// is tied to no other.
class FailingFlush : public std::wstreambuf {
  public:
    explicit FailingFlush(std::wostream& stream)
        : stream_(stream), old_tie_(stream.tie(nullptr)), old_buffer_(stream.rdbuf(this)) {
        stream_.exceptions(std::ios_base::badbit);
    }
    ~FailingFlush() override {
        stream_.exceptions(std::ios_base::goodbit);
        stream_.rdbuf(old_buffer_);
        stream_.tie(old_tie_);
    }
    int flushes = 0;
    bool throws_its_own = false;

  protected:
    int sync() override {
        ++flushes;
        if (throws_its_own)
            throw std::runtime_error("gone");
        return -1;  // which makes the stream throw
    }

  private:
    std::wostream& stream_;
    std::wostream* old_tie_;
    std::wstreambuf* old_buffer_;
};

TEST_F(ConsolePauseTest, BothStreamsAreFlushedBeforeThePauseEvenWhenTheyThrow) {
    for (bool throws_its_own : {false, true}) {
        FailingFlush output(std::wcout);
        FailingFlush errors(std::wcerr);
        output.throws_its_own = errors.throws_its_own = throws_its_own;
        FakeConsole last;
        last.on_call = [&](const std::string&) { EXPECT_EQ(output.flushes + errors.flushes, 2); };
        pause_on_exit = true;
        EXPECT_NO_THROW(flush_and_pause());
        EXPECT_EQ(last.calls(), whole_pause);
        EXPECT_EQ(output.flushes, 1);
        EXPECT_EQ(errors.flushes, 1);
    }
}

}  // namespace
}  // namespace larkspine::testing
