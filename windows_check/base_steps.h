// The steps that change no file: first and second run, the journal made anew, the options.
#pragma once

#include "judge.h"

namespace larkspine::check {

void judge_first_and_second_run(Judge& judge);
// The journal is deleted, made anew, and made so small that it drops its records.
void judge_journal(Judge& judge);
void judge_options(Judge& judge);
// A run without administrative rights: no volume can be opened, so the place is walked.
void judge_restricted_run(Judge& judge);
// The refusals of parameters and folders, and a report that cannot be written.
void judge_refusals(Judge& judge);

}  // namespace larkspine::check
