#include "base/win32_api.h"

#include <memory>
#include <string>

#include "base/path_forms.h"
#include "console_text.h"
#include "files.h"
#include "interruption.h"
#include "kit_options.h"
#include "place_choice.h"
#include "program_run.h"
#include "rights.h"
#include "screen_watch.h"
#include "session.h"
#include "system_facts.h"
#include "text.h"
#include "work_folder.h"

// Read by MinGW's start-up code: arguments arrive as they were typed.
extern "C" int _dowildcard;
int _dowildcard = 0;

namespace larkspine::check {
namespace {

enum ExitCode : std::uint8_t { all_right = 0, something_differs = 1, could_not_work = 2 };

std::wstring own_program() {
    std::wstring path(32'768, L'\0');
    path.resize(GetModuleFileNameW(nullptr, path.data(), static_cast<DWORD>(path.size())));
    return path;
}

void finish(const WorkFolder& work, const Verdicts& verdicts, const std::string& trouble,
            const std::string& journal) {
    const std::string table = render(verdicts) + (trouble.empty() ? "" : "\r\n" + trouble + "\r\n");
    work.write_result(table, system_facts(), journal);
    say("\n" + render_counts(verdicts) + "\nRésultat à renvoyer / result to send back:\n  " +
        utf8(strip_long_path_prefix(work.zip())) + "\n");
}

int check_program(const KitOptions& options) {
    const std::wstring own = own_program();
    const std::wstring program =
        options.program.empty() ? join_path(parent_of(own), L"larkspine.exe") : options.program;
    if (!exists(long_form(program))) {
        say_error("larkspine.exe : absent, à côté de ce programme / missing beside this program\n");
        return could_not_work;
    }
    say(description_of(options));
    if (!options.agreed) {
        say("\nContinuer ? Tapez oui. / Go on? Type yes: ");
        if (!agreed())
            return could_not_work;
    }
    catch_interruptions();
    const WorkFolder work;
    Verdicts verdicts([](const VerdictRow& row) { say(render(row) + "\n"); });
    std::string journal;
    std::string trouble;
    try {
        const std::unique_ptr<ChosenPlace> chosen = choose_place(options, work);
        RealPlace place(chosen->root());
        chosen->prepare(place);
        ProgramSettings settings;
        settings.program = strip_long_path_prefix(long_form(program));
        settings.watcher = own;
        settings.runs = strip_long_path_prefix(work.runs());
        settings.local_data = join_path(chosen->root(), L"profil");
        ProgramRun runs(settings);
        run_session(place, runs, verdicts,
                    {strip_long_path_prefix(work.indexes()), work.elsewhere()}, journal,
                    chosen->mount(), options.part);
    } catch (const std::exception& error) {
        trouble = std::string("Arrêt / stopped: ") + error.what();
        say_error(trouble + "\n");
    }
    finish(work, verdicts, trouble, journal);
    if (!trouble.empty())
        return could_not_work;
    return verdicts.count(Verdict::differs) == 0 ? all_right : something_differs;
}

int run(int argc, const wchar_t* const* argv) {
    if (argc > 1 && std::wstring_view(argv[1]) == L"--watch")
        return watch_screen(argc - 2, argv + 2);
    const auto options = parse_kit_options(argc, argv);
    int code = could_not_work;
    try {
        if (options)
            code = check_program(*options);
        else
            say_error(
                "windows_check.exe [--yes] [--drive X: | --folder DOSSIER] "
                "[--program larkspine.exe]\n");
    } catch (const std::exception& error) {
        say_error(std::string("Arrêt / stopped: ") + error.what() + "\n");
    }
    end_of_clean_up();
    pause_in_own_window();
    return code;
}

}  // namespace
}  // namespace larkspine::check

int wmain(int argc, wchar_t** argv) {
    return larkspine::check::run(argc, argv);
}
