#include "change_steps.h"
#include "ordinary_tree.h"

namespace larkspine::check {
namespace {

constexpr const wchar_t* written = L"tenu\\écrit.bin";

// Judges one run against the present contents of the place.
void judge_now(Judge& judge, const std::string& step) {
    const RunOutcome outcome = judge.run(step);
    judge.judge_code(step, outcome, 0);
    judge.judge_way(step, outcome, Way::delta);
    judge.judge_groups(step, outcome, judge.reference(), judge.names());
}

}  // namespace

void judge_held_writer(Judge& judge) {
    Place& place = judge.place();
    if (!place.journal()) {
        // A listing of folders may or may not be up to date for such a file.
        judge.verdicts().not_possible("fichier tenu ouvert / file held open", "voie/way",
                                      place.why_no_journal());
        return;
    }
    place.write(written, small_contents());
    place.write(L"tenu\\égal.bin", small_contents());
    judge.run("fichiers à tenir");
    const std::string first = "première écriture, fichier tenu / first write, file held open";
    place.hold(written);
    place.overwrite(written, 0, "other bytes");
    judge_now(judge, first);

    const std::string further = "autre écriture, fichier tenu / further write, file held open";
    const Reference before = judge.reference();
    place.overwrite(written, 0, small_contents().substr(0, 11));
    const RunOutcome outcome = judge.run(further);
    judge.judge_code(further, outcome, 0);
    const bool as_before = judge.compare(outcome, before, judge.names()).empty();
    const auto differences = judge.compare(outcome, judge.reference(), judge.names());
    judge.verdicts().judge(
        as_before || differences.empty(), further, "groupes/groups",
        as_before ? "pas encore vue, comme docs/limits.md le dit / not seen yet, as docs/limits.md "
                    "says"
                  : told(differences));
    place.let_go();
    judge_now(judge, "fichier refermé / file closed");
}

}  // namespace larkspine::check
