#include "app/fatal_fault.h"

#include <cstdio>

#include "app/console_handle.h"
#include "app/console_pause.h"
#include "app/run.h"

namespace larkspine {
namespace {

// MinGW's runtime wraps main and every thread in a handler of its own, which lets these few faults
// go on as if nothing had happened, so that no filter would hear of them. All others are left to
// the handlers that come after this one.
LONG WINAPI filter_resumed_faults(EXCEPTION_POINTERS* exception) {
    switch (exception->ExceptionRecord->ExceptionCode) {
        case EXCEPTION_INT_OVERFLOW:
        case EXCEPTION_ARRAY_BOUNDS_EXCEEDED:
        case EXCEPTION_FLT_STACK_CHECK:
        case EXCEPTION_DATATYPE_MISALIGNMENT:
            return fatal_fault_filter(exception);
        default:
            return EXCEPTION_CONTINUE_SEARCH;
    }
}

}  // namespace

LONG WINAPI fatal_fault_filter(EXCEPTION_POINTERS* exception) {
    show_console_cursor();
    const EXCEPTION_RECORD* const record =
        exception == nullptr ? nullptr : exception->ExceptionRecord;
    const DWORD code = record == nullptr ? 0 : record->ExceptionCode;
    const void* const address = record == nullptr ? nullptr : record->ExceptionAddress;

    // Plain ASCII: it is written as bytes, whatever the code page of the console.
    char text[512];
    const int length =
        std::snprintf(text, sizeof text,
                      "\r\nErreur fatale Larkspine : exception Windows non geree.\r\n"
                      "Code exception : 0x%08lX (%ld)\r\n"
                      "Adresse : %p\r\n",
                      code, static_cast<LONG>(code), address);
    const HANDLE error = GetStdHandle(STD_ERROR_HANDLE);
    if (length > 0 && is_valid_handle(error)) {
        const DWORD size =
            length < static_cast<int>(sizeof text) ? static_cast<DWORD>(length) : sizeof text - 1;
        DWORD written = 0;
        WriteFile(error, text, size, &written, nullptr);
    }
    pause_if_owned_console();
    TerminateProcess(GetCurrentProcess(), exit_exception);
    return EXCEPTION_EXECUTE_HANDLER;  // not reached: the process has ended
}

void install_fatal_fault_filter() {
    SetUnhandledExceptionFilter(fatal_fault_filter);
    // Last, after any other vectored handler.
    AddVectoredExceptionHandler(0, filter_resumed_faults);
}

}  // namespace larkspine
