#include "interruption.h"

namespace larkspine::check {
namespace {

HANDLE made_event() {
    return CreateEventW(nullptr, TRUE, FALSE, nullptr);
}

HANDLE clean_event() {
    static const HANDLE event = made_event();
    return event;
}

BOOL WINAPI on_control(DWORD kind) {
    interrupt();
    // The system ends the process as soon as this returns, after 5 s at the latest.
    if (kind == CTRL_CLOSE_EVENT || kind == CTRL_LOGOFF_EVENT || kind == CTRL_SHUTDOWN_EVENT)
        WaitForSingleObject(clean_event(), 4'500);
    return TRUE;
}

}  // namespace

HANDLE interruption_event() {
    static const HANDLE event = made_event();
    return event;
}

void catch_interruptions() {
    static_cast<void>(interruption_event());
    static_cast<void>(clean_event());
    SetConsoleCtrlHandler(on_control, TRUE);
}

void end_of_clean_up() {
    SetEvent(clean_event());
}

void interrupt() {
    SetEvent(interruption_event());
}

void stop_if_interrupted() {
    pause_for(0);
}

void pause_for(DWORD milliseconds) {
    if (WaitForSingleObject(interruption_event(), milliseconds) == WAIT_OBJECT_0)
        throw Interrupted();
}

}  // namespace larkspine::check
