#include "app/run.h"
#include "app/wide_output.h"

int wmain(int argc, wchar_t** argv) {
    const larkspine::WideStandardStreams streams;
    return larkspine::run_and_report(argc, argv);
}
