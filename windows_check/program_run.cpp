#include "program_run.h"

#include <cwchar>
#include <iterator>
#include <utility>

#include "base/path_forms.h"
#include "child.h"
#include "files.h"
#include "rights.h"
#include "system_error.h"
#include "text.h"

namespace larkspine::check {
namespace {

constexpr DWORD longest_run = 300'000;  // milliseconds, as all times here
constexpr DWORD between_looks = 1;

// The reports that a run wrote. The folders that block reports are not counted.
std::vector<std::string> reports_in(const std::wstring& folder) {
    std::vector<std::string> reports;
    for (const ListedName& entry : names_in(folder))
        if (starts_with(entry.name, L"Fennick_Resultats_") &&
            !(entry.attributes & FILE_ATTRIBUTE_DIRECTORY))
            reports.push_back(read_file(join_path(folder, entry.name)));
    return reports;
}

// Makes a folder at each name that a report of the next minute could have.
void block_reports(const std::wstring& folder) {
    constexpr std::uint64_t second = 10'000'000;
    FILETIME now = {};
    GetSystemTimeAsFileTime(&now);
    for (std::uint64_t ahead = 0; ahead < 60; ++ahead) {
        const std::uint64_t value = filetime_value(now) + ahead * second;
        const FILETIME time = {static_cast<DWORD>(value), static_cast<DWORD>(value >> 32)};
        SYSTEMTIME utc = {};
        SYSTEMTIME local = {};
        FileTimeToSystemTime(&time, &utc);
        SystemTimeToTzSpecificLocalTime(nullptr, &utc, &local);
        wchar_t name[64];
        std::swprintf(name, std::size(name), L"Fennick_Resultats_%04u-%02u-%02u_%02u-%02u-%02u.csv",
                      unsigned{local.wYear}, unsigned{local.wMonth}, unsigned{local.wDay},
                      unsigned{local.wHour}, unsigned{local.wMinute}, unsigned{local.wSecond});
        make_folders(join_path(folder, name));
    }
}

void copy_index(const std::wstring& index, const std::wstring& folder) {
    for (const ListedName& entry : names_in(index))
        write_file(join_path(folder, entry.name), read_file(join_path(index, entry.name)));
}

// Waits until the program has written its banner, the first text of every run: by then it catches
// faults. False when it ends without one.
bool await_banner(const Child& child, HANDLE output) {
    LARGE_INTEGER size = {};
    for (DWORD waited = 0; waited < longest_run && !child.wait(between_looks);
         waited += between_looks)
        if (GetFileSizeEx(output, &size) && size.QuadPart > 0)
            return true;
    return false;
}

// Starts a thread at an address without code.
void plant_fault(const Child& child) {
    const auto nowhere = reinterpret_cast<LPTHREAD_START_ROUTINE>(std::uintptr_t{0x10});
    const unique_handle thread(
        CreateRemoteThread(child.handle(), nullptr, 0, nowhere, nullptr, 0, nullptr));
    if (!thread)
        fail("CreateRemoteThread", L"");
}

}  // namespace

ProgramRun::ProgramRun(ProgramSettings settings) : settings_(std::move(settings)) {}

std::wstring ProgramRun::prepare(const RunRequest& request) const {
    // The name of a step may hold characters that no file name can, and the path of a current
    // directory has at most 260 characters.
    std::wstring name = request.name.substr(0, 40);
    while (name.ends_with(L' '))
        name.pop_back();
    for (wchar_t& unit : name)
        if (std::wstring_view(L"<>:\"/\\|?*").find(unit) != std::wstring_view::npos)
            unit = L'_';
    std::wstring folder = join_path(settings_.runs, name);
    make_folders(folder);
    if (request.report_blocked)
        block_reports(folder);
    SetEnvironmentVariableW(L"LARKSPINE_INDEX_DIRECTORY", request.index_folder.c_str());
    SetEnvironmentVariableW(L"LOCALAPPDATA", settings_.local_data.c_str());
    return folder;
}

RunOutcome ProgramRun::attempt(const RunRequest& request, const std::wstring& folder,
                               bool fault) const {
    const std::wstring output = join_path(folder, L"stdout.txt");
    const std::wstring errors = join_path(folder, L"stderr.txt");
    RunOutcome outcome;
    {
        const unique_handle output_file = open_file(output, GENERIC_WRITE, CREATE_ALWAYS);
        const unique_handle errors_file = open_file(errors, GENERIC_WRITE, CREATE_ALWAYS);
        unique_handle token;
        if (request.rights == Rights::restricted)
            token = restricted_token();
        ChildSettings start;
        start.program = settings_.program;
        start.arguments = request.arguments;
        start.folder = folder;
        start.token = token.get();
        start.output = output_file.get();
        start.errors = errors_file.get();
        const Child child(start);
        if (fault && await_banner(child, output_file.get()))
            plant_fault(child);
        const auto code = child.wait(longest_run);
        outcome.code = code.value_or(WAIT_TIMEOUT);
    }
    outcome.output = read_file(output);
    outcome.errors = read_file(errors);
    outcome.reports = reports_in(folder);
    return outcome;
}

RunOutcome ProgramRun::run(const RunRequest& request) {
    const std::wstring folder = prepare(request);
    RunOutcome outcome = attempt(request, folder, false);
    if (outcome.code != 0 && outcome.output.empty() && outcome.errors.empty()) {
        // Every run writes its banner first, so this one never began.
        ++starts_repeated_;
        outcome = attempt(request, folder, false);
    }
    copy_index(request.index_folder, folder);
    return outcome;
}

std::optional<RunOutcome> ProgramRun::run_with_fault(const RunRequest& request) {
    RunOutcome outcome = attempt(request, prepare(request), true);
    if (outcome.code == 0)
        return std::nullopt;
    return outcome;
}

ProgramRun::Watched ProgramRun::run_watched(const RunRequest& request, unsigned code_page,
                                            unsigned stop_at) {
    const std::wstring folder = prepare(request);
    const std::wstring notes = join_path(folder, L"screen.txt");
    ChildSettings start;
    start.program = settings_.watcher;
    start.console = ChildConsole::own;
    start.arguments = {L"--watch", notes, std::to_wstring(code_page), std::to_wstring(stop_at),
                       settings_.program};
    start.arguments.insert(start.arguments.end(), request.arguments.begin(),
                           request.arguments.end());
    start.folder = folder;
    const Child watcher(start);
    if (!watcher.wait(longest_run))
        throw std::runtime_error("la console ne répond pas / the console does not answer");
    Watched watched;
    watched.screen = read_observation(exists(notes) ? read_file(notes) : "");
    watched.reports = reports_in(folder);
    copy_index(request.index_folder, folder);
    return watched;
}

}  // namespace larkspine::check
