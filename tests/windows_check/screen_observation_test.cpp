#include "screen_observation.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace larkspine::testing {
namespace {

using check::ScreenObservation;
using check::Verdict;

std::vector<std::string> screen(unsigned percent, std::size_t row = 2) {
    std::string bar;
    for (unsigned cell = 0; cell < 20; ++cell)
        bar += cell < percent * 20 / 100 ? "█" : "░";
    std::vector<std::string> rows(row);
    rows.push_back("Analyse : [" + bar + "] " + std::to_string(percent) + " %");
    rows.push_back("Temps écoulé : 00:00:01");
    rows.push_back("Documents détectés : 12");
    rows.push_back("Doublons trouvés : 6");
    return rows;
}

ScreenObservation good() {
    ScreenObservation seen;
    look_at_screen(seen, {"a banner"}, true);
    for (const unsigned percent : {20U, 46U, 100U})
        look_at_screen(seen, screen(percent), false);
    seen.rows = screen(100);
    seen.rows.insert(seen.rows.end(), {"Analyse terminée.", "Résultats enregistrés dans :"});
    seen.cursor_visible = true;
    return seen;
}

// The verdicts of block, accents and cursor.
std::vector<Verdict> verdicts(const ScreenObservation& seen) {
    check::Verdicts table;
    judge_screen(table, "écran", seen, 12, 6);
    std::vector<Verdict> found;
    for (const check::VerdictRow& row : table.rows())
        found.push_back(row.verdict);
    return found;
}

constexpr Verdict right = Verdict::right;
constexpr Verdict differs = Verdict::differs;
using ::testing::ElementsAre;

TEST(ScreenObservationTest, ABlockThatIsRedrawnInPlaceIsRight) {
    EXPECT_THAT(verdicts(good()), ElementsAre(right, right, right));
    EXPECT_THAT(good().percents, ElementsAre(20u, 46u, 100u));
    EXPECT_THAT(good().places, ElementsAre(2u));
}

TEST(ScreenObservationTest, AnObservationIsReadBackFromItsFile) {
    const ScreenObservation seen = check::read_observation(render(good()));
    EXPECT_EQ(render(seen), render(good()));
    EXPECT_THAT(verdicts(seen), ElementsAre(right, right, right));
}

TEST(ScreenObservationTest, AnEmptyFileIsReadAsAFailedObservation) {
    EXPECT_NE(check::read_observation("").trouble, "");
}

TEST(ScreenObservationTest, AHiddenCursorAtTheEndIsReported) {
    ScreenObservation seen = good();
    seen.cursor_visible = false;
    EXPECT_THAT(verdicts(seen), ElementsAre(right, right, differs));
}

TEST(ScreenObservationTest, ACursorThatWasNeverHiddenIsReported) {
    ScreenObservation seen = good();
    seen.cursor_seen_hidden = false;
    EXPECT_THAT(verdicts(seen), ElementsAre(right, right, differs));
}

TEST(ScreenObservationTest, ABlockThatMovesIsReported) {
    ScreenObservation seen = good();
    look_at_screen(seen, screen(100, 3), false);
    EXPECT_EQ(verdicts(seen)[0], differs);
}

TEST(ScreenObservationTest, TwoBlocksAtOnceAreReported) {
    ScreenObservation seen = good();
    std::vector<std::string> rows = screen(100);
    rows.push_back(rows[2]);
    look_at_screen(seen, rows, false);
    EXPECT_EQ(verdicts(seen)[0], differs);
}

TEST(ScreenObservationTest, ABarThatDisagreesWithItsPercentageIsReported) {
    ScreenObservation seen = good();
    std::vector<std::string> rows = screen(100);
    rows[2].replace(rows[2].find("100 %"), 5, "50 %");
    look_at_screen(seen, rows, false);
    EXPECT_EQ(verdicts(seen)[0], differs);
}

TEST(ScreenObservationTest, APercentageThatFallsIsReported) {
    ScreenObservation seen;
    for (const unsigned percent : {46U, 20U, 100U})
        look_at_screen(seen, screen(percent), false);
    EXPECT_EQ(verdicts(seen)[0], differs);
}

TEST(ScreenObservationTest, ARunThatIsTooQuickIsNotJudged) {
    ScreenObservation seen;
    look_at_screen(seen, screen(100), false);
    EXPECT_EQ(verdicts(seen)[0], Verdict::not_possible);
}

TEST(ScreenObservationTest, WrongAccentsAreReported) {
    ScreenObservation seen = good();
    for (std::string& row : seen.rows)
        if (row.starts_with("Temps"))
            row = "Temps ÚcoulÚ : 00:00:01";
    EXPECT_THAT(verdicts(seen), ElementsAre(right, differs, right));
}

}  // namespace
}  // namespace larkspine::testing
