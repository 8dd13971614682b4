#include "child.h"

#include <array>

#include "command_line.h"
#include "interruption.h"
#include "system_error.h"

namespace larkspine::check {
namespace {

// Whatever the process starts belongs to the job, and ends when the job's last handle closes.
unique_handle make_job() {
    unique_handle job(CreateJobObjectW(nullptr, nullptr));
    JOBOBJECT_EXTENDED_LIMIT_INFORMATION limits = {};
    limits.BasicLimitInformation.LimitFlags = JOB_OBJECT_LIMIT_KILL_ON_JOB_CLOSE;
    if (job)
        SetInformationJobObject(job.get(), JobObjectExtendedLimitInformation, &limits,
                                sizeof(limits));
    return job;
}

DWORD console_flags(ChildConsole console) {
    switch (console) {
        case ChildConsole::apart:
            return CREATE_NEW_PROCESS_GROUP;
        case ChildConsole::shared:
            return 0;
        case ChildConsole::own:
            return CREATE_NO_WINDOW;
    }
    return 0;
}

}  // namespace

Child::Child(const ChildSettings& settings) : job_(make_job()) {
    STARTUPINFOW start = {};
    start.cb = sizeof(start);
    SECURITY_ATTRIBUTES inherited = {sizeof(inherited), nullptr, TRUE};
    unique_handle nothing;
    const bool redirected = settings.output != nullptr;
    if (redirected) {
        nothing = own_handle(CreateFileW(L"NUL", GENERIC_READ, share_everything, &inherited,
                                         OPEN_EXISTING, 0, nullptr));
        start.dwFlags = STARTF_USESTDHANDLES;
        start.hStdInput = nothing.get();
        start.hStdOutput = settings.output;
        start.hStdError = settings.errors;
        SetHandleInformation(settings.output, HANDLE_FLAG_INHERIT, HANDLE_FLAG_INHERIT);
        SetHandleInformation(settings.errors, HANDLE_FLAG_INHERIT, HANDLE_FLAG_INHERIT);
    }
    std::wstring line = command_line(settings.program, settings.arguments);
    const wchar_t* folder = settings.folder.empty() ? nullptr : settings.folder.c_str();
    const DWORD flags = CREATE_SUSPENDED | console_flags(settings.console);
    PROCESS_INFORMATION made = {};
    const auto create = [&] {
        return settings.token != nullptr
                   ? CreateProcessAsUserW(settings.token, settings.program.c_str(), line.data(),
                                          nullptr, nullptr, redirected, flags, nullptr, folder,
                                          &start, &made)
                   : CreateProcessW(settings.program.c_str(), line.data(), nullptr, nullptr,
                                    redirected, flags, nullptr, folder, &start, &made);
    };
    BOOL started = create();
    if (!started && settings.token == nullptr) {
        // Wine refuses one start in some thousand. A program that cannot start fails again.
        Sleep(100);
        started = create();
    }
    if (!started)
        fail("CreateProcessW", settings.program);
    process_.reset(made.hProcess);
    const unique_handle thread(made.hThread);
    if (job_)
        AssignProcessToJobObject(job_.get(), process_.get());
    ResumeThread(thread.get());
}

Child::~Child() {
    if (WaitForSingleObject(process_.get(), 0) == WAIT_OBJECT_0)
        return;
    TerminateProcess(process_.get(), 1);
    WaitForSingleObject(process_.get(), 5'000);
}

std::optional<DWORD> Child::wait(DWORD milliseconds) const {
    const std::array<HANDLE, 2> awaited = {process_.get(), interruption_event()};
    switch (WaitForMultipleObjects(2, awaited.data(), FALSE, milliseconds)) {
        case WAIT_OBJECT_0: {
            DWORD code = 0;
            if (!GetExitCodeProcess(process_.get(), &code))
                fail("GetExitCodeProcess", L"");
            return code;
        }
        case WAIT_OBJECT_0 + 1:
            throw Interrupted();
        default:
            return std::nullopt;
    }
}

}  // namespace larkspine::check
