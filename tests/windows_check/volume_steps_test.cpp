// The kit's steps over the fake NTFS volume: every row is right for the program as it is, and each
// planted fault is reported in its row.
#include "base_steps.h"
#include "change_steps.h"
#include "ordinary_tree.h"
#include "windows_check/fake_place.h"
#include "windows_check/planted_reports.h"

namespace larkspine::testing {
namespace {

using check::Verdict;
using check::VerdictRow;

// Runs the program and spoils its results.
class SpoiledProgram : public check::Program {
  public:
    using Spoil = std::function<void(const check::RunRequest&, check::RunOutcome&)>;
    SpoiledProgram(check::Program& program, Spoil spoil)
        : program_(program), spoil_(std::move(spoil)) {}

    check::RunOutcome run(const check::RunRequest& request) override {
        check::RunOutcome outcome = program_.run(request);
        if (spoil_)
            spoil_(request, outcome);
        return outcome;
    }

  private:
    check::Program& program_;
    Spoil spoil_;
};

bool takes_the_index(const check::RunRequest& request) {
    return std::ranges::find(request.arguments, L"--rebuild-index") == request.arguments.end() &&
           std::ranges::find(request.arguments, L"--no-index") == request.arguments.end();
}

class VolumeStepsTest : public ::testing::Test {
  protected:
    VolumeStepsTest() { check::make_ordinary_tree(place); }

    // The first two runs, then the changes up to the one whose title begins with `last`.
    void take_steps_up_to(std::string_view last, SpoiledProgram::Spoil spoil) {
        SpoiledProgram spoiled(program, std::move(spoil));
        check::Judge judge(place, spoiled, verdicts, indexes);
        check::judge_first_and_second_run(judge);
        for (const check::ChangeStep& step : check::change_steps()) {
            check::take_step(judge, step);
            if (std::string_view(step.title).starts_with(last))
                return;
        }
    }

    // The rows with that verdict, rendered.
    std::vector<std::string> rows(Verdict verdict) const {
        std::vector<std::string> lines;
        for (const VerdictRow& row : verdicts.rows())
            if (row.verdict == verdict)
                lines.push_back(render(row));
        return lines;
    }

    const VerdictRow& row(std::string_view step, std::string_view what) const {
        for (const VerdictRow& one : verdicts.rows())
            if (one.step.starts_with(step) && one.what.starts_with(what))
                return one;
        throw std::runtime_error("no such row");
    }

    // Keeps the report of a run that takes the index, and returns that of the run before.
    std::string exchange_earlier(const check::RunOutcome& outcome) {
        return std::exchange(earlier_, outcome.report());
    }

    std::int64_t size_of(const std::wstring& path) {
        // Q:\x lies in the folder of the fake volume.
        return size_on_disk(strip_long_path_prefix(place.volume().real_path(path.substr(3))));
    }

    FakePlace place;
    ProgramInProcess program{place};
    TempTree work;
    std::wstring indexes = strip_long_path_prefix(work.folder(L"index"));
    check::Verdicts verdicts;

