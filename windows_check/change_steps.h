// One change of files each, after which the program is run.
#pragma once

#include <string>
#include <vector>

#include "judge.h"
#include "place.h"

namespace larkspine::check {

struct ChangeStep {
    const char* title;  // "fr / en"
    void (*change)(Place& place);
    // A name that the file `present` has lost, and that a volume's index may still give it.
    const wchar_t* former = nullptr;
    const wchar_t* present = nullptr;
    // A file or folder that is there, and that a volume's index does not know of.
    const wchar_t* unseen = nullptr;
    // Then a new index is made in place of the shared one, from which the following steps go on.
    bool renews = false;
    // Whether the table's listing of the files is certain enough to be compared.
    bool compares_rebuilt = true;
};

[[nodiscard]] const std::vector<ChangeStep>& change_steps();

// Does the change, runs the program with its index and again from nothing, and judges both.
void take_step(Judge& judge, const ChangeStep& step);

// A program that holds a file open and goes on writing: until it closes the file, a volume's
// journal tells of the first change alone.
void judge_held_writer(Judge& judge);

}  // namespace larkspine::check
