#include "app/run_sweep.h"

#include <exception>
#include <iostream>
#include <thread>

#include "app/console_pause.h"
#include "app/run.h"
#include "app/run_fixture.h"
#include "app/wide_output.h"
#include "engine/scan_driver.h"
#include "index/index_file.h"
#include "index/index_location.h"
#include "support/real_files.h"
#include "support/thread_starts.h"

namespace larkspine::testing {
namespace {

// One field of a row, without its quotes, and the separator after it.
std::string take_field(std::string& line) {
    const std::size_t end = line.starts_with('"') ? line.find('"', 1) + 1 : line.find(';');
    std::string field = line.substr(0, end);
    line.erase(0, std::min(end, line.size()));
    if (line.starts_with(';'))
        line.erase(0, 1);
    if (field.starts_with('"'))
        field = field.substr(1, field.size() - 2);
    return field;
}

// The fakes behind the hooks do not belong to the program, so their allocations never fail.
void exempt_hooks() {
#define X(result, name, parameters, arguments)                       \
    if (hooks().name)                                                \
        hooks().name = [below = hooks().name] parameters -> result { \
            const ExemptAllocations exempt;                          \
            return below arguments;                                  \
        };
    LARKSPINE_REPLACED_IMPORTS(X)
#undef X
}

}  // namespace

FixedTime::FixedTime() {
    hooks().GetLocalTime = [](LPSYSTEMTIME now) { *now = {2024, 1, 2, 2, 3, 4, 5, 6}; };
}

RunSweep::RunSweep(ProgramStreams::Kind kind)
    : streams(kind),
      here_(strip_long_path_prefix(out_.root())),
      report_(out_.root() + L"\\" + report_name) {}

void RunSweep::begin(const SweptRun& swept, bool with_index) {
    begin_with_present_index(swept);
    restore();
    if (!with_index)
        return;
    run_quietly();
    old_index_ = index_bytes();
    EXPECT_TRUE(old_index_.has_value());
}

void RunSweep::begin_with_present_index(const SweptRun& swept) {
    swept_ = swept;
    truth_ = reference_groups(swept_.files);
    old_index_ = index_bytes();
    // A run of the whole program makes the complete index, even when scans alone are swept later.
    swept_.whole_program = true;
    const Outcome outcome = run();
    EXPECT_EQ(outcome.code, 0) << outcome.errors;
    EXPECT_EQ(outcome.groups, truth_);
    true_report_ = read_file(report_);
    complete_.clear();
    if (const auto snapshot = detail::load_index(swept_.root))
        for (const detail::FileCandidate& entry : snapshot->entries)
            complete_[strip_long_path_prefix(entry.path)] = entry;
    swept_.whole_program = swept.whole_program;
}

void RunSweep::run_quietly() {
    faults.clear();
    check_quiet(run());
}

std::size_t RunSweep::sweep(const std::vector<SweptCall>& calls) {
    std::size_t uses = 0;
    for (const SweptCall& call : calls)
        uses += sweep(call);
    return uses;
}

std::size_t RunSweep::sweep(const SweptCall& call, const SweptCall* also_failing) {
    for (std::size_t use = 0;; ++use) {
        restore();
        faults.clear();
        if (also_failing != nullptr)
            faults.plant_also(*also_failing, every_use);
        faults.plant_also(call, use);
        const Outcome outcome = run();
        if (!faults.happened())
            return use;
        const std::wstring subject = faults.subject();
        faults.clear();
        SCOPED_TRACE(std::string(call.name) + ", use " + std::to_string(use) + " " +
                     ::testing::PrintToString(subject));
        const Cost cost = cost_of(call.name, subject);
        check(outcome, cost, call.name, subject);
        if (cost.until_rebuilt)
            restore();
        if (runs_again)
            check_quiet(run());
        if (::testing::Test::HasFailure())
            return use;
    }
}

std::size_t RunSweep::sweep_threads() {
    faults.clear();
    for (std::size_t threads = 0;; ++threads) {
        restore();
        const Outcome outcome = run({threads, SIZE_MAX, Shortage::once});
        if (outcome.code == 0)
            return threads;
        SCOPED_TRACE("room for " + std::to_string(threads) + " threads");
        check(outcome, cost_of("thread", L""), "thread", L"");
        check_quiet(run());
        if (::testing::Test::HasFailure())
            return threads;
    }
}

std::size_t RunSweep::sweep_allocations(Shortage shortage, std::size_t every) {
    for (std::size_t failing = 0;; failing += every) {
        restore();
        faults.clear();
        exempt_hooks();
        const Outcome outcome = run({SIZE_MAX, failing, shortage});
        faults.clear();
        if (!allocation_failed())
            return failing / every;
        SCOPED_TRACE("allocation " + std::to_string(failing));
        check(outcome, cost_of("allocation", L""), "allocation", L"");
        EXPECT_TRUE(outcome.errors.ends_with("Erreur : std::bad_alloc\n")) << outcome.errors;
        if (::testing::Test::HasFailure())
            return failing / every;
    }
}

// Each run has a new thread, so that it finds no thread-local state of the run before.
RunSweep::Outcome RunSweep::run(const Means& means) {
    Outcome outcome;
    streams.restart();
    std::wcout.clear();
    std::wcerr.clear();
    std::thread([&] {
        const NoMoreThreads limit(means.threads);
        faults.begin();
        try {
            if (swept_.whole_program)
                outcome.code = run_program(means);
            else
                run_scan(outcome);
        } catch (...) {
            outcome.escaped = true;
        }
        disarm_allocations();
        faults.end();
    }).join();
    outcome.output = streams.output();
    outcome.errors = streams.errors();
    if (swept_.whole_program)
        outcome.groups = read_report();
    return outcome;
}

// Does what wmain does, except for installing the filter of processor faults.
int RunSweep::run_program(const Means& means) {
    std::vector<const wchar_t*> argv = {L"larkspine.exe", swept_.folder.c_str()};
    for (const std::wstring& option : swept_.options)
        argv.push_back(option.c_str());
    const int count = static_cast<int>(argv.size());
    argv.push_back(nullptr);
    if (means.failing_allocation != SIZE_MAX)
        arm_allocations(means.failing_allocation, means.shortage);
    pause_on_exit = owns_console();
    const WideStandardStreams wide;
    return run_guarded(count, argv.data());
}

void RunSweep::run_scan(Outcome& outcome) {
    ScanOptions options;
    options.root = swept_.folder;
    options.workers = 2;
    for (const std::wstring& option : swept_.options)
        options.verify_bytes = options.verify_bytes || option == L"--verify-bytes";
    ScanProgress progress;
    try {
        const ScanResult result = scan(options, progress);
        outcome.groups = groups_of(result);
        outcome.failures = result.failures;
    } catch (const std::exception&) {
        outcome.code = exit_exception;
    }
}

// Checks the other fields of every row as well.
std::optional<PathGroups> RunSweep::read_report() const {
    if (!file_exists(report_))
        return std::nullopt;
    PathGroups groups;
    const std::string text = read_file(report_);
    for (std::size_t place = 50; place < text.size();) {
        const std::size_t end = text.find("\r\n", place);
        std::string line = text.substr(place, end - place);
        place = end == std::string::npos ? text.size() : end + 2;
        const std::string number = take_field(line);
        const bool first = number != std::to_string(groups.size());
        if (first)
            groups.emplace_back();
        EXPECT_EQ(number, std::to_string(groups.size()));
        EXPECT_EQ(take_field(line), first ? "Original" : "Doublon");
        const std::string path = take_field(line);
        groups.back().emplace_back(path.begin(), path.end());
        if (!path.empty()) {
            EXPECT_EQ(line, std::to_string(read_file(groups.back().back()).size()));
        }
    }
    return groups;
}

void RunSweep::restore() {
    if (file_exists(report_))
        real::remove_file(report_);
    for (const std::wstring& folder : index_folders())
        for (const real::ListedName& file : real::list_folder(folder))
            real::remove_file(folder + L"\\" + file.name);
    if (old_index_)
        real::write_file(index_path(), *old_index_);
}

// The folders that may hold an index: the chosen one and the default one.
std::vector<std::wstring> RunSweep::index_folders() const {
    std::vector<std::wstring> folders = {indexes_.root()};
    if (file_exists(local_data_.path(L"Larkspine\\indexes")))
        folders.push_back(local_data_.path(L"Larkspine\\indexes"));
    return folders;
}

std::wstring RunSweep::index_path() const {
    return index_file_path(swept_.root).value();
}

std::optional<std::string> RunSweep::index_bytes() const {
    const std::wstring path = index_path();
    return file_exists(path) ? std::optional(read_file(path)) : std::nullopt;
}

}  // namespace larkspine::testing
