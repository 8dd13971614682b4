// The finished program on a simulated NTFS volume: three runs of it, one after the other, each with
// the volume as its folder. Nothing happens between the first two; then a file is rewritten, one is
// made and a folder is renamed. Each run's report is named by its number, as the second of its
// time. A line "== RUN" on the standard output comes before each run's own text.
#include <iostream>
#include <iterator>

#include "app/run.h"
#include "app/wide_output.h"
#include "support/simulated_volume.h"

int wmain() {
    using namespace larkspine;
    using namespace larkspine::testing;
    const WideStandardStreams streams;
    const TempTree tree;
    SimulatedVolume volume(tree);
    volume.write(L"original", "the same contents");
    volume.write(L"folder\\copy", "the same contents");
    volume.write(L"folder\\other", "other contents ..");
    volume.write(L"folder\\below\\alone", "of a size of its own");

    WORD number = 0;
    hooks().GetLocalTime = [&number](LPSYSTEMTIME time) {
        *time = {2026, 1, 0, 2, 3, 4, number, 0};
    };
    int code = 0;
    const auto run_again = [&] {
        ++number;
        std::wcout << L"== " << number << L'\n';
        const wchar_t* const arguments[] = {L"larkspine", L"Q:\\", L"--stats", L"-j", L"2"};
        code |= run_and_report(static_cast<int>(std::size(arguments)), arguments);
    };
    run_again();
    run_again();
    volume.write(L"folder\\other", "the same contents");
    volume.write(L"new", "the same contents");
    volume.rename(L"folder", L"renamed");
    run_again();
    return code;
}
