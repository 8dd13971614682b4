#include "app/progress_display.h"

#include <gtest/gtest.h>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "app/console_fixture.h"
#include "support/headless_console.h"

namespace larkspine::testing {
namespace {

using Rows = std::vector<std::wstring>;

constexpr SHORT width = 60;
constexpr SHORT height = 20;

class ProgressDisplayTest : public HeadlessConsoleTest {
  protected:
    void SetUp() override {
        HeadlessConsoleTest::SetUp();
        if (IsSkipped())
            return;
        use_screen({width, height});
    }
    void TearDown() override {
        display.reset();
        SetStdHandle(STD_OUTPUT_HANDLE, output_);
    }

    void use_screen(COORD size) {
        screen.emplace(size);
        SetStdHandle(STD_OUTPUT_HANDLE, screen->handle());
    }
    void print(const std::wstring& text) {
        DWORD written = 0;
        WriteConsoleW(screen->handle(), text.data(), static_cast<DWORD>(text.size()), &written,
                      nullptr);
    }
    void start() { display->start(progress); }
    // The rows without the last digit of the time, which changes while a test runs.
    Rows block(SHORT first) {
        Rows rows = screen->rows(first, 4);
        if (rows[1].starts_with(L"Temps écoulé : 00:00:0"))
            rows[1] = L"Temps écoulé : 00:00:0_";
        return rows;
    }
    Rows drawn(const std::wstring& bar, const std::wstring& documents,
               const std::wstring& duplicates) {
        return {L"Analyse : [" + bar, L"Temps écoulé : 00:00:0_",
                L"Documents détectés : " + documents, L"Doublons trouvés : " + duplicates};
    }
    Rows fresh() { return drawn(L"░░░░░░░░░░░░░░░░░░░░] 0 %", L"0", L"0"); }
    Rows finished() { return drawn(L"████████████████████] 100 %", L"12", L"3"); }
    void finish() {
        progress.documents = 12;
        progress.duplicates = 3;
        progress.phase = ScanPhase::done;
    }
    // Waits for the drawing thread to draw these rows.
    bool appears(const Rows& rows, SHORT first) {
        for (int tries = 0; tries < 500; ++tries) {
            if (block(first) == rows)
                return true;
            Sleep(10);
        }
        return false;
    }
    void expect_cursor_at(SHORT row) {
        EXPECT_EQ(screen->cursor_place().X, 0);
        EXPECT_EQ(screen->cursor_place().Y, row);
    }
    void expect_cursor(DWORD size, BOOL visible) {
        EXPECT_EQ(screen->cursor().dwSize, size);
        EXPECT_EQ(screen->cursor().bVisible, visible);
    }

    ScanProgress progress;
    std::optional<ScreenBuffer> screen;
    std::unique_ptr<ProgressDisplay> display = std::make_unique<ProgressDisplay>();

