#include "session.h"

#include "base_steps.h"
#include "change_steps.h"
#include "interruption.h"
#include "live_steps.h"
#include "ordinary_tree.h"
#include "special_tree.h"
#include "system_error.h"

namespace larkspine::check {
namespace {

void run_steps(RealPlace& place, ProgramRun& program, Judge& judge, const SessionFolders& folders,
               const std::function<void(const std::wstring&)>& mount) {
    make_ordinary_tree(place);
    {
        SpecialTree special(judge, place, folders.elsewhere, mount);
        judge_first_and_second_run(judge);
        special.judge_listing(judge.run("première exécution / first run (bis)"));
        special.judge_walk();
        for (const ChangeStep& step : change_steps()) {
            stop_if_interrupted();
            take_step(judge, step);
        }
        judge_options(judge);
        judge_restricted_run(judge);
        judge_refusals(judge);
        judge_journal(judge);
    }
    judge_closed_root(judge, place);
    const SlowFolder slow(place);
    judge_screens(judge, program, slow, folders.indexes);
    judge_ctrl_c(judge, program, slow, folders.indexes);
    judge_fault(judge, program, slow, folders.indexes);
}

}  // namespace

void run_session(RealPlace& place, ProgramRun& program, Verdicts& verdicts,
                 const SessionFolders& folders, std::string& journal_log,
                 const std::function<void(const std::wstring&)>& mount) {
    Judge judge(place, program, verdicts, folders.indexes);
    try {
        run_steps(place, program, judge, folders, mount);
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
