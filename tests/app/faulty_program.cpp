// A program that really faults: faulty_program KIND THREAD. Just before the fault it writes the
// value of GetTickCount64 to the standard error.
#include "base/win32_api.h"

#include <atomic>
#include <future>
#include <string>

#include "app/console_pause.h"
#include "app/fatal_fault.h"
#include "app/progress_display.h"
#include "pool/worker_pool.h"
#include "support/file_writes.h"
#include "support/headless_console.h"
#include "support/import_replacement.h"

#ifdef LARKSPINE_COVERAGE
extern "C" void __gcov_dump();
#endif

using namespace larkspine;
using namespace larkspine::testing;

namespace {

volatile int sink = 0;

// The result depends on every call's frame, so the compiler cannot do without the frames.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Winfinite-recursion"
[[gnu::noinline]] int descend(int depth) {
    volatile char frame[256];
    frame[depth % 256] = 1;
    return descend(depth + 1) + frame[(depth + 1) % 256];
}
#pragma GCC diagnostic pop

void write_time() {
    const std::string text = std::to_string(GetTickCount64()) + "\n";
    DWORD written = 0;
    WriteFile(GetStdHandle(STD_ERROR_HANDLE), text.data(), static_cast<DWORD>(text.size()),
              &written, nullptr);
}

// The processor raises the fault, not the checks that a sanitizer adds.
[[gnu::no_sanitize_undefined]] void fault(const std::wstring& kind) {
    write_time();
    if (kind == L"access") {
        volatile int* volatile nowhere = nullptr;
        *nowhere = 1;
    } else if (kind == L"division") {
        volatile int zero = 0;
        sink = 7 / zero;
    } else if (kind == L"stack") {
        sink = descend(0);
    } else if (kind == L"overflow") {
        RaiseException(EXCEPTION_INT_OVERFLOW, 0, 0, nullptr);
    } else if (kind == L"bounds") {
        RaiseException(EXCEPTION_ARRAY_BOUNDS_EXCEEDED, 0, 0, nullptr);
    } else if (kind == L"floating-stack") {
        RaiseException(EXCEPTION_FLT_STACK_CHECK, 0, 0, nullptr);
    } else if (kind == L"alignment") {
        RaiseException(EXCEPTION_DATATYPE_MISALIGNMENT, 0, 0, nullptr);
    }
}

void fault_on_a_worker(const std::wstring& kind) {
    worker_pool pool(2);
    pool.submit([&] { fault(kind); }).wait();
}

// The second worker faults while the first is still writing its report.
void fault_on_two_workers(const std::wstring& kind) {
    answer_writes([](FileWrite&, DWORD&) {
        real_imports().Sleep(50);
        return std::optional<BOOL>();
    });
    worker_pool pool(2);
    std::atomic<int> arrived = 0;
    const auto job = [&] {
        ++arrived;
        while (arrived < 2)
            real_imports().Sleep(0);
        fault(kind);
    };
    std::future<void> first = pool.submit(job);
    pool.submit(job).wait();
    first.wait();
}

// The drawing thread is the one that sleeps between two frames of a running display.
void fault_on_the_drawing_thread(const std::wstring& kind) {
    const HeadlessConsole console;
    if (!console.available())
        return;
    const ScreenBuffer screen;
    SetStdHandle(STD_OUTPUT_HANDLE, screen.handle());
    hooks().Sleep = [&kind, main_thread = GetCurrentThreadId()](DWORD time) {
        if (GetCurrentThreadId() != main_thread && time > 0)
            fault(kind);
        real_imports().Sleep(time);
    };
    const ScanProgress progress;
    ProgressDisplay display;
    display.start(progress);
    real_imports().Sleep(10'000);
}

#ifdef LARKSPINE_COVERAGE
// TerminateProcess skips the exit handler that writes the coverage counts.
void keep_counts_of_a_terminated_process() {
    hooks().TerminateProcess = [](HANDLE process, UINT code) {
        __gcov_dump();
        return real_imports().TerminateProcess(process, code);
    };
}
#else
void keep_counts_of_a_terminated_process() {}
#endif

}  // namespace

int wmain(int argc, wchar_t** argv) {
    keep_counts_of_a_terminated_process();
    pause_on_exit = owns_console();
    install_fatal_fault_filter();
    if (argc != 3)
        return 2;
    const std::wstring thread = argv[2];
    if (thread == L"main")
        fault(argv[1]);
    else if (thread == L"worker")
        fault_on_a_worker(argv[1]);
    else if (thread == L"workers")
        fault_on_two_workers(argv[1]);
    else if (thread == L"drawing")
        fault_on_the_drawing_thread(argv[1]);
    return 0;
}
