#include "session.h"

#include "base_steps.h"
#include "change_steps.h"
#include "interruption.h"
#include "live_steps.h"
#include "ordinary_tree.h"
#include "special_tree.h"

namespace larkspine::check {
namespace {

// The special files are part of the first listing, and stay for all later steps.
void run_listing(RealPlace& place, Judge& judge, const SessionFolders& folders,
                 const std::function<void(const std::wstring&)>& mount,
                 const std::function<void()>& meanwhile) {
    SpecialTree special(judge, place, folders.elsewhere, mount);
    judge_first_and_second_run(judge);
    special.judge_listing(judge.run("volume entier / whole volume"));
    special.judge_walk();
    meanwhile();
}

void run_screen(RealPlace& place, ProgramRun& program, Judge& judge,
                const SessionFolders& folders) {
    SlowFolder slow(place);
    slow.last_for_seconds(program, folders.indexes);
    judge_screens(judge, program, slow, folders.indexes);
    judge_ctrl_c(judge, program, slow, folders.indexes);
    judge_fault(judge, program, slow, folders.indexes);
}

void run_parts(RealPlace& place, ProgramRun& program, Judge& judge, const SessionFolders& folders,
               const std::function<void(const std::wstring&)>& mount, Part part) {
    const auto wanted = [&](Part one) { return part == Part::all || part == one; };
    const auto run_others = [&] {
        if (wanted(Part::changes)) {
            judge.run("index");
            for (const ChangeStep& step : change_steps()) {
                stop_if_interrupted();
                take_step(judge, step);
            }
            judge_held_writer(judge);
        }
        if (wanted(Part::options)) {
            judge.run("index");
            judge_options(judge);
            judge_restricted_run(judge);
        }
        if (wanted(Part::refusals)) {
            judge_refusals(judge);
            judge_closed_root(judge, place);
        }
        if (wanted(Part::journal))
            judge_journal(judge);
    };
    make_ordinary_tree(place);
    if (wanted(Part::listing))
        run_listing(place, judge, folders, mount, run_others);
    else
        run_others();
    if (wanted(Part::screen))
        run_screen(place, program, judge, folders);
}

}  // namespace

void run_session(RealPlace& place, ProgramRun& program, Verdicts& verdicts,
                 const SessionFolders& folders, std::string& journal_log,
                 const std::function<void(const std::wstring&)>& mount, Part part) {
    Judge judge(place, program, verdicts, folders.indexes);
    try {
        run_parts(place, program, judge, folders, mount, part);
    } catch (const std::exception&) {
        journal_log = judge.journal_log();
        throw;
    }
    journal_log = judge.journal_log();
    if (program.starts_repeated() == 0)
        verdicts.right("démarrages / starts", "code");
    else
        verdicts.not_possible("démarrages / starts", "code",
                              std::to_string(program.starts_repeated()) +
                                  " exécution(s) sans un mot, recommencée(s) / run(s) that ended "
                                  "without a word, started again");
}

}  // namespace larkspine::check
