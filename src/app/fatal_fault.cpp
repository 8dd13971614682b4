#include "app/fatal_fault.h"

#include <atomic>
#include <cstddef>
#include <cstdio>

#include "app/console_handle.h"
#include "app/console_pause.h"
#include "app/run.h"

namespace larkspine {
namespace {

// Reports on a separate stack, because the thread's own is used up: what the system leaves for
// handlers is less than a page, and formatting and the console need more. Never returns.
[[noreturn]] void report_stack_overflow(EXCEPTION_POINTERS* exception) {
    // Under Wine the report uses 1.2 KiB; what the console of Windows needs is not known.
    alignas(16) static std::byte stack[64 * 1024];
    static std::atomic<bool> taken = false;
    // There is one such stack. A second thread that overflows waits here until the first has ended
    // the process.
    while (taken.exchange(true))
        YieldProcessor();
    // 32 bytes above the return address belong to the called function.
    asm volatile("movq %0, %%rsp\n\tcall *%1"
                 :
                 : "r"(stack + sizeof stack - 32), "r"(&fatal_fault_filter), "c"(exception)
                 : "memory");
    __builtin_unreachable();
}

// Five faults never reach the filter without this handler. MinGW's runtime wraps main and every
// thread in a handler of its own, which swallows four of them; a stack overflow leaves no room for
// the search that ends in the filter. All other faults go on to the handlers after this one.
//
// The price: a vectored handler runs before any handler of a stack frame. Virus scanners load
// libraries into other processes; when such a library raises one of the five and would recover by
// itself, the program ends instead. This program has no such frame. The handler does not look at
// the thread, because foreign libraries also run on this program's threads.
LONG WINAPI filter_swallowed_faults(EXCEPTION_POINTERS* exception) {
    switch (exception->ExceptionRecord->ExceptionCode) {
        case EXCEPTION_INT_OVERFLOW:
        case EXCEPTION_ARRAY_BOUNDS_EXCEEDED:
        case EXCEPTION_FLT_STACK_CHECK:
        case EXCEPTION_DATATYPE_MISALIGNMENT:
            return fatal_fault_filter(exception);
        case EXCEPTION_STACK_OVERFLOW:
            report_stack_overflow(exception);
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
    AddVectoredExceptionHandler(0, filter_swallowed_faults);
}

}  // namespace larkspine
