#include "support/child_process.h"

#include <cstdio>
#include <stdexcept>

namespace larkspine::testing {
namespace {

std::runtime_error failure(const char* what) {
    return std::runtime_error(std::string(what) + " failed");
}

unique_handle start(const std::wstring& name, const std::wstring& arguments, STARTUPINFOW startup) {
    std::wstring program(32'768, L'\0');
    program.resize(GetModuleFileNameW(nullptr, program.data(), static_cast<DWORD>(program.size())));
    program.replace(program.rfind(L'\\') + 1, std::wstring::npos, name + L".exe");
    std::wstring command = L"\"" + program + L"\" " + arguments;
    startup.cb = sizeof startup;
    const BOOL inherits = startup.dwFlags & STARTF_USESTDHANDLES ? TRUE : FALSE;
    PROCESS_INFORMATION process = {};
    // While other processes start, Wine 8 refuses one start in some thousand, and reports the
    // failure. A program that cannot start is refused again.
    for (int tries = 1; !CreateProcessW(program.c_str(), command.data(), nullptr, nullptr, inherits,
                                        0, nullptr, nullptr, &startup, &process);
         ++tries) {
        if (tries == 3)
            throw failure("CreateProcessW");
        std::fprintf(stderr, "CreateProcessW failed with %lu; trying again\n", GetLastError());
    }
    CloseHandle(process.hThread);
    return unique_handle(process.hProcess);
}

unique_handle open_inheritable(const wchar_t* path, DWORD disposition, DWORD flags) {
    SECURITY_ATTRIBUTES inheritable = {sizeof inheritable, nullptr, TRUE};
    unique_handle file = own_handle(CreateFileW(path, GENERIC_READ | GENERIC_WRITE, FILE_SHARE_READ,
                                                &inheritable, disposition, flags, nullptr));
    if (!file)
        throw failure("CreateFileW");
    return file;
}

unique_handle temporary_file() {
    wchar_t folder[MAX_PATH + 1];
    wchar_t path[MAX_PATH + 1];
    if (GetTempPathW(MAX_PATH, folder) == 0 || GetTempFileNameW(folder, L"err", 0, path) == 0)
        throw failure("GetTempFileNameW");
    return open_inheritable(path, OPEN_EXISTING, FILE_FLAG_DELETE_ON_CLOSE);
}

std::string contents_of(const unique_handle& file) {
    std::string bytes(65'536, '\0');
    DWORD got = 0;
    if (!SetFilePointerEx(file.get(), {}, nullptr, FILE_BEGIN) ||
        !ReadFile(file.get(), bytes.data(), static_cast<DWORD>(bytes.size()), &got, nullptr))
        throw failure("ReadFile");
    bytes.resize(got);
    return bytes;
}

}  // namespace

unique_handle start_child(const std::wstring& name, const std::wstring& arguments) {
    return start(name, arguments, {});
}

unsigned exit_code_of(const unique_handle& child) {
    DWORD code = 0;
    if (WaitForSingleObject(child.get(), 60'000) != WAIT_OBJECT_0 ||
        !GetExitCodeProcess(child.get(), &code))
        throw std::runtime_error("the child process did not end");
    return code;
}

EndedChild run_child(const std::wstring& name, const std::wstring& arguments) {
    const unique_handle errors = temporary_file();
    const unique_handle nothing = open_inheritable(L"NUL", OPEN_EXISTING, 0);
    STARTUPINFOW startup = {};
    startup.dwFlags = STARTF_USESTDHANDLES;
    startup.hStdInput = nothing.get();
    startup.hStdOutput = nothing.get();
    startup.hStdError = errors.get();
    const unsigned code = exit_code_of(start(name, arguments, startup));
    const std::uint64_t end_time = GetTickCount64();
    return {code, contents_of(errors), end_time};
}

}  // namespace larkspine::testing
