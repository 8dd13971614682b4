// How a fuzz target reports that a property does not hold.
#pragma once

#include <cstdio>
#include <cstdlib>

namespace larkspine::fuzz {

// Ends the program, so that the engine keeps the input.
inline void expect(bool holds, const char* what) {
    if (holds)
        return;
    std::fprintf(stderr, "does not hold: %s\n", what);
    std::abort();
}

}  // namespace larkspine::fuzz
