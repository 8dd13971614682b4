// Runs on a console: the progress block, the statistics and the pause in the order of the messages.
#include "base/win32_api.h"

#include <gtest/gtest.h>
#include <optional>
#include <stdexcept>
#include <string>
#include <utility>

#include "app/console_pause.h"
#include "app/run_fixture.h"
#include "support/fake_console.h"
#include "support/thread_starts.h"

namespace larkspine::testing {
namespace {

using Calls = FakeConsole::Calls;

const std::string reserve = "WriteConsoleW \r\n\r\n\r\n\r\n";
const std::string full_bar = "WriteConsoleW Analyse : [████████████████████] 100 %";
const std::string hide = "SetConsoleCursorInfo 25 hidden";
const std::string show = "SetConsoleCursorInfo 25 visible";
const std::string request = "WriteConsoleW \r\nAppuyez sur Entrée pour fermer Larkspine...";
const Calls pause_calls = {"GetConsoleCursorInfo", show, request, "ReadConsoleW 1"};

// On a console whose cursor stands in row 10.
class RunConsoleTest : public RunTest {
  protected:
    ~RunConsoleTest() override { pause_on_exit = false; }

    template <typename Exception>
    void throw_in_the_scan(const Exception& exception) {
        hooks().FindFirstFileExW = [exception](auto...) -> HANDLE { throw exception; };
    }
    // At every call with the text `call`, the two streams must hold exactly `text`.
    void expect_at(const std::string& call, const std::wstring& text) {
        console.on_call = [=, this](const std::string& made) {
            if (made == call) {
                EXPECT_EQ(output.str() + errors.str(), text);
            }
        };
    }
    // The block was drawn, and then its cursor was placed below it and restored.
    void expect_block() {
        const Calls calls = console.calls();
        ASSERT_GE(calls.size(), 6u);
        EXPECT_EQ(Calls(calls.begin(), calls.begin() + 5),
                  (Calls{"GetConsoleMode output", "GetConsoleCursorInfo", hide, reserve,
                         "GetConsoleScreenBufferInfo"}));
        EXPECT_EQ(Calls(calls.end() - 3, calls.end()),
                  (Calls{"GetConsoleScreenBufferInfo", "SetConsoleCursorPosition 0,10", show}));
        EXPECT_GE(console.calls("WriteConsoleW Analyse").size(), 2u);
    }
    void expect_pause_last() {
        const Calls calls = console.calls();
        ASSERT_GE(calls.size(), 4u);
        EXPECT_EQ(Calls(calls.end() - 4, calls.end()), pause_calls);
        EXPECT_EQ(console.calls("ReadConsoleW").size(), 1u);
    }
    std::wstring empty_summary() const {
        return summary(L"Documents détectés : 0\nAucun doublon trouvé.\n");
    }

