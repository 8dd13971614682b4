// The last resort for processor faults that nothing caught: reports the fault and ends the process.
#pragma once

#include "base/win32_api.h"

namespace larkspine {

// The filter of unhandled exceptions. Runs on the thread that faulted, while the others go on, and
// touches nothing but the console and the process: it does not unwind. Writes the exception's
// code and address to the standard error, pauses when the program owns its console, and ends the
// process with exit code 3. Never returns to the system.
LONG WINAPI fatal_fault_filter(EXCEPTION_POINTERS* exception);

// Makes fatal_fault_filter receive every fault that nothing catches, on every thread, from now on.
void install_fatal_fault_filter();

}  // namespace larkspine
