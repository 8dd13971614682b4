#include "app/run.h"

#include "base/win32_api.h"

#include <exception>
#include <iostream>
#include <iterator>
#include <optional>
#include <string>

#include "app/banner.h"
#include "app/console_pause.h"
#include "app/interruption.h"
#include "app/options.h"
#include "app/progress_display.h"
#include "app/statistics_report.h"
#include "base/path.h"
#include "engine/scan_driver.h"
#include "report/results_csv.h"

namespace larkspine {
namespace {

constexpr const wchar_t* kept_text =
    L"Analyse interrompue : les empreintes déjà calculées sont conservées dans l’index.\n";

// Exception messages are narrow; each byte becomes one character. Allocates nothing: the exception
// may be about memory, and a second one from here would end the program without a message.
void print_error(const std::exception& error) {
    std::wcerr << L"Erreur : ";
    wchar_t wide[64];
    for (const char* text = error.what(); *text != '\0';) {
        std::streamsize length = 0;
        for (; *text != '\0' && length < std::ssize(wide); ++text)
            wide[length++] = static_cast<unsigned char>(*text);
        std::wcerr.write(wide, length);
    }
    std::wcerr << L'\n';
}

// For a handler: prints what could not be finished, and the exception that is being handled.
void print_handled_exception(const wchar_t* unfinished) {
    std::wcerr << unfinished;
    try {
        throw;
    } catch (const std::exception& error) {
        print_error(error);
    } catch (...) {
        std::wcerr << L"Erreur : exception C++ inconnue.\n";
    }
}

bool is_existing_folder(const std::wstring& path) {
    const DWORD attributes = GetFileAttributesW(path.c_str());
    return attributes != INVALID_FILE_ATTRIBUTES && (attributes & FILE_ATTRIBUTE_DIRECTORY) != 0;
}

// How a scan under the progress display ended.
struct ScanOutcome {
    std::optional<ScanResult> result;  // empty when it threw; the message has been printed
    bool interrupted = false;
};

ScanOutcome scan_with_display(const ScanOptions& options) {
    ScanProgress progress;
    ProgressDisplay display;
    ScanInterruption interruption(progress, display);
    ScanOutcome outcome;
    try {
        outcome.result = scan(options, progress);
    } catch (...) {
        interruption.finish();
        print_handled_exception(L"L’analyse n’a pas pu être terminée.\n");
        return {};
    }
    // Outside of the try block: a failure of the display is not reported as one of the scan.
    interruption.finish();
    outcome.interrupted = progress.stop_requested;
    return outcome;
}

std::uint64_t count_duplicates(const std::vector<DuplicateGroup>& groups) {
    std::uint64_t duplicates = 0;
    for (const DuplicateGroup& group : groups)
        if (group.size() >= 2)
            duplicates += group.size() - 1;
    return duplicates;
}

void print_summary(const ScanResult& result, const std::wstring& report) {
    const std::uint64_t duplicates = count_duplicates(result.groups);
    // The stream may still be in the failed state of a banner that could not be written.
    std::wcout.clear();
    std::wcout << L"Analyse terminée.\n\n"
               << L"Documents détectés : " << result.statistics.files << L'\n';
    if (duplicates == 0)
        std::wcout << L"Aucun doublon trouvé.\n";
    else
        std::wcout << L"Doublons trouvés : " << duplicates << L'\n';
    std::wcout << L"Résultats enregistrés dans :\n" << strip_long_path_prefix(report) << L'\n';
}

}  // namespace

int run(int argc, const wchar_t* const* argv) {
    std::wcout << banner_text() << std::flush;

    const std::optional<ScanOptions> options = parse_options(argc, argv);
    if (!options) {
        std::wcerr << L"Les paramètres fournis ne sont pas valides.\n";
        return exit_invalid_parameters;
    }
    if (!is_existing_folder(to_long_path(options->root))) {
        std::wcerr << L"Impossible d’accéder au dossier sélectionné.\n";
        return exit_folder_not_accessible;
    }

    const auto [result, interrupted] = scan_with_display(*options);
    if (!result)
        return exit_exception;
    if (interrupted) {
        std::wcerr << (result->index_saved ? kept_text : interrupted_text);
        // A user who interrupts a run does not want to press a key as well.
        pause_on_exit = false;
        return exit_interrupted;
    }

    const std::optional<std::wstring> report = results_file_path();
    if (!report || !write_results_csv(*report, result->groups)) {
        std::wcerr << L"Impossible d’enregistrer les résultats.\n";
        return exit_report_not_written;
    }
    print_summary(*result, *report);
    if (options->show_stats)
        print_statistics(result->statistics);
    return exit_success;
}

int run_guarded(int argc, const wchar_t* const* argv) {
    int code = exit_exception;
    try {
        code = run(argc, argv);
    } catch (...) {
        show_console_cursor();
        print_handled_exception(L"Larkspine n’a pas pu terminer l’opération.\n");
    }
    flush_and_pause();
    return code;
}

}  // namespace larkspine
