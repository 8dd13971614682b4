#include "app/console_pause.h"
#include "app/fatal_fault.h"
#include "app/interruption.h"
#include "app/process_settings.h"
#include "app/run.h"
#include "app/wide_output.h"

// MinGW's start-up code reads this: arguments arrive as they were typed. Otherwise the way in which
// the runtime was built decides whether "i*" is replaced by the name of some folder.
extern "C" int _dowildcard;
int _dowildcard = 0;

int wmain(int argc, wchar_t** argv) {
    using namespace larkspine;
    apply_process_settings();
    pause_on_exit = owns_console();
    install_fatal_fault_filter();
    const WideStandardStreams streams;
    install_interruption_handler();
    return run_guarded(argc, argv);
}
