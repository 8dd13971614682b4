// All steps, one after the other, on one place.
#pragma once

#include <functional>
#include <string>

#include "kit_options.h"
#include "program_run.h"
#include "real_place.h"
#include "verdicts.h"

namespace larkspine::check {

struct SessionFolders {
    std::wstring indexes;
    std::wstring elsewhere;
};

// Fills the place and runs every step of the part; each row is added to the table as soon as it is
// known. The journal's data are appended to `journal_log`, also when something throws. `mount` is
// passed to SpecialTree.
void run_session(RealPlace& place, ProgramRun& program, Verdicts& verdicts,
                 const SessionFolders& folders, std::string& journal_log,
                 const std::function<void(const std::wstring&)>& mount, Part part);

}  // namespace larkspine::check
