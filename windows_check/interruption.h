// Ctrl+C and the closing of the window: every wait ends at once, and the kit removes everything
// that it has made before it ends.
#pragma once

#include "base/win32_api.h"

#include <stdexcept>

namespace larkspine::check {

class Interrupted : public std::runtime_error {
  public:
    Interrupted() : std::runtime_error("interrompu / interrupted") {}
};

// From now on Ctrl+C and similar signals only set the event.
void catch_interruptions();
// Called when nothing is left to clean up: a window that is being closed waits for this.
void end_of_clean_up();
// Set by the first interruption and never reset.
[[nodiscard]] HANDLE interruption_event();
// As if the user had pressed Ctrl+C.
void interrupt();
// Throws Interrupted after an interruption.
void stop_if_interrupted();
// Sleeps; throws Interrupted on an interruption.
void pause_for(DWORD milliseconds);

}  // namespace larkspine::check
