#include "support/child_process.h"

#include <stdexcept>

namespace larkspine::testing {

unique_handle start_child(const std::wstring& name, const std::wstring& arguments) {
    std::wstring program(32'768, L'\0');
    program.resize(GetModuleFileNameW(nullptr, program.data(), static_cast<DWORD>(program.size())));
    program.replace(program.rfind(L'\\') + 1, std::wstring::npos, name + L".exe");
    std::wstring command = L"\"" + program + L"\" " + arguments;
    STARTUPINFOW startup = {};
    startup.cb = sizeof startup;
    PROCESS_INFORMATION process = {};
    if (!CreateProcessW(program.c_str(), command.data(), nullptr, nullptr, FALSE, 0, nullptr,
                        nullptr, &startup, &process))
        throw std::runtime_error("CreateProcessW failed");
    CloseHandle(process.hThread);
    return unique_handle(process.hProcess);
}

unsigned exit_code_of(const unique_handle& child) {
    DWORD code = 0;
    if (WaitForSingleObject(child.get(), 60'000) != WAIT_OBJECT_0 ||
        !GetExitCodeProcess(child.get(), &code))
        throw std::runtime_error("the child process did not end");
    return code;
}

}  // namespace larkspine::testing
