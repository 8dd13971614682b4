#include "support/thread_starts.h"

#include "base/win32_api.h"

#include <atomic>
#include <cerrno>
#include <cstdint>

namespace larkspine::testing {
namespace {

#ifdef _UCRT
constexpr const wchar_t* runtime = L"ucrtbase.dll";
#else
constexpr const wchar_t* runtime = L"msvcrt.dll";
#endif

using Routine = unsigned(__stdcall*)(void*);
using Start = std::uintptr_t(__cdecl*)(void*, unsigned, Routine, void*, unsigned, unsigned*);

std::atomic<std::size_t> started{0};
// How many may still be started.
std::atomic<std::size_t> room{SIZE_MAX};

// Takes the place where the thread library finds the import of this name, as in
// import_replacement.cpp.
std::uintptr_t __cdecl start(void* security, unsigned stack, Routine routine, void* argument,
                             unsigned flags, unsigned* identifier) {
    if (room == 0) {
        errno = EAGAIN;
        return 0;
    }
    if (room != SIZE_MAX)
        --room;
    const auto real = reinterpret_cast<Start>(
        reinterpret_cast<void*>(GetProcAddress(GetModuleHandleW(runtime), "_beginthreadex")));
    ++started;
    return real(security, stack, routine, argument, flags, identifier);
}

}  // namespace

std::size_t threads_started() {
    return started;
}

NoMoreThreads::NoMoreThreads(std::size_t allowed) {
    room = allowed;
}

NoMoreThreads::~NoMoreThreads() {
    room = SIZE_MAX;
}

extern "C" {
extern Start __imp__beginthreadex;
Start __imp__beginthreadex = start;
}

}  // namespace larkspine::testing
