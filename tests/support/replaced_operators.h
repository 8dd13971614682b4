// Replaces the operators new and delete of the program that links replaced_operators.cpp, plain and
// aligned, one by one over malloc and free.
#pragma once

namespace larkspine::testing {

// Called before each allocation, on its thread. What it throws comes out of operator new. The
// program has exactly one definition.
void before_allocation();

}  // namespace larkspine::testing
