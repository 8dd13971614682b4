// The finished program with one fault: runs it with its own arguments, then spoils the results.
// PLANTED_PROGRAM names the program, PLANTED_FAULT the fault, PLANTED_STATE a folder for the report
// of the earlier run:
//
//     wrong_group    another file is listed in the first group
//     stale_digest   a group of the earlier run is still reported although a file was rewritten
//     missed_rename  a renamed file is still reported under its old name
//     touched_index  the index gets another time
//     hidden_cursor  the cursor of the console stays hidden
//     wrong_code     the exit code is one too many
#include "base/win32_api.h"

#include <algorithm>
#include <string>

#include "base/path_forms.h"
#include "child.h"
#include "files.h"
#include "index/index_location.h"
#include "windows_check/planted_reports.h"

namespace larkspine::testing {
namespace {

using check::ListedName;

std::wstring variable(const wchar_t* name) {
    return read_environment(name).value_or(L"");
}

std::wstring current_folder() {
    return check::long_form(L".");
}

BOOL WINAPI leave_to_the_program(DWORD) {
    return TRUE;
}

DWORD run_program(int argc, wchar_t** argv) {
    SetConsoleCtrlHandler(leave_to_the_program, TRUE);
    check::ChildSettings start;
    start.program = variable(L"PLANTED_PROGRAM");
    start.arguments.assign(argv + 1, argv + argc);
    start.console = check::ChildConsole::shared;
    DWORD mode = 0;
    if (!GetConsoleMode(GetStdHandle(STD_OUTPUT_HANDLE), &mode)) {
        start.output = GetStdHandle(STD_OUTPUT_HANDLE);
        start.errors = GetStdHandle(STD_ERROR_HANDLE);
    }
    return check::Child(start).wait(INFINITE).value();
}

// The report in the current folder; empty when there is none.
std::wstring report_path() {
    for (const ListedName& entry : check::names_in(current_folder()))
        if (entry.name.starts_with(L"Fennick_Resultats_") &&
            !(entry.attributes & FILE_ATTRIBUTE_DIRECTORY))
            return join_path(current_folder(), entry.name);
    return {};
}

bool takes_the_index(int argc, wchar_t** argv) {
    return std::none_of(argv + 1, argv + argc, [](const std::wstring& argument) {
        return argument == L"--rebuild-index" || argument == L"--no-index";
    });
}

// The variable may hold several faults, separated by commas.
bool planted(const wchar_t* fault) {
    return (L',' + variable(L"PLANTED_FAULT") + L',').find(std::wstring(L",") + fault + L',') !=
           std::wstring::npos;
}

void spoil_report(bool with_index) {
    const std::wstring path = report_path();
    if (path.empty())
        return;
    std::string report = check::read_file(path);
    if (planted(L"wrong_group"))
        report = with_wrong_group(report);
    if (with_index) {
        const std::wstring state = join_path(variable(L"PLANTED_STATE"), L"earlier");
        const std::string earlier = check::exists(state) ? check::read_file(state) : "";
        check::write_file(state, report);
        if (planted(L"stale_digest"))
            report = with_stale_digest(earlier, report, size_on_disk);
        if (planted(L"missed_rename"))
            report = with_missed_rename(earlier, report, size_on_disk);
    }
    check::write_file(path, report);
}

void touch_index() {
    const std::wstring folder = check::long_form(variable(L"LARKSPINE_INDEX_DIRECTORY"));
    for (const ListedName& entry : check::names_in(folder))
        check::move_write_time(join_path(folder, entry.name), 1);
}

void hide_cursor() {
    const unique_handle console =
        check::open_file(L"CONOUT$", GENERIC_READ | GENERIC_WRITE, OPEN_EXISTING);
    const CONSOLE_CURSOR_INFO hidden = {25, FALSE};
    SetConsoleCursorInfo(console.get(), &hidden);
}

}  // namespace
}  // namespace larkspine::testing

int wmain(int argc, wchar_t** argv) {
    using namespace larkspine::testing;
    const DWORD code = run_program(argc, argv);
    spoil_report(takes_the_index(argc, argv));
    if (planted(L"touched_index"))
        touch_index();
    if (planted(L"hidden_cursor"))
        hide_cursor();
    return static_cast<int>(code) + (planted(L"wrong_code") ? 1 : 0);
}