  private:
    HANDLE output_ = GetStdHandle(STD_OUTPUT_HANDLE);
};

TEST_F(ProgressDisplayTest, TheBlockStandsBelowEarlierOutput) {
    print(L"première\r\ndernière\r\n");
    start();
    EXPECT_EQ(screen->rows(0, 2), (Rows{L"première", L"dernière"}));
    EXPECT_EQ(block(2), fresh());
    EXPECT_EQ(screen->row(6), L"");
}

TEST_F(ProgressDisplayTest, AnUnfinishedLineIsOverdrawnByTheBlock) {
    screen->put_cursor({5, 3});
    start();
    display->stop();
    EXPECT_EQ(block(3), fresh());
    expect_cursor_at(7);
}

TEST_F(ProgressDisplayTest, AtTheBottomTheBufferScrollsAndOneRowStaysFreeBelowTheBlock) {
    for (SHORT i = 0; i < height - 1; ++i)
        print(std::to_wstring(i) + L"\r\n");
    start();
    EXPECT_EQ(screen->row(0), L"4");
    EXPECT_EQ(screen->row(height - 6), L"18");
    EXPECT_EQ(block(height - 5), fresh());
    EXPECT_EQ(screen->row(height - 1), L"");
    finish();
    display->stop();
    EXPECT_EQ(block(height - 5), finished());
    EXPECT_EQ(screen->row(0), L"4");
    expect_cursor_at(height - 1);
}

TEST_F(ProgressDisplayTest, ABlockThatJustFitsScrollsNothing) {
    print(L"première");
    screen->put_cursor({0, height - 5});
    start();
    display->stop();
    EXPECT_EQ(screen->row(0), L"première");
    EXPECT_EQ(block(height - 5), fresh());
    expect_cursor_at(height - 1);
}

TEST_F(ProgressDisplayTest, InANarrowBufferEveryLineShowsItsBeginning) {
    use_screen({20, height});
    start();
    finish();
    display->stop();
    EXPECT_EQ(screen->rows(0, 4), (Rows{L"Analyse : [█████████", L"Temps écoulé : 00:00",
                                        L"Documents détectés :", L"Doublons trouvés : 3"}));
    EXPECT_EQ(screen->row(4), L"");
    expect_cursor_at(4);
}

TEST_F(ProgressDisplayTest, InABufferLowerThanTheBlockTheDisplayStaysInIt) {
    use_screen({width, 3});
    start();
    finish();
    display->stop();
    EXPECT_TRUE(screen->row(2).ends_with(L"Doublons trouvés : 3"));
    expect_cursor_at(2);
}

TEST_F(ProgressDisplayTest, TheThreadDrawsNewCountersInPlace) {
    start();
    progress.documents = 1'234;
    progress.duplicates = 56;
    progress.candidates_total = 2;
    progress.candidates_done = 1;
    progress.phase = ScanPhase::analysing;
    EXPECT_TRUE(appears(drawn(L"███████████░░░░░░░░░] 59 %", L"1234", L"56"), 0));
    EXPECT_EQ(screen->row(4), L"");
}

TEST_F(ProgressDisplayTest, ACountThatLosesDigitsLeavesNoneOfThemOnTheScreen) {
    progress.documents = 123'456'789;
    progress.duplicates = 10;
    start();
    EXPECT_EQ(block(0), drawn(L"░░░░░░░░░░░░░░░░░░░░] 0 %", L"123456789", L"10"));
    progress.documents = 9;
    progress.duplicates = 9;
    display->draw();
    EXPECT_EQ(screen->cells(3), L"Doublons trouvés : 9" + std::wstring(width - 20, L' '));
    display->stop();
    EXPECT_EQ(block(0), drawn(L"░░░░░░░░░░░░░░░░░░░░] 0 %", L"9", L"9"));
}

TEST_F(ProgressDisplayTest, OnlyEightCellsBehindALineAreErased) {
    screen->put_cursor({0, 3});
    print(std::wstring(width - 1, L'x'));
    screen->put_cursor({0, 0});
    start();
    EXPECT_EQ(screen->row(3), L"Doublons trouvés : 0        " + std::wstring(width - 29, L'x'));
}

TEST_F(ProgressDisplayTest, StopLeavesTheFinalFrameWithTheCursorBelowIt) {
    print(L"dernière\r\n");
    start();
    finish();
    display->stop();
    EXPECT_EQ(block(1), finished());
    expect_cursor_at(5);
    print(L"Analyse terminée.");
    EXPECT_EQ(block(1), finished());
    EXPECT_EQ(screen->row(5), L"Analyse terminée.");
}

TEST_F(ProgressDisplayTest, ASecondStartReservesNothingAndKeepsTheFirstRecord) {
    start();
    ScanProgress other;
    other.phase = ScanPhase::done;
    display->start(other);
    EXPECT_EQ(display->progress, &progress);
    display->stop();
    EXPECT_EQ(block(0), fresh());
    expect_cursor_at(4);
}

TEST_F(ProgressDisplayTest, ASecondStopDoesNothing) {
    start();
    display->stop();
    print(L"suite");
    screen->set_cursor({30, FALSE});
    finish();
    display->stop();
    EXPECT_EQ(block(0), fresh());
    EXPECT_EQ(screen->row(4), L"suite");
    EXPECT_EQ(screen->cursor_place().X, 5);
    expect_cursor(30, FALSE);
}

TEST_F(ProgressDisplayTest, StopWithoutStartDoesNothing) {
    screen->put_cursor({7, 2});
    display->stop();
    EXPECT_EQ(screen->rows(0, 6), Rows(6));
    EXPECT_EQ(screen->cursor_place().X, 7);
    EXPECT_EQ(screen->cursor_place().Y, 2);
}

TEST_F(ProgressDisplayTest, DestructionWhileRunningStopsIt) {
    start();
    expect_cursor(25, FALSE);
    finish();
    display.reset();
    EXPECT_EQ(block(0), finished());
    expect_cursor_at(4);
    expect_cursor(25, TRUE);
}

TEST_F(ProgressDisplayTest, ARestartDrawsAnotherBlockBelow) {
    start();
    finish();
    display->stop();
    ScanProgress second;
    second.documents = 5;
    display->start(second);
    EXPECT_EQ(block(4), drawn(L"░░░░░░░░░░░░░░░░░░░░] 0 %", L"5", L"0"));
    expect_cursor(25, FALSE);
    second.documents = 6;
    EXPECT_TRUE(appears(drawn(L"░░░░░░░░░░░░░░░░░░░░] 0 %", L"6", L"0"), 4));
    display->stop();
    EXPECT_EQ(block(0), finished());
    expect_cursor_at(8);
    expect_cursor(25, TRUE);
}

}  // namespace
}  // namespace larkspine::testing
