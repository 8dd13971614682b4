// Keeps the files named on its command line open without sharing until its input ends. Prints
// "locked" when all of them are open; ends with 2 when one cannot be opened.
#include <cstdio>
#include <vector>

#include "base/win32_handle.h"

int wmain(int argc, wchar_t** argv) {
    std::vector<larkspine::unique_handle> held;
    for (int i = 1; i < argc; ++i) {
        held.push_back(larkspine::own_handle(CreateFileW(
            argv[i], GENERIC_READ, 0, nullptr, OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr)));
        if (!held.back()) {
            std::fprintf(stderr, "cannot open argument %d\n", i);
            return 2;
        }
    }
    std::puts("locked");
    std::fflush(stdout);
    while (std::getchar() != EOF) {
    }
    return 0;
}
