#include "judge.h"

#include <iterator>
#include <utility>

#include "base/path_forms.h"
#include "files.h"
#include "report_reader.h"
#include "text.h"

namespace larkspine::check {
namespace {

// Windows keeps its own files on a volume. Nobody, or only the system, can read them.
constexpr const wchar_t* system_folders[] = {L"System Volume Information", L"$RECYCLE.BIN",
                                             L"$Extend"};

std::string told_way(const RunStatistics& told) {
    const auto word = [](bool flag) { return flag ? "oui" : "non"; };
    return std::string("Index chargé : ") + word(told.index_loaded) +
           ", Fast path inchangé : " + word(told.fast_path) +
           ", Delta USN appliqué : " + word(told.delta) + ", " + std::to_string(told.files) +
           " fichiers, " + std::to_string(told.entries) + " entrées";
}

bool is_way(const RunStatistics& told, Way way) {
    // The table lists folders too, a walk only files.
    const bool table = told.entries > told.files;
    switch (way) {
        case Way::afresh:
            return !told.index_loaded && !told.fast_path && !told.delta && table;
        case Way::unchanged:
            return told.index_loaded && told.fast_path && !told.delta;
        case Way::delta:
            return told.index_loaded && !told.fast_path && told.delta;
        case Way::anew:
            return told.index_loaded && !told.fast_path && !told.delta && table;
        case Way::walk:
            return !told.fast_path && !told.delta && !table;
    }
    return false;
}

}  // namespace

Judge::Judge(Place& place, Program& program, Verdicts& verdicts, std::wstring indexes)
    : place_(place), program_(program), verdicts_(verdicts), indexes_(std::move(indexes)) {}

RunOutcome Judge::run(const std::string& step, std::vector<std::wstring> arguments) {
    return run_with_index(step, shared_index, std::move(arguments));
}

RunOutcome Judge::run_with_index(const std::string& step, const std::wstring& index,
                                 std::vector<std::wstring> arguments, Rights rights) {
    arguments.insert(arguments.begin(), {place_.root(), L"--stats"});
    return run_exactly(step, index, std::move(arguments), rights);
}

RunOutcome Judge::run_exactly(const std::string& step, const std::wstring& index,
                              std::vector<std::wstring> arguments, Rights rights) {
    RunRequest request = request_for(step, index, std::move(arguments));
    request.rights = rights;
    return run_logged(request);
}

RunOutcome Judge::run_with_blocked_report(const std::string& step) {
    RunRequest request = request_for(step, shared_index, {place_.root()});
    request.report_blocked = true;
    return run_logged(request);
}

RunRequest Judge::request_for(const std::string& step, const std::wstring& index,
                              std::vector<std::wstring> arguments) {
    std::wstring number = std::to_wstring(++runs_);
    number.insert(0, number.size() < 3 ? 3 - number.size() : 0, L'0');
    RunRequest request;
    request.name = number + L' ' + wide(step.substr(0, step.find(" / ")));
    request.arguments = std::move(arguments);
    request.index_folder = join_path(indexes_, index);
    return request;
}

RunOutcome Judge::run_logged(const RunRequest& request) {
    RunOutcome outcome = program_.run(request);
    log_journal(request.name);
    return outcome;
}

void Judge::log_journal(const std::wstring& name) {
    const auto journal = place_.journal();
    journal_log_ += utf8(name) + ": ";
    if (journal)
        journal_log_ += "id " + std::to_string(journal->UsnJournalID) + ", first " +
                        std::to_string(journal->FirstUsn) + ", next " +
                        std::to_string(journal->NextUsn) + ", lowest valid " +
                        std::to_string(journal->LowestValidUsn) + ", maximum size " +
                        std::to_string(journal->MaximumSize) + ", allocation delta " +
                        std::to_string(journal->AllocationDelta);
    else
        journal_log_ += place_.why_no_journal();
    journal_log_ += "\r\n";
}

Reference Judge::reference() const {
    Reference made = make_reference(walk_files(place_.walked_root(), place_.root()));
    made.leave_out(join_path(place_.root(), never_scanned));
    for (const wchar_t* folder : system_folders)
        made.leave_out(join_path(place_.root(), folder));
    return made;
}

Names Judge::names() {
    return place_.journal() ? Names::any : Names::least;
}

std::vector<Difference> Judge::compare(const RunOutcome& outcome, const Reference& reference,
                                       Names names) const {
    std::string report = outcome.report();
    for (const wchar_t* folder : system_folders)
        report = without_rows_below(report, join_path(place_.root(), folder));
    return compare_report(report, reference, names);
}

void Judge::judge_code(const std::string& step, const RunOutcome& outcome, std::uint32_t code) {
    std::string detail = std::to_string(outcome.code);
    if (outcome.code != code)
        detail += ", attendu / expected: " + std::to_string(code) + "; " + outcome.errors;
    verdicts_.judge(outcome.code == code, step, "code", detail);
}

void Judge::judge_way(const std::string& step, const RunOutcome& outcome, Way way) {
    constexpr const char* what = "voie/way";
    const auto told = read_statistics(outcome.output);
    if (!told)
        verdicts_.differs(step, what, "pas de statistiques / no statistics");
    else if (way != Way::walk && !place_.journal())
        verdicts_.not_possible(step, what, place_.why_no_journal());
    else
        verdicts_.judge(is_way(*told, way), step, what, told_way(*told));
}

void Judge::judge_groups(const std::string& step, const RunOutcome& outcome,
                         const Reference& reference, Names names) {
    const auto differences = compare(outcome, reference, names);
    verdicts_.judge(differences.empty(), step, "groupes/groups", told(differences));
}

IndexState Judge::index_state(const std::wstring& index) const {
    IndexState state;
    const std::wstring folder = join_path(indexes_, index);
    for (const ListedName& entry : names_in(folder)) {
        const std::wstring path = join_path(folder, entry.name);
        state[entry.name] = {read_file(path), write_time_of(path)};
    }
    return state;
}

}  // namespace larkspine::check
