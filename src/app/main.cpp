#include "app/console_pause.h"
#include "app/fatal_fault.h"
#include "app/run.h"
#include "app/wide_output.h"

int wmain(int argc, wchar_t** argv) {
    using namespace larkspine;
    pause_on_exit = owns_console();
    install_fatal_fault_filter();
    const WideStandardStreams streams;
    return run_and_report(argc, argv);
}
