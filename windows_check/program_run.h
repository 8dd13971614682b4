// The finished program, started as a person would start it: in its own current directory, with its
// streams in files that are kept beside its report.
#pragma once

#include <string>
#include <vector>

#include "program.h"
#include "screen_observation.h"

namespace larkspine::check {

// The settings of all runs.
struct ProgramSettings {
    std::wstring program;     // the file
    std::wstring watcher;     // the kit itself, which watches a console in a process of its own
    std::wstring runs;        // the folder that gets one folder for each run
    std::wstring local_data;  // the value of LOCALAPPDATA, on the place
};

class ProgramRun : public Program {
  public:
    explicit ProgramRun(ProgramSettings settings);

    RunOutcome run(const RunRequest& request) override;

    // Runs on its own console with this output code page. With `stop_at` it gets a Ctrl+C once its
    // bar shows that many per cent.
    struct Watched {
        ScreenObservation screen;
        std::vector<std::string> reports;
    };
    Watched run_watched(const RunRequest& request, unsigned code_page, unsigned stop_at);

    // With a processor fault on a thread of its own, as soon as it has written its banner. Empty
    // when it ends before.
    std::optional<RunOutcome> run_with_fault(const RunRequest& request);

    // How often it ended without any output and was started again. This happens under Wine.
    [[nodiscard]] unsigned starts_repeated() const { return starts_repeated_; }

  private:
    [[nodiscard]] std::wstring prepare(const RunRequest& request) const;
    [[nodiscard]] RunOutcome attempt(const RunRequest& request, const std::wstring& folder,
                                     bool fault) const;

    ProgramSettings settings_;
    unsigned starts_repeated_ = 0;
};

}  // namespace larkspine::check