    FakeConsole console;
};

TEST_F(RunConsoleTest, TheBlockStandsBetweenTheBannerAndTheSummaryAndEndsFull) {
    std::wstring flushed;
    console.on_call = [&](const std::string& call) {
        if (call == reserve)
            flushed = output.flushed();
        EXPECT_EQ(output.str(), banner) << call;
    };
    EXPECT_EQ(run_on(in), (Outcome{0, banner + empty_summary(), L""}));
    EXPECT_EQ(flushed, banner);
    expect_block();
    EXPECT_EQ(console.calls("WriteConsoleW Analyse").back(), full_bar);
}

TEST_F(RunConsoleTest, TheLastFrameCountsTheDocumentsAndTheDuplicates) {
    for (const wchar_t* name : {L"in\\a", L"in\\b", L"in\\c"})
        tree.file(name, "aaa");
    tree.file(L"in\\d", "d");
    EXPECT_EQ(run_on(in).code, 0);
    EXPECT_EQ(console.calls("WriteConsoleW Documents").back(),
              "WriteConsoleW Documents détectés : 4");
    EXPECT_EQ(console.calls("WriteConsoleW Doublons").back(), "WriteConsoleW Doublons trouvés : 2");
}

TEST_F(RunConsoleTest, OnARedirectedOutputTheSummaryFollowsTheBannerDirectly) {
    console.redirected = {console.output};
    EXPECT_EQ(run_on(in), (Outcome{0, banner + empty_summary(), L""}));
    EXPECT_EQ(console.calls(), Calls{"GetConsoleMode output"});
}

TEST_F(RunConsoleTest, WithoutAScanThereIsNoBlock) {
    EXPECT_EQ(run_with({L"-x"}).code, 1);
    EXPECT_EQ(run_on(tree.path(L"missing")).code, 2);
    EXPECT_EQ(console.calls(), Calls{});
}

TEST_F(RunConsoleTest, AStandardExceptionOutOfTheScanIsReportedBelowTheBlock) {
    throw_in_the_scan(std::runtime_error("lost"));
    expect_at(show, banner);
    EXPECT_EQ(run_on(in), (Outcome{3, banner, unfinished_scan + std::wstring(L"Erreur : lost\n")}));
    expect_block();
}

TEST_F(RunConsoleTest, AnyOtherExceptionOutOfTheScanIsReportedBelowTheBlock) {
    throw_in_the_scan(7);
    expect_at(show, banner);
    EXPECT_EQ(run_on(in), (Outcome{3, banner, std::wstring(unfinished_scan) + unknown_exception}));
    expect_block();
}

TEST_F(RunConsoleTest, AnExceptionAfterTheScanIsReportedBelowTheFullBlock) {
    hooks().GetCurrentDirectoryW = [](auto...) -> DWORD { throw std::runtime_error("lost"); };
    expect_at(show, banner);
    EXPECT_EQ(run_on(in), (Outcome{3, banner, unfinished_run + std::wstring(L"Erreur : lost\n")}));
    EXPECT_EQ(console.calls("WriteConsoleW Analyse").back(), full_bar);
    EXPECT_EQ(console.calls().back(), show);
}

TEST_F(RunConsoleTest, AnExceptionWhileTheDisplayStopsIsNotReportedAsTheScans) {
    bool thrown = false;
    console.on_call = [&](const std::string& call) {
        // The call that places the cursor below the block when the display stops.
        if (call == "SetConsoleCursorPosition 0,10" && !std::exchange(thrown, true))
            throw std::runtime_error("lost");
    };
    EXPECT_EQ(run_on(in), (Outcome{3, banner, unfinished_run + std::wstring(L"Erreur : lost\n")}));
    EXPECT_TRUE(thrown);
    EXPECT_EQ(console.calls().back(), show);
}

TEST_F(RunConsoleTest, ADisplayThreadThatCannotBeStartedEndsTheRunBelowTheBlock) {
    expect_at(show, banner);
    const NoMoreThreads none;
    const Outcome outcome = run_on(in);
    EXPECT_EQ(outcome.code, 3);
    EXPECT_EQ(outcome.output, banner);
    EXPECT_TRUE(outcome.errors.starts_with(std::wstring(unfinished_run) + L"Erreur : "));
    EXPECT_EQ(console.calls().back(), show);
}

TEST_F(RunConsoleTest, AnUnknownCurrentDirectoryIsReportedBelowTheBlock) {
    hooks().GetCurrentDirectoryW = [](auto...) { return DWORD{0}; };
    expect_at(show, banner);
    EXPECT_EQ(run_on(in), (Outcome{4, banner, not_saved}));
    expect_block();
}

TEST_F(RunConsoleTest, RequestedStatisticsFollowTheSummary) {
    tree.file(L"in\\a", "aa");
    tree.file(L"in\\b", "bb");
    tree.file(L"in\\c", "ccc");
    const Outcome outcome = run_with({in.c_str(), L"--no-index", L"--stats"});
    const std::wstring expected = banner +
                                  summary(L"Documents détectés : 3\nAucun doublon trouvé.\n") +
                                  L"\nStatistiques de performance :\n"
                                  L"  Index chargé : non\n"
                                  L"  Fast path inchangé : non\n"
                                  L"  Delta USN appliqué : non\n"
                                  L"  Fichiers : 3, candidats : 2, entrées index : 3\n"
                                  L"  Hash sample calculés/réutilisés : 2/0\n"
                                  L"  Hash complets calculés/réutilisés : 0/0\n"
                                  L"  Comparaisons octet par octet : 0\n"
                                  L"  Temps (ms) index/énumération/analyse/écriture/total : 0/";
    EXPECT_EQ(outcome.code, 0);
    EXPECT_EQ(outcome.output.substr(0, expected.size()), expected);
}

TEST_F(RunConsoleTest, ARunOnAnOwnedConsolePausesAfterItsMessages) {
    pause_on_exit = true;
    expect_at(request, banner + empty_summary());
    EXPECT_EQ(run_on(in).code, 0);
    EXPECT_EQ(output.flushed(), output.str());
    expect_pause_last();
}

TEST_F(RunConsoleTest, ARunThatEndsWithAnExceptionPausesAfterItsMessages) {
    pause_on_exit = true;
    hooks().GetFileAttributesW = [](LPCWSTR) -> DWORD { throw 7; };
    expect_at(request, banner + unfinished_run + unknown_exception);
    EXPECT_EQ(run_on(in).code, 3);
    expect_pause_last();
}

}  // namespace
}  // namespace larkspine::testing
