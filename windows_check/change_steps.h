// Steps that each change files once and then run the program.
#pragma once

#include <string>
#include <vector>

#include "judge.h"
#include "place.h"

namespace larkspine::check {

struct ChangeStep {
    const char* title;  // "fr / en"
    void (*change)(Place& place);
    // A former name of the file `present`, which a volume's index may still use.
    const wchar_t* former = nullptr;
    const wchar_t* present = nullptr;
    // An existing file or folder that a volume's index does not know.
    const wchar_t* unseen = nullptr;
    // Whether a new index then replaces the shared one for the following steps.
    bool renews = false;
    // Whether the table's listing of the files is certain enough to be compared.
    bool compares_rebuilt = true;
};

[[nodiscard]] const std::vector<ChangeStep>& change_steps();

// Makes the change, runs the program with its index and again with --rebuild-index, and judges
// both.
void take_step(Judge& judge, const ChangeStep& step);

// A program holds a file open and keeps writing. Until it closes the file, a volume's journal
// reports only the first change.
void judge_held_writer(Judge& judge);

}  // namespace larkspine::check
