#include "base_steps.h"

#include <algorithm>

#include "base/path_forms.h"
#include "interruption.h"
#include "text.h"

namespace larkspine::check {
namespace {

constexpr std::uint64_t ordinary_journal = 32U << 20;
constexpr std::uint64_t small_journal = 1U << 20;

std::optional<std::int64_t> next_usn(Place& place) {
    const auto journal = place.journal();
    return journal ? std::optional(journal->NextUsn) : std::nullopt;
}

// Right when the index has the same bytes and, with `time_too`, the same time of last write.
void judge_index(Judge& judge, const std::string& step, const IndexState& before, bool time_too) {
    IndexState after = judge.index_state(Judge::shared_index);
    bool same = after == before;
    if (!time_too)
        same = std::ranges::equal(before, after, [](const auto& a, const auto& b) {
            return a.first == b.first && a.second.bytes == b.second.bytes;
        });
    judge.verdicts().judge(
        same, step, "index",
        same ? "intouché / untouched" : "l’index a été touché / the index was touched");
}

void judge_second_run(Judge& judge, const RunOutcome& first) {
    const std::string step = "deuxième exécution / second run";
    constexpr int attempts = 5;
    RunOutcome earlier = first;
    for (int attempt = 1;; ++attempt) {
        const auto usn = next_usn(judge.place());
        const IndexState index = judge.index_state(Judge::shared_index);
        const RunOutcome second = judge.run(step);
        const auto statistics = read_statistics(second.output);
        // Windows itself may write to a new volume. The next run then rightly takes the delta.
        const bool still = usn == next_usn(judge.place());
        if (usn && attempt < attempts && (!still || !statistics || !statistics->fast_path)) {
            earlier = second;
            pause_for(500);
            continue;
        }
        judge.judge_code(step, second, 0);
        if (usn && !still) {
            judge.verdicts().not_possible(step, "voie/way",
                                          "le volume n’est jamais calme / the volume is never "
                                          "still");
            return;
        }
        judge.judge_way(step, second, Way::unchanged);
        judge.verdicts().judge(second.report() == earlier.report() && !second.report().empty(),
                               step, "rapport/report", "mêmes octets / same bytes");
        judge_index(judge, step, index, usn.has_value());
        return;
    }
}

void judge_run(Judge& judge, const std::string& step, const RunOutcome& outcome, Way way) {
    judge.judge_code(step, outcome, 0);
    judge.judge_way(step, outcome, way);
    judge.judge_groups(step, outcome, judge.reference(), judge.names());
}

void judge_refusal(Judge& judge, const std::string& step, std::vector<std::wstring> arguments,
                   std::uint32_t code, const std::string& message) {
    const RunOutcome outcome = judge.run_exactly(step, Judge::shared_index, std::move(arguments));
    judge.judge_code(step, outcome, code);
    judge.verdicts().judge(outcome.errors == message && outcome.reports.empty(), step, "message",
                           outcome.errors);
}

}  // namespace

void judge_first_and_second_run(Judge& judge) {
    const std::string step = "première exécution / first run";
    const RunOutcome first = judge.run(step);
    judge_run(judge, step, first, Way::afresh);
    judge_second_run(judge, first);
}

void judge_journal(Judge& judge) {
    Place& place = judge.place();
    const std::string anew = "journal supprimé et recréé / journal deleted, made anew";
    const std::string wrapped = "journal trop court / journal that has wrapped";
    const auto before = place.journal();
    if (!before) {
        judge.verdicts().not_possible(anew, "voie/way", place.why_no_journal());
        judge.verdicts().not_possible(wrapped, "voie/way", place.why_no_journal());
        return;
    }
    judge.run(anew);
    place.delete_journal();
    place.create_journal(ordinary_journal, ordinary_journal / 4);
    judge_run(judge, anew, judge.run(anew), Way::anew);

    place.delete_journal();
    place.create_journal(small_journal, small_journal / 4);
    judge.run(wrapped);
    const auto usn = next_usn(place);
    if (!usn || !place.outrun_journal(*usn, L"passage"))
        judge.verdicts().not_possible(wrapped, "voie/way",
                                      "le journal garde tout / the journal keeps everything");
    else
        judge_run(judge, wrapped, judge.run(wrapped), Way::anew);
    place.delete_journal();
    place.create_journal(ordinary_journal, ordinary_journal / 4);
    judge.run(wrapped + " (fin)");
}

void judge_options(Judge& judge) {
    const std::string without = "--no-index";
    const IndexState index = judge.index_state(Judge::shared_index);
    const RunOutcome no_index = judge.run(without, {L"--no-index"});
    judge_run(judge, without, no_index, Way::afresh);
    judge_index(judge, without, index, true);

    const std::string rebuild = "--rebuild-index";
    const RunOutcome rebuilt = judge.run(rebuild, {L"--rebuild-index"});
    judge_run(judge, rebuild, rebuilt, Way::afresh);
    const auto told_rebuilt = read_statistics(rebuilt.output);
    judge.verdicts().judge(told_rebuilt && told_rebuilt->full_reused == 0, rebuild, "empreintes",
                           "toutes recalculées / all computed again");

    const std::string verify = "--verify-bytes";
    const RunOutcome verified = judge.run(verify, {L"--verify-bytes"});
    judge.judge_code(verify, verified, 0);
    judge.judge_groups(verify, verified, judge.reference(), judge.names());
    const auto told_verified = read_statistics(verified.output);
    judge.verdicts().judge(told_verified && told_verified->byte_comparisons > 0, verify,
                           "comparaisons",
                           told_verified ? std::to_string(told_verified->byte_comparisons) : "");

    const std::string workers = "-j 1, -j 8";
    const RunOutcome one = judge.run(workers, {L"-j", L"1", L"--no-index"});
    const RunOutcome eight = judge.run(workers, {L"-j", L"8", L"--no-index"});
    judge.verdicts().judge(!one.report().empty() && one.report() == eight.report(), workers,
                           "rapport/report", "mêmes octets / same bytes");
}

void judge_restricted_run(Judge& judge) {
    const std::string step = "sans droits d’administrateur / without administrative rights";
    try {
        const RunOutcome outcome =
            judge.run_with_index(step, L"sans droits", {}, Rights::restricted);
        judge.judge_code(step, outcome, 0);
        judge.judge_way(step, outcome, Way::walk);
        judge.judge_groups(step, outcome, judge.reference(), Names::least);
    } catch (const Interrupted&) {
        throw;
    } catch (const std::runtime_error& error) {
        judge.verdicts().not_possible(step, "code", error.what());
    }
}

void judge_refusals(Judge& judge) {
    const std::wstring root = judge.place().root();
    const std::string no_folder = "Impossible d’accéder au dossier sélectionné.\n";
    judge_refusal(judge, "paramètres invalides / invalid parameters", {root, L"--inconnu"}, 1,
                  "Les paramètres fournis ne sont pas valides.\n");
    judge_refusal(judge, "dossier absent / missing folder", {join_path(root, L"absent")}, 2,
                  no_folder);
    judge_refusal(judge, "fichier au lieu d’un dossier / file in place of a folder",
                  {join_path(root, L"seul.txt")}, 2, no_folder);

    const std::string step = "rapport impossible à écrire / report that cannot be written";
    const RunOutcome outcome = judge.run_with_blocked_report(step);
    judge.judge_code(step, outcome, 4);
    judge.verdicts().judge(outcome.errors == "Impossible d’enregistrer les résultats.\n", step,
                           "message", outcome.errors);
}

}  // namespace larkspine::check