  private:
    std::string earlier_;
    ImportReset reset_;
};

TEST_F(VolumeStepsTest, EveryRowIsRightForTheProgramWithoutAFault) {
    check::Judge judge(place, program, verdicts, indexes);
    check::judge_first_and_second_run(judge);
    for (const check::ChangeStep& step : check::change_steps())
        check::take_step(judge, step);
    check::judge_held_writer(judge);
    check::judge_options(judge);
    check::judge_restricted_run(judge);
    check::judge_journal(judge);
    EXPECT_THAT(rows(Verdict::differs), ::testing::IsEmpty());
    EXPECT_THAT(rows(Verdict::not_possible), ::testing::IsEmpty());
    EXPECT_EQ(verdicts.rows().size(), 131u);
    EXPECT_EQ(
        row("deuxième", "voie").detail,
        "Index chargé : oui, Fast path inchangé : oui, Delta USN appliqué : non, 15 fichiers, "
        "24 entrées");
    EXPECT_THAT(row("renommer un dossier", "voie").detail,
                ::testing::HasSubstr("Delta USN appliqué : oui"));
    EXPECT_THAT(row("retirer un lien", "groupes").detail,
                ::testing::HasSubstr("comme docs/limits.md le dit"));
    EXPECT_THAT(row("autre écriture", "groupes").detail,
                ::testing::HasSubstr("pas encore vue, comme docs/limits.md le dit"));
    EXPECT_THAT(row("journal trop court", "voie").detail,
                ::testing::HasSubstr("Index chargé : oui, Fast path inchangé : non, Delta USN "
                                     "appliqué : non"));
}

TEST_F(VolumeStepsTest, AWrongGroupIsReported) {
    take_steps_up_to("créer", [](const check::RunRequest&, check::RunOutcome& outcome) {
        outcome.reports = {with_wrong_group(outcome.report())};
    });
    EXPECT_EQ(row("première", "groupes").verdict, Verdict::differs);
    EXPECT_THAT(row("créer un fichier", "groupes").detail,
                ::testing::StartsWith("groupe faux / wrong group: contenus différents"));
    EXPECT_EQ(row("créer un fichier", "--rebuild-index").verdict, Verdict::differs);
}

TEST_F(VolumeStepsTest, AStaleDigestIsReported) {
    take_steps_up_to(
        "écrire", [this](const check::RunRequest& request, check::RunOutcome& outcome) {
            if (takes_the_index(request))
                outcome.reports = {
                    with_stale_digest(exchange_earlier(outcome), outcome.report(),
                                      [this](const std::wstring& path) { return size_of(path); })};
        });
    EXPECT_THAT(row("écrire dans un fichier", "groupes").detail,
                ::testing::StartsWith("empreinte ou entrée périmée de l’index / stale digest"));
    EXPECT_EQ(row("écrire dans un fichier", "--rebuild-index").verdict, Verdict::right);
}

TEST_F(VolumeStepsTest, AMissedRenameIsReported) {
    take_steps_up_to(
        "renommer", [this](const check::RunRequest& request, check::RunOutcome& outcome) {
            if (takes_the_index(request))
                outcome.reports = {
                    with_missed_rename(exchange_earlier(outcome), outcome.report(),
                                       [this](const std::wstring& path) { return size_of(path); })};
        });
    EXPECT_THAT(row("renommer un fichier", "groupes").detail,
                ::testing::StartsWith("renommage ou suppression manqués / missed rename"));
    EXPECT_EQ(row("renommer un fichier", "--rebuild-index").verdict, Verdict::right);
}

TEST_F(VolumeStepsTest, ATouchedIndexIsReported) {
    SpoiledProgram touching(program, [](const check::RunRequest& request, check::RunOutcome&) {
        for (const check::ListedName& entry : check::names_in(request.index_folder))
            check::move_write_time(request.index_folder + L'\\' + entry.name, 1);
    });
    check::Judge judge(place, touching, verdicts, indexes);
    check::judge_first_and_second_run(judge);
    check::judge_options(judge);
    EXPECT_EQ(rows(Verdict::differs).size(), 2u);
    EXPECT_EQ(row("deuxième", "index").detail, "l’index a été touché / the index was touched");
    EXPECT_EQ(row("deuxième", "index").verdict, Verdict::differs);
    EXPECT_EQ(row("--no-index", "index").verdict, Verdict::differs);
}

TEST_F(VolumeStepsTest, AWrongExitCodeIsReported) {
    take_steps_up_to(
        "créer", [](const check::RunRequest&, check::RunOutcome& outcome) { outcome.code += 1; });
    EXPECT_EQ(row("première", "code").verdict, Verdict::differs);
    EXPECT_THAT(row("première", "code").detail, ::testing::StartsWith("1, attendu / expected: 0"));
}

TEST_F(VolumeStepsTest, ADeltaThatIsNotAppliedIsReported) {
    take_steps_up_to("créer", [this](const check::RunRequest&, check::RunOutcome&) {
        place.volume().restamp_journal();
    });
    EXPECT_EQ(row("créer un fichier", "voie").verdict, Verdict::differs);
    EXPECT_EQ(row("créer un fichier", "groupes").verdict, Verdict::right);
}

}  // namespace
}  // namespace larkspine::testing
