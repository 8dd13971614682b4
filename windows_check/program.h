// The program under test, as the steps see it: started with arguments, it ends with a code, two
// texts and perhaps a report. Implemented by ProgramRun; tests put others in its place.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace larkspine::check {

enum class Rights : std::uint8_t { own, restricted };

struct RunRequest {
    std::wstring name;  // of the folder that keeps the files of the run
    std::vector<std::wstring> arguments;
    std::wstring index_folder;
    Rights rights = Rights::own;
    bool report_blocked = false;  // folders take the names of its report
};

// The results of a run.
struct RunOutcome {
    std::uint32_t code = 0;
    std::string output;
    std::string errors;
    std::vector<std::string> reports;  // the bytes of each

    // The one report; empty when there is none, or more than one.
    [[nodiscard]] std::string report() const { return reports.size() == 1 ? reports[0] : ""; }
};

class Program {
  public:
    Program() = default;
    virtual ~Program() = default;
    Program(const Program&) = delete;
    Program& operator=(const Program&) = delete;

    virtual RunOutcome run(const RunRequest& request) = 0;
};

// The values that --stats printed.
struct RunStatistics {
    bool index_loaded = false;
    bool fast_path = false;
    bool delta = false;
    std::uint64_t files = 0;
    std::uint64_t entries = 0;
    std::uint64_t full_computed = 0;
    std::uint64_t full_reused = 0;
    std::uint64_t byte_comparisons = 0;
};

// Empty when a line is missing.
[[nodiscard]] std::optional<RunStatistics> read_statistics(std::string_view output);

}  // namespace larkspine::check
