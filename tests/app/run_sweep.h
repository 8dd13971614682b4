// Repeats a whole run. One use of one system call fails in each: the first use, then the second,
// until a run no longer reaches the use that would fail. The index folder is restored before each
// run. After each run two things are checked: what every run guarantees its user, and that the
// failure costs no more than it may. Then a run without a fault must find everything again. For
// programs with replaced imports.
#pragma once

#include "base/win32_api.h"

#include <cstddef>
#include <cstdint>
#include <gtest/gtest.h>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "base/scan_records.h"
#include "support/call_faults.h"
#include "support/failing_allocations.h"
#include "support/program_streams.h"
#include "support/reference_groups.h"
#include "support/scoped_environment.h"
#include "support/temp_tree.h"

namespace larkspine::testing {

// What a failing call may cost.
enum class Loss : std::uint8_t {
    nothing,
    file,        // the report may lack the file that the call was for
    some_file,   // the report may lack one file of a group
    listing,     // the report lacks the files that the index lacks
    path_field,  // one row of the report may lack its path
};
struct Cost {
    int code = 0;
    Loss loss = Loss::nothing;
    bool old_index = false;      // the index must keep every byte
    bool until_rebuilt = false;  // later runs that use the index lack the file too
    bool shows_link = false;     // a hard link may be reported as a separate file
    // The bounds of `failures` in the statistics. A lost file always counts there.
    std::uint64_t least_failures = 0;
    std::uint64_t most_failures = 0;
};

// What is scanned, and how.
struct SweptRun {
    std::wstring folder;                // as the user types it
    std::wstring root;                  // the same in long form
    std::vector<std::wstring> files;    // all that lie below, in long form
    std::wstring link;                  // one of these: a hard link to an earlier one
    std::vector<std::wstring> options;  // of the command line
    bool whole_program = true;          // false: the scan alone, which returns its failures
};

// Fixes the local time, so that the tests know the name of the report.
struct FixedTime {
    FixedTime();
};

class RunSweep {
  public:
    explicit RunSweep(ProgramStreams::Kind kind = ProgramStreams::Kind::files);

    // Runs without a fault first, so that the program already holds what it keeps for the life of a
    // process, and remembers the complete index. With `with_index` every swept run finds that
    // index, otherwise none.
    void begin(const SweptRun& swept, bool with_index);
    // Every swept run finds the index that exists now. `swept` may have other files by then.
    void begin_with_present_index(const SweptRun& swept);
    // A run without a fault, from the index folder as it is.
    void run_quietly();

    // Fails every use of each call. Returns the number of uses.
    std::size_t sweep(const std::vector<SweptCall>& calls);
    std::size_t sweep(const SweptCall& call, const SweptCall* also_failing = nullptr);
    // Limits the threads that can be started to none, to one and so on, until a run succeeds.
    // Returns how many it needs.
    std::size_t sweep_threads();
    // Fails each allocation, alone or with all that follow it. With `every` above 1, fails only
    // one allocation in `every`. Returns how many failed.
    std::size_t sweep_allocations(Shortage shortage, std::size_t every = 1);

    // Whether a run without a fault follows each run with one. This doubles the time. On a console
    // every run takes an eighth of a second: the thread of the progress block sleeps so long.
    bool runs_again = true;

    FixedTime time;
    ProgramStreams streams;
    CallFaults faults;

  private:
    struct Outcome {
        int code = 0;
        bool escaped = false;  // an exception left the program
        std::string output;
        std::string errors;
        std::optional<PathGroups> groups;  // those reported
        std::uint64_t failures = 0;        // of a scan alone
    };
    // The threads and allocations that a run gets.
    struct Means {
        std::size_t threads = SIZE_MAX;
        std::size_t failing_allocation = SIZE_MAX;
        Shortage shortage = Shortage::once;
    };

    Outcome run() { return run({}); }
    Outcome run(const Means& means);
    [[nodiscard]] int run_program(const Means& means);
    void run_scan(Outcome& outcome);
    [[nodiscard]] std::optional<PathGroups> read_report() const;
    void restore();
    [[nodiscard]] std::vector<std::wstring> index_folders() const;
    [[nodiscard]] std::wstring index_path() const;
    [[nodiscard]] std::optional<std::string> index_bytes() const;

    // What a failure may cost (run_sweep_costs.cpp).
    [[nodiscard]] Cost cost_of(std::string_view call, std::wstring_view subject) const;

    // The checks (run_sweep_checks.cpp).
    void check(const Outcome& outcome, const Cost& cost, std::string_view call,
               const std::wstring& subject) const;
    void check_quiet(const Outcome& outcome) const;
    void check_texts(const Outcome& outcome, int code, std::string_view call) const;
    void check_groups(const Outcome& outcome, const Cost& cost, const std::wstring& subject) const;
    void check_report_file(int code, bool at_any_time) const;
    void check_failures(const Outcome& outcome, const Cost& cost) const;
    void check_index_files(bool may_leave_temporary) const;
    void check_index_file(const std::wstring& path) const;
    [[nodiscard]] PathGroups truth_without(const std::wstring& lost) const;
    [[nodiscard]] PathGroups truth_with_link() const;

    TempTree out_;
    TempTree indexes_;
    TempTree local_data_;
    ScopedEnvironment directory_{L"LARKSPINE_INDEX_DIRECTORY", indexes_.root()};
    ScopedEnvironment local_{L"LOCALAPPDATA", local_data_.root()};
    ScopedCurrentDirectory here_;
    std::wstring report_;
    SweptRun swept_;
    PathGroups truth_;
    std::string true_report_;
    std::map<std::wstring, detail::FileCandidate> complete_;  // entries of the complete index
    std::optional<std::string> old_index_;
};

}  // namespace larkspine::testing
