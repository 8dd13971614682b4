// Ctrl+C, Ctrl+Break, a closed window, a log-off and a shutdown while a scan runs. The system calls
// the handler on a thread that it makes for the event.
//
// During the enumeration there is nothing to keep: the program ends at once. After it the scan is
// asked to stop, and the run goes on to save what is known. Ctrl+C or Ctrl+Break ends a program
// that is stopping at once; a window that is closed meanwhile leaves it the time to save. Outside
// of a scan the system's own handler ends the program.
#pragma once

#include "base/win32_api.h"

#include "app/progress_display.h"
#include "base/scan_records.h"

namespace larkspine {

// The message when nothing was saved.
inline constexpr const wchar_t* interrupted_text = L"Analyse interrompue.\n";

// Once, at the start of the program. The handler is never taken back: some systems hold a lock of
// the console for as long as a handler runs, and the one for a closed window does not return.
void install_interruption_handler();

// From its construction to finish() the handler acts on this scan, and `display` shows it. One at a
// time, on the main thread. `progress` and `display` must live until finish() has returned.
class ScanInterruption {
  public:
    // Starts `display`, and throws what that throws.
    ScanInterruption(ScanProgress& progress, ProgressDisplay& display);
    // finish().
    ~ScanInterruption();
    ScanInterruption(const ScanInterruption&) = delete;
    ScanInterruption& operator=(const ScanInterruption&) = delete;

    // The scan is over: stops `display`. Does not return when an event is ending the program at
    // this very moment. A second call does nothing.
    void finish();
};

}  // namespace larkspine
