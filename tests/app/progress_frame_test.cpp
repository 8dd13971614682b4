#include "app/progress_frame.h"

#include <cstdint>
#include <gtest/gtest.h>
#include <string>
#include <vector>

namespace larkspine::testing {
namespace {

constexpr std::uint64_t largest = UINT64_MAX;
constexpr std::int64_t second = 1'000'000'000;
constexpr std::int64_t hour = 3600 * second;

struct Counters {
    ScanPhase phase = ScanPhase::enumerating;
    std::uint64_t seen = 0;
    std::uint64_t done = 0;
    std::uint64_t total = 0;
    std::uint64_t documents = 0;
    std::uint64_t duplicates = 0;
};

void put(const Counters& counters, ScanProgress& progress) {
    progress.phase = counters.phase;
    progress.entries_seen = counters.seen;
    progress.candidates_done = counters.done;
    progress.candidates_total = counters.total;
    progress.documents = counters.documents;
    progress.duplicates = counters.duplicates;
}

unsigned percentage(const Counters& counters) {
    ScanProgress progress;
    put(counters, progress);
    return progress_percentage(progress);
}

unsigned enumerating(std::uint64_t seen) {
    return percentage({ScanPhase::enumerating, seen});
}

unsigned analysing(std::uint64_t done, std::uint64_t total) {
    return percentage({ScanPhase::analysing, 7, done, total});
}

std::vector<std::wstring> lines(const Counters& counters, std::int64_t elapsed = 0) {
    ScanProgress progress;
    put(counters, progress);
    std::vector<std::wstring> texts;
    for (const FrameLine& line : make_progress_frame(progress, elapsed))
        texts.emplace_back(line.text());
    return texts;
}

std::wstring bar_line(const Counters& counters) {
    return lines(counters)[0];
}

std::wstring time_line(std::int64_t elapsed) {
    return lines({}, elapsed)[1];
}

TEST(ProgressPercentageTest, EnumerationRisesFrom0To19EverMoreSlowly) {
    EXPECT_EQ(enumerating(0), 0u);
    EXPECT_EQ(enumerating(263), 0u);
    EXPECT_EQ(enumerating(264), 1u);
    EXPECT_EQ(enumerating(4'999), 9u);
    EXPECT_EQ(enumerating(5'000), 10u);
    EXPECT_EQ(enumerating(44'999), 17u);
    EXPECT_EQ(enumerating(45'000), 18u);
    EXPECT_EQ(enumerating(94'999), 18u);
    EXPECT_EQ(enumerating(95'000), 19u);
}

TEST(ProgressPercentageTest, EnumerationNeverPasses19) {
    for (std::uint64_t seen : {std::uint64_t{1'000'000}, std::uint64_t{1} << 53,
                               std::uint64_t{1} << 63, largest - 1, largest})
        EXPECT_EQ(enumerating(seen), 19u) << seen;
}

TEST(ProgressPercentageTest, EnumerationIgnoresTheCandidates) {
    EXPECT_EQ(percentage({ScanPhase::enumerating, 5'000, 3, 4}), 10u);
}

TEST(ProgressPercentageTest, AnalysisWithoutACandidateShows20) {
    EXPECT_EQ(analysing(0, 0), 20u);
    EXPECT_EQ(analysing(5, 0), 20u);
}

TEST(ProgressPercentageTest, AnalysisRisesFrom20To99WithTheCandidatesDone) {
    EXPECT_EQ(analysing(0, 79), 20u);
    EXPECT_EQ(analysing(1, 79), 21u);
    EXPECT_EQ(analysing(1, 80), 20u);
    EXPECT_EQ(analysing(1, 2), 59u);
    EXPECT_EQ(analysing(78, 79), 98u);
    EXPECT_EQ(analysing(999'999, 1'000'000), 98u);
    EXPECT_EQ(analysing(79, 79), 99u);
}

TEST(ProgressPercentageTest, MoreCandidatesDoneThanTheTotalShows99) {
    EXPECT_EQ(analysing(3, 2), 99u);
    EXPECT_EQ(analysing(largest, 1), 99u);
}

TEST(ProgressPercentageTest, HugeCountsOfCandidatesKeepTheirRatio) {
    EXPECT_EQ(analysing(largest, largest), 99u);
    EXPECT_EQ(analysing(largest / 2, largest), 59u);
    EXPECT_EQ(analysing(0, largest), 20u);
}

TEST(ProgressPercentageTest, AnUnknownPhaseCountsAsAnalysis) {
    constexpr auto unnamed = static_cast<ScanPhase>(7);
    EXPECT_EQ(percentage({unnamed, 5'000, 1, 2}), 59u);
    EXPECT_EQ(percentage({unnamed, 5'000}), 20u);
}

TEST(ProgressPercentageTest, AFinishedScanShows100WhateverTheCounters) {
    EXPECT_EQ(percentage({ScanPhase::done}), 100u);
    EXPECT_EQ(percentage({ScanPhase::done, 5'000, 1, 2}), 100u);
    EXPECT_EQ(percentage({ScanPhase::done, largest, largest, largest}), 100u);
}

TEST(ProgressFrameTest, TheFirstFrameShowsAnEmptyBarAndZeros) {
    EXPECT_EQ(lines({}), (std::vector<std::wstring>{
                             L"Analyse : [░░░░░░░░░░░░░░░░░░░░] 0 %", L"Temps écoulé : 00:00:00",
                             L"Documents détectés : 0", L"Doublons trouvés : 0"}));
}

TEST(ProgressFrameTest, EveryLineShowsItsOwnCounter) {
    EXPECT_EQ(
        lines({ScanPhase::analysing, 111, 1, 2, 2'222, 333}, hour + 2 * 60 * second + 3 * second),
        (std::vector<std::wstring>{L"Analyse : [███████████░░░░░░░░░] 59 %",
                                   L"Temps écoulé : 01:02:03", L"Documents détectés : 2222",
                                   L"Doublons trouvés : 333"}));
}

TEST(ProgressFrameTest, TheLastFrameShowsAFullBar) {
    EXPECT_EQ(lines({ScanPhase::done, 9, 4, 4, 7, 3}, 59 * second),
              (std::vector<std::wstring>{L"Analyse : [████████████████████] 100 %",
                                         L"Temps écoulé : 00:00:59", L"Documents détectés : 7",
                                         L"Doublons trouvés : 3"}));
}

TEST(ProgressFrameTest, CountsOf20DigitsAppearWhole) {
    EXPECT_EQ(lines({ScanPhase::done, largest, largest, largest, largest, largest - 1}),
              (std::vector<std::wstring>{L"Analyse : [████████████████████] 100 %",
                                         L"Temps écoulé : 00:00:00",
                                         L"Documents détectés : 18446744073709551615",
                                         L"Doublons trouvés : 18446744073709551614"}));
}

TEST(ProgressFrameTest, ACellOfTheBarStandsForFiveWholePercent) {
    EXPECT_EQ(bar_line({ScanPhase::enumerating, 1'250}), L"Analyse : [░░░░░░░░░░░░░░░░░░░░] 4 %");
    EXPECT_EQ(bar_line({ScanPhase::enumerating, 1'667}), L"Analyse : [█░░░░░░░░░░░░░░░░░░░] 5 %");
    EXPECT_EQ(bar_line({ScanPhase::enumerating, 5'000}), L"Analyse : [██░░░░░░░░░░░░░░░░░░] 10 %");
    EXPECT_EQ(bar_line({ScanPhase::enumerating, largest}),
              L"Analyse : [███░░░░░░░░░░░░░░░░░] 19 %");
    EXPECT_EQ(bar_line({ScanPhase::analysing}), L"Analyse : [████░░░░░░░░░░░░░░░░] 20 %");
    EXPECT_EQ(bar_line({ScanPhase::analysing, 0, 1, 1}), L"Analyse : [███████████████████░] 99 %");
}

TEST(ProgressFrameTest, ElapsedTimeIsCutToWholeSeconds) {
    EXPECT_EQ(time_line(second - 1), L"Temps écoulé : 00:00:00");
    EXPECT_EQ(time_line(second), L"Temps écoulé : 00:00:01");
    EXPECT_EQ(time_line(60 * second - 1), L"Temps écoulé : 00:00:59");
    EXPECT_EQ(time_line(60 * second), L"Temps écoulé : 00:01:00");
    EXPECT_EQ(time_line(hour - 1), L"Temps écoulé : 00:59:59");
    EXPECT_EQ(time_line(hour), L"Temps écoulé : 01:00:00");
}

TEST(ProgressFrameTest, HoursContinueBeyond24) {
    EXPECT_EQ(time_line(24 * hour - 1), L"Temps écoulé : 23:59:59");
    EXPECT_EQ(time_line(24 * hour), L"Temps écoulé : 24:00:00");
    EXPECT_EQ(time_line(25 * hour), L"Temps écoulé : 25:00:00");
    EXPECT_EQ(time_line(100 * hour + 61 * second), L"Temps écoulé : 100:01:01");
    EXPECT_EQ(time_line(INT64_MAX), L"Temps écoulé : 2562047:47:16");
}

TEST(ProgressFrameTest, ANegativeTimeIsShownAsZero) {
    for (std::int64_t elapsed : {std::int64_t{-1}, -second, -hour, INT64_MIN})
        EXPECT_EQ(time_line(elapsed), L"Temps écoulé : 00:00:00") << elapsed;
}

TEST(ProgressFrameTest, ACountThatLosesADigitMakesAShorterLine) {
    EXPECT_EQ(lines({ScanPhase::analysing, 0, 0, 0, 10, 10})[3], L"Doublons trouvés : 10");
    EXPECT_EQ(lines({ScanPhase::analysing, 0, 0, 0, 10, 9})[3], L"Doublons trouvés : 9");
}

}  // namespace
}  // namespace larkspine::testing
