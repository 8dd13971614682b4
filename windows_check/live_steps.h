// Steps that look at the running program: its screen, Ctrl+C, a processor fault.
#pragma once

#include "judge.h"
#include "program_run.h"
#include "real_place.h"

namespace larkspine::check {

// A folder of large files of zeros, which take no room on the disk and keep a scan busy for
// seconds.
class SlowFolder {
  public:
    static constexpr unsigned pairs = 6;

    explicit SlowFolder(RealPlace& place);
    ~SlowFolder();
    SlowFolder(const SlowFolder&) = delete;
    SlowFolder& operator=(const SlowFolder&) = delete;

    // Measures how long a run takes and lengthens the files until a run takes some seconds.
    void last_for_seconds(ProgramRun& program, const std::wstring& indexes);

    // As the program receives it.
    [[nodiscard]] std::wstring root() const;

  private:
    [[nodiscard]] std::wstring file(unsigned pair, const wchar_t* name) const;

    RealPlace& place_;
};

void judge_screens(Judge& judge, ProgramRun& program, const SlowFolder& slow,
                   const std::wstring& indexes);
void judge_ctrl_c(Judge& judge, ProgramRun& program, const SlowFolder& slow,
                  const std::wstring& indexes);
void judge_fault(Judge& judge, ProgramRun& program, const SlowFolder& slow,
                 const std::wstring& indexes);
// A folder that may not be listed.
void judge_closed_root(Judge& judge, RealPlace& place);

}  // namespace larkspine::check
