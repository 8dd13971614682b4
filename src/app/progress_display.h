// The block of four lines that is redrawn in place while a scan runs. A background thread draws it
// eight times a second and only reads the progress record; the scan never waits for it. When the
// standard output is not a console nothing is drawn, no line is reserved and no thread is started.
#pragma once

#include "base/win32_api.h"

#include <atomic>
#include <cstdint>
#include <thread>

#include "base/scan_records.h"

namespace larkspine {

// start and stop are called from one thread; draw from them and from the drawing thread, never from
// two at once. `running` is the one field that both threads use while the thread runs.
struct ProgressDisplay {
    const ScanProgress* progress = nullptr;  // not owned; outlives the display's run
    HANDLE console = nullptr;                // not owned
    COORD origin = {0, 0};                   // of the first of the four lines
    CONSOLE_CURSOR_INFO saved_cursor = {};   // valid with cursor_saved
    std::int64_t start_time = 0;             // monotonic nanoseconds
    std::atomic<bool> running{false};
    std::thread thread;
    bool enabled = false;  // a console, and the block has its place
    bool cursor_saved = false;
    bool started = false;

    ProgressDisplay() = default;
    // stop().
    ~ProgressDisplay();
    ProgressDisplay(const ProgressDisplay&) = delete;
    ProgressDisplay& operator=(const ProgressDisplay&) = delete;

    // Begins to show `shown`: hides the cursor, reserves four lines, draws the first frame, starts
    // the thread. Does nothing when already started. Throws std::system_error when the thread
    // cannot be started; the display then counts as started, and stop() tidies up.
    void start(const ScanProgress& shown);

    // Ends the thread, draws the last frame and leaves the cursor, as it was before, below the
    // block. Waits for at most one interval and one frame. Does nothing when not started.
    void stop();

    // Draws one frame at the block's place.
    void draw() const;
};

}  // namespace larkspine
