// The system's imports, replaced at link time in the program that links import_replacement.cpp.
//
// Objects call imports through pointers named __imp_X. import_replacement.cpp defines those
// pointers itself, so the linker never pulls the import library's, and every call in that program
// goes to a hook when the test has set one and to the real function otherwise. The runtime's own
// libraries call through the same pointers, so a hook forwards every handle or path that is not its
// test's.
//
// A test sets members of hooks() and owns an ImportReset, which clears them all. Hooks are set
// before the threads that call them start. A hook may throw a C++ exception through the caller.
#pragma once

#include "base/win32_api.h"

#include <functional>

// result, name, parameters, arguments
#define LARKSPINE_REPLACED_IMPORTS(X)                                                              \
    X(HANDLE, CreateFileW,                                                                         \
      (LPCWSTR a, DWORD b, DWORD c, LPSECURITY_ATTRIBUTES d, DWORD e, DWORD f, HANDLE g),          \
      (a, b, c, d, e, f, g))                                                                       \
    X(BOOL, CloseHandle, (HANDLE a), (a))                                                          \
    X(BOOL, ReadFile, (HANDLE a, LPVOID b, DWORD c, LPDWORD d, LPOVERLAPPED e), (a, b, c, d, e))   \
    X(BOOL, WriteFile, (HANDLE a, LPCVOID b, DWORD c, LPDWORD d, LPOVERLAPPED e), (a, b, c, d, e)) \
    X(BOOL, SetFilePointerEx, (HANDLE a, LARGE_INTEGER b, PLARGE_INTEGER c, DWORD d),              \
      (a, b, c, d))                                                                                \
    X(BOOL, GetFileSizeEx, (HANDLE a, PLARGE_INTEGER b), (a, b))                                   \
    X(BOOL, FlushFileBuffers, (HANDLE a), (a))                                                     \
    X(BOOL, MoveFileExW, (LPCWSTR a, LPCWSTR b, DWORD c), (a, b, c))                               \
    X(BOOL, DeleteFileW, (LPCWSTR a), (a))                                                         \
    X(BOOL, CreateDirectoryW, (LPCWSTR a, LPSECURITY_ATTRIBUTES b), (a, b))                        \
    X(DWORD, GetFileAttributesW, (LPCWSTR a), (a))                                                 \
    X(BOOL, GetFileAttributesExW, (LPCWSTR a, GET_FILEEX_INFO_LEVELS b, LPVOID c), (a, b, c))      \
    X(BOOL, GetFileInformationByHandle, (HANDLE a, LPBY_HANDLE_FILE_INFORMATION b), (a, b))        \
    X(BOOL, GetFileInformationByHandleEx,                                                          \
      (HANDLE a, FILE_INFO_BY_HANDLE_CLASS b, LPVOID c, DWORD d), (a, b, c, d))                    \
    X(HANDLE, FindFirstFileExW,                                                                    \
      (LPCWSTR a, FINDEX_INFO_LEVELS b, LPVOID c, FINDEX_SEARCH_OPS d, LPVOID e, DWORD f),         \
      (a, b, c, d, e, f))                                                                          \
    X(BOOL, FindNextFileW, (HANDLE a, LPWIN32_FIND_DATAW b), (a, b))                               \
    X(BOOL, FindClose, (HANDLE a), (a))                                                            \
    X(BOOL, GetVolumeInformationW,                                                                 \
      (LPCWSTR a, LPWSTR b, DWORD c, LPDWORD d, LPDWORD e, LPDWORD f, LPWSTR g, DWORD h),          \
      (a, b, c, d, e, f, g, h))                                                                    \
    X(BOOL, DeviceIoControl,                                                                       \
      (HANDLE a, DWORD b, LPVOID c, DWORD d, LPVOID e, DWORD f, LPDWORD g, LPOVERLAPPED h),        \
      (a, b, c, d, e, f, g, h))                                                                    \
    X(int, CompareStringOrdinal, (LPCWSTR a, int b, LPCWSTR c, int d, BOOL e), (a, b, c, d, e))    \
    X(DWORD, GetFullPathNameW, (LPCWSTR a, DWORD b, LPWSTR c, LPWSTR * d), (a, b, c, d))           \
    X(DWORD, GetCurrentDirectoryW, (DWORD a, LPWSTR b), (a, b))                                    \
    X(DWORD, GetEnvironmentVariableW, (LPCWSTR a, LPWSTR b, DWORD c), (a, b, c))                   \
    X(VOID, GetLocalTime, (LPSYSTEMTIME a), (a))                                                   \
    X(HANDLE, GetStdHandle, (DWORD a), (a))                                                        \
    X(BOOL, GetConsoleMode, (HANDLE a, LPDWORD b), (a, b))                                         \
    X(BOOL, WriteConsoleW, (HANDLE a, CONST VOID * b, DWORD c, LPDWORD d, LPVOID e),               \
      (a, b, c, d, e))                                                                             \
    X(BOOL, GetConsoleCursorInfo, (HANDLE a, PCONSOLE_CURSOR_INFO b), (a, b))                      \
    X(BOOL, SetConsoleCursorInfo, (HANDLE a, CONST CONSOLE_CURSOR_INFO * b), (a, b))               \
    X(BOOL, GetConsoleScreenBufferInfo, (HANDLE a, PCONSOLE_SCREEN_BUFFER_INFO b), (a, b))         \
    X(BOOL, SetConsoleCursorPosition, (HANDLE a, COORD b), (a, b))                                 \
    X(BOOL, ReadConsoleW,                                                                          \
      (HANDLE a, LPVOID b, DWORD c, LPDWORD d, PCONSOLE_READCONSOLE_CONTROL e), (a, b, c, d, e))   \
    X(DWORD, GetConsoleProcessList, (LPDWORD a, DWORD b), (a, b))                                  \
    X(BOOL, SetConsoleCtrlHandler, (PHANDLER_ROUTINE a, BOOL b), (a, b))                           \
    X(UINT, GetErrorMode, (), ())                                                                  \
    X(UINT, SetErrorMode, (UINT a), (a))                                                           \
    X(HMODULE, GetModuleHandleW, (LPCWSTR a), (a))                                                 \
    X(BOOL, TerminateProcess, (HANDLE a, UINT b), (a, b))                                          \
    X(BOOL, QueryPerformanceCounter, (LARGE_INTEGER * a), (a))                                     \
    X(VOID, Sleep, (DWORD a), (a))                                                                 \
    X(int, WideCharToMultiByte,                                                                    \
      (UINT a, DWORD b, LPCWCH c, int d, LPSTR e, int f, LPCCH g, LPBOOL h),                       \
      (a, b, c, d, e, f, g, h))                                                                    \
    X(DWORD, FlsAlloc, (PFLS_CALLBACK_FUNCTION a), (a))                                            \
    X(BOOL, FlsSetValue, (DWORD a, PVOID b), (a, b))

namespace larkspine::testing {

struct ImportHooks {
#define X(result, name, parameters, arguments) std::function<result parameters> name;
    LARKSPINE_REPLACED_IMPORTS(X)
#undef X
};

struct RealImports {
#define X(result, name, parameters, arguments) result(WINAPI* name) parameters;
    LARKSPINE_REPLACED_IMPORTS(X)
#undef X
};

// The hooks in force; an empty one forwards.
[[nodiscard]] ImportHooks& hooks();
// The real functions behind the hooks.
[[nodiscard]] const RealImports& real_imports();

// Clears every hook when it goes out of scope.
struct ImportReset {
    ImportReset() = default;
    ~ImportReset() { hooks() = ImportHooks{}; }
    ImportReset(const ImportReset&) = delete;
    ImportReset& operator=(const ImportReset&) = delete;
};

}  // namespace larkspine::testing
