// Ctrl+C and the closing of the window: whatever waits ends at once, and everything that the kit
// has made is taken away on the way out.
#pragma once

#include "base/win32_api.h"

#include <stdexcept>

namespace larkspine::check {

class Interrupted : public std::runtime_error {
  public:
    Interrupted() : std::runtime_error("interrompu / interrupted") {}
};

// From now on Ctrl+C and its like only set the event.
void catch_interruptions();
// Called when nothing is left to clean up: a window that is being closed waits for this.
void end_of_clean_up();
// Set for good by the first interruption.
[[nodiscard]] HANDLE interruption_event();
// As if the user had pressed Ctrl+C.
void interrupt();
// Throws Interrupted once there was one.
void stop_if_interrupted();
// Sleeps, unless interrupted: then it throws.
void pause_for(DWORD milliseconds);

}  // namespace larkspine::check
