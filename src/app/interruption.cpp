#include "app/interruption.h"

#include <iostream>
#include <mutex>

#include "app/run.h"

namespace larkspine {
namespace {

// The scan on which the handler acts; null when none runs. The display starts and stops under the
// lock: an event in between would end the program with the cursor hidden. A handler that ends the
// program keeps the lock, so that the main thread cannot print anything after it.
std::mutex scan_mutex;
ScanProgress* scan_progress = nullptr;
ProgressDisplay* scan_display = nullptr;

// While the scan runs the main thread writes to neither stream, so this thread may. Terminates the
// process without waiting for the workers, which may be inside a long read.
void end_at_once() {
    scan_display->stop();
    std::wcerr << interrupted_text << std::flush;
    TerminateProcess(GetCurrentProcess(), static_cast<UINT>(exit_interrupted));
}

bool is_key(DWORD event) {
    return event == CTRL_C_EVENT || event == CTRL_BREAK_EVENT;
}

BOOL WINAPI handle_console_event(DWORD event) {
    {
        const std::lock_guard lock(scan_mutex);
        if (scan_progress == nullptr)
            return FALSE;
        if (scan_progress->phase == ScanPhase::enumerating ||
            (scan_progress->stop_requested && is_key(event)))
            end_at_once();
        scan_progress->stop_requested = true;
    }
    // When a handler of any other event returns, the system ends the process; until then, and for
    // five seconds at most, the main thread can save the index and end it.
    if (!is_key(event))
        Sleep(INFINITE);
    return TRUE;
}

}  // namespace

void install_interruption_handler() {
    SetConsoleCtrlHandler(handle_console_event, TRUE);
}

ScanInterruption::ScanInterruption(ScanProgress& progress, ProgressDisplay& display) {
    const std::lock_guard lock(scan_mutex);
    display.start(progress);
    scan_progress = &progress;
    scan_display = &display;
}

ScanInterruption::~ScanInterruption() {
    finish();
}

void ScanInterruption::finish() {
    const std::lock_guard lock(scan_mutex);
    if (scan_display == nullptr)
        return;
    scan_display->stop();
    scan_progress = nullptr;
    scan_display = nullptr;
}

}  // namespace larkspine
