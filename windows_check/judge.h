// Runs the program on a place and checks every run: its exit code, the way in which it got its
// listing, and its report against the reference.
#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "place.h"
#include "program.h"
#include "report_comparison.h"
#include "verdicts.h"

namespace larkspine::check {

// How a run gets its listing. Without a volume and its journal, a run shows only whether it loaded
// an index.
enum class Way : std::uint8_t {
    afresh,     // no index; the file table
    unchanged,  // index loaded, "Fast path inchangé : oui"
    delta,      // index loaded, "Delta USN appliqué : oui"
    anew,       // index loaded, but not covered by the journal; the file table
    walk        // folder by folder, with or without an index
};

// The files of an index folder: bytes and time of the last write.
struct IndexFile {
    std::string bytes;
    std::uint64_t written = 0;
    bool operator==(const IndexFile&) const = default;
};
using IndexState = std::map<std::wstring, IndexFile>;

class Judge {
  public:
    // Each index has its own folder below `indexes`, which is not on the place.
    Judge(Place& place, Program& program, Verdicts& verdicts, std::wstring indexes);

    Place& place() { return place_; }
    Verdicts& verdicts() { return verdicts_; }
    // Below every root. LOCALAPPDATA points there, so no run scans it.
    static constexpr const wchar_t* never_scanned = L"profil\\Larkspine";

    // Runs with --stats on the whole place, with the arguments and the index that all steps share.
    RunOutcome run(const std::string& step, std::vector<std::wstring> arguments = {});
    // The same, with the index folder of that name.
    RunOutcome run_with_index(const std::string& step, const std::wstring& index,
                              std::vector<std::wstring> arguments, Rights rights = Rights::own);
    // Runs with exactly these arguments.
    RunOutcome run_exactly(const std::string& step, const std::wstring& index,
                           std::vector<std::wstring> arguments, Rights rights = Rights::own);
    // Runs on the whole place, in a current directory where no report can be made.
    RunOutcome run_with_blocked_report(const std::string& step);

    // The reference for the present contents of the place.
    [[nodiscard]] Reference reference() const;
    // Which names of a file a run on the whole place may report.
    [[nodiscard]] Names names();
    [[nodiscard]] std::vector<Difference> compare(const RunOutcome& outcome,
                                                  const Reference& reference, Names names) const;

    // Each adds one row.
    void judge_code(const std::string& step, const RunOutcome& outcome, std::uint32_t code);
    void judge_way(const std::string& step, const RunOutcome& outcome, Way way);
    void judge_groups(const std::string& step, const RunOutcome& outcome,
                      const Reference& reference, Names names);

    [[nodiscard]] IndexState index_state(const std::wstring& index) const;
    static constexpr const wchar_t* shared_index = L"principal";

    // The journal's data after each run, one line each.
    [[nodiscard]] const std::string& journal_log() const { return journal_log_; }

  private:
    [[nodiscard]] RunRequest request_for(const std::string& step, const std::wstring& index,
                                         std::vector<std::wstring> arguments);
    RunOutcome run_logged(const RunRequest& request);
    void log_journal(const std::wstring& name);

    Place& place_;
    Program& program_;
    Verdicts& verdicts_;
    std::wstring indexes_;
    std::string journal_log_;
    unsigned runs_ = 0;
};

}  // namespace larkspine::check
