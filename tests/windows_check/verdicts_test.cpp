#include "verdicts.h"

#include <gtest/gtest.h>

#include "kit_options.h"
#include "program.h"

namespace larkspine::testing {
namespace {

TEST(VerdictsTest, TheTableHasALineForEachRowAndTheCounts) {
    check::Verdicts verdicts;
    verdicts.right("a", "code", "0");
    verdicts.differs("b", "groupes", "two\r\nlines");
    verdicts.not_possible("c", "voie", "why");
    EXPECT_EQ(render(verdicts),
              "juste/right             | a | code | 0\r\n"
              "DIFFÈRE/DIFFERS         | b | groupes | two lines\r\n"
              "impossible/not possible | c | voie | why\r\n\r\n"
              "juste/right: 1, DIFFÈRE/DIFFERS: 1, impossible ici/not possible "
              "here: 1\r\n");
}

TEST(VerdictsTest, EachRowIsShownWhenItIsAdded) {
    std::vector<std::string> shown;
    check::Verdicts verdicts([&](const check::VerdictRow& row) { shown.push_back(row.step); });
    verdicts.judge(true, "a", "code", "");
    verdicts.judge(false, "b", "code", "");
    EXPECT_EQ(shown, (std::vector<std::string>{"a", "b"}));
    EXPECT_EQ(verdicts.count(check::Verdict::differs), 1u);
}

const std::string statistics =
    "\nStatistiques de performance :\n  Index chargé : oui\n  Fast path inchangé : non\n"
    "  Delta USN appliqué : oui\n  Fichiers : 15, candidats : 11, entrées index : 24\n"
    "  Hash sample calculés/réutilisés : 1/10\n  Hash complets calculés/réutilisés : 2/9\n"
    "  Comparaisons octet par octet : 7\n"
    "  Temps (ms) index/énumération/analyse/écriture/total : 0/1/2/3/6\n";

TEST(StatisticsReadingTest, EveryValueIsRead) {
    const auto told = check::read_statistics(statistics);
    ASSERT_TRUE(told.has_value());
    EXPECT_TRUE(told->index_loaded && !told->fast_path && told->delta);
    EXPECT_EQ(told->files, 15u);
    EXPECT_EQ(told->entries, 24u);
    EXPECT_EQ(told->full_computed, 2u);
    EXPECT_EQ(told->full_reused, 9u);
    EXPECT_EQ(told->byte_comparisons, 7u);
}

TEST(StatisticsReadingTest, StatisticsWithAMissingLineAreRefused) {
    for (const char* line : {"Index chargé", "Fast path", "Delta USN", "entrées index",
                             "Hash complets", "Comparaisons"}) {
        std::string text = statistics;
        text.replace(text.find(line), 3, "xxx");
        EXPECT_FALSE(check::read_statistics(text).has_value()) << line;
    }
}

std::optional<check::KitOptions> parse(std::vector<const wchar_t*> words) {
    words.insert(words.begin(), L"windows_check.exe");
    return check::parse_kit_options(static_cast<int>(words.size()), words.data());
}

TEST(KitOptionsTest, ValidOptionsAreParsedAndADriveBecomesItsRoot) {
    for (const wchar_t* word : {L"x", L"X:", L"x:\\"})
        EXPECT_EQ(parse({L"--yes", L"--drive", word})->drive, L"X:\\") << word;
    EXPECT_TRUE(parse({L"--yes"})->agreed);
    EXPECT_FALSE(parse({})->agreed);
    EXPECT_EQ(parse({L"--part", L"screen"})->part, check::Part::screen);
}

TEST(KitOptionsTest, InvalidOptionsAreRefused) {
    for (const std::vector<const wchar_t*>& words :
         std::vector<std::vector<const wchar_t*>>{{L"--drive"},
                                                  {L"--drive", L""},
                                                  {L"--drive", L"XY:"},
                                                  {L"--drive", L"1:"},
                                                  {L"--drive", L"X:\\a"},
                                                  {L"--folder"},
                                                  {L"--folder", L""},
                                                  {L"--drive", L"X:", L"--folder", L"a"},
                                                  {L"--part", L"other"},
                                                  {L"X:"}})
        EXPECT_FALSE(parse(words).has_value());
}

}  // namespace
}  // namespace larkspine::testing
