#include "live_steps.h"

#include <algorithm>

#include "base/path_forms.h"
#include "files.h"
#include "interruption.h"
#include "report_reader.h"
#include "rights.h"
#include "special_files.h"
#include "text.h"

namespace larkspine::check {
namespace {

constexpr const wchar_t* slow_name = L"lent";
constexpr const wchar_t* names[] = {L"original ", L"copie "};
constexpr std::uint64_t measured_size = 48U << 20;
constexpr std::uint64_t longest_size = 2ULL << 30;
// The time of a run on one thread: sixteen frames of the progress block.
constexpr std::uint64_t wanted_milliseconds = 2'000;
constexpr std::uint32_t ctrl_c_code = 0xC000013A;  // STATUS_CONTROL_C_EXIT

std::string hexadecimal(std::uint32_t code) {
    constexpr const char* digits = "0123456789ABCDEF";
    std::string text = "0x";
    for (int shift = 28; shift >= 0; shift -= 4)
        text += digits[code >> shift & 0xF];
    return text;
}

RunRequest request(const std::wstring& name, const std::wstring& index,
                   std::vector<std::wstring> arguments) {
    RunRequest made;
    made.name = name;
    made.arguments = std::move(arguments);
    made.index_folder = index;
    return made;
}

}  // namespace

SlowFolder::SlowFolder(RealPlace& place) : place_(place) {
    place_.make_folder(slow_name);
    for (unsigned pair = 0; pair < pairs; ++pair)
        for (const wchar_t* name : names) {
            const std::wstring path = file(pair, name);
            try {
                make_sparse_file(path, measured_size + pair);
            } catch (const std::runtime_error&) {
                resize_file(path, measured_size + pair);  // takes room without sparse files
            }
        }
}

std::wstring SlowFolder::file(unsigned pair, const wchar_t* name) const {
    return join_path(place_.path(slow_name), name + std::to_wstring(pair) + L".bin");
}

void SlowFolder::last_for_seconds(ProgramRun& program, const std::wstring& indexes) {
    const ULONGLONG start = GetTickCount64();
    static_cast<void>(program.run(
        request(L"mesure", join_path(indexes, L"mesure"), {root(), L"--no-index", L"-j", L"1"})));
    const ULONGLONG took = std::max<ULONGLONG>(GetTickCount64() - start, 10);
    const std::uint64_t size = std::min(measured_size * wanted_milliseconds / took, longest_size);
    for (unsigned pair = 0; size > measured_size && pair < pairs; ++pair)
        for (const wchar_t* name : names)
            resize_file(file(pair, name), size + pair);
}

SlowFolder::~SlowFolder() {
    remove_tree(place_.path(slow_name));
}

std::wstring SlowFolder::root() const {
    return join_path(place_.root(), slow_name);
}

void judge_screens(Judge& judge, ProgramRun& program, const SlowFolder& slow,
                   const std::wstring& indexes) {
    for (const unsigned code_page : {850U, 1252U, 65001U}) {
        const std::string step =
            "écran " + std::to_string(code_page) + " / screen " + std::to_string(code_page);
        const auto watched = program.run_watched(
            request(L"écran " + std::to_wstring(code_page), join_path(indexes, L"écran"),
                    {slow.root(), L"--no-index", L"-j", L"1"}),
            code_page, 0);
        const ScreenObservation& seen = watched.screen;
        if (!seen.trouble.empty()) {
            judge.verdicts().not_possible(step, "bloc/block", seen.trouble);
            continue;
        }
        judge.verdicts().judge(seen.code == 0 && watched.reports.size() == 1, step, "code",
                               std::to_string(seen.code));
        judge_screen(judge.verdicts(), step, seen, 2 * SlowFolder::pairs, SlowFolder::pairs);
    }
}

void judge_ctrl_c(Judge& judge, ProgramRun& program, const SlowFolder& slow,
                  const std::wstring& indexes) {
    const std::string step = "Ctrl+C";
    constexpr unsigned in_the_middle = 40;
    const std::wstring index = join_path(indexes, L"interrompu");
    const auto watched = program.run_watched(request(L"Ctrl+C", index, {slow.root(), L"-j", L"1"}),
                                             65001, in_the_middle);
    const ScreenObservation& seen = watched.screen;
    if (!seen.trouble.empty() || seen.shows("Analyse terminée.")) {
        judge.verdicts().not_possible(
            step, "code", seen.trouble.empty() ? "trop vite / too quick" : seen.trouble);
        return;
    }
    judge.verdicts().judge(seen.code == ctrl_c_code, step, "code", hexadecimal(seen.code));
    judge.verdicts().judge(
        watched.reports.empty(), step, "rapport/report",
        watched.reports.empty() ? "aucun / none" : "il y en a un / there is one");
    judge_cursor(judge.verdicts(), step, seen);
    judge.verdicts().judge(
        seen.shows("Analyse interrompue : les empreintes déjà calculées sont conservées dans "
                   "l’index."),
        step, "message", seen.rows.empty() ? "" : seen.rows.back());

    const RunOutcome next = program.run(request(L"après Ctrl+C", index, {slow.root(), L"--stats"}));
    const auto told = read_statistics(next.output);
    judge.verdicts().judge(next.code == 0 && told && told->full_reused > 0, step,
                           "empreintes gardées / digests kept",
                           told ? std::to_string(told->full_reused) + " réutilisées / reused"
                                : "pas de statistiques / no statistics");
}

void judge_fault(Judge& judge, ProgramRun& program, const SlowFolder& slow,
                 const std::wstring& indexes) {
    const std::string step = "faute du processeur / processor fault";
    try {
        const auto outcome = program.run_with_fault(request(
            L"faute", join_path(indexes, L"faute"), {slow.root(), L"--no-index", L"-j", L"1"}));
        if (!outcome) {
            judge.verdicts().not_possible(step, "code", "trop vite / too quick");
            return;
        }
        judge.judge_code(step, *outcome, 3);
        const std::string& said = outcome->errors;
        judge.verdicts().judge(
            said.find("Erreur fatale Larkspine : exception Windows non geree.\r\n") !=
                    std::string::npos &&
                said.find("Code exception : 0xC0000005 (") != std::string::npos &&
                said.find("Adresse : ") != std::string::npos && outcome->reports.empty(),
            step, "message", said);
    } catch (const Interrupted&) {
        throw;
    } catch (const std::runtime_error& error) {
        judge.verdicts().not_possible(step, "code", error.what());
    }
}

void judge_closed_root(Judge& judge, RealPlace& place) {
    const std::string step = "dossier illisible / folder that cannot be listed";
    const std::wstring closed = place.path(L"fermé");
    place.make_folder(L"fermé");
    try {
        deny_reading(closed);
        if (list_folder(closed))
            throw std::runtime_error("le système laisse lire / the system lets it be read");
        const RunOutcome outcome =
            judge.run_exactly(step, Judge::shared_index, {join_path(place.root(), L"fermé")});
        judge.judge_code(step, outcome, 3);
        judge.verdicts().judge(outcome.errors ==
                                   "L’analyse n’a pas pu être terminée.\n"
                                   "Erreur : root directory is not readable\n",
                               step, "message", outcome.errors);
    } catch (const Interrupted&) {
        allow_reading(closed);
        throw;
    } catch (const std::runtime_error& error) {
        judge.verdicts().not_possible(step, "code", error.what());
    }
    allow_reading(closed);
    remove_tree(closed);
}

}  // namespace larkspine::check
