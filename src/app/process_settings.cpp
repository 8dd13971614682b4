#include "app/process_settings.h"

#include "base/win32_api.h"

namespace larkspine {
namespace {

// PHCM_EXPOSE_PLACEHOLDERS of the driver kit's ntifs.h.
constexpr CHAR expose_placeholders = 2;

// By default Windows may show a placeholder as an ordinary file, and reading that would download
// it. Exposed, it is a reparse point, which no scan follows.
void expose_cloud_placeholders() {
    using SetCompatibilityMode = CHAR(NTAPI*)(CHAR mode);
    const HMODULE system = GetModuleHandleW(L"ntdll.dll");
    if (system == nullptr)
        return;
    // Since Windows 10, version 1803.
    const auto set_mode = reinterpret_cast<SetCompatibilityMode>(reinterpret_cast<void*>(
        GetProcAddress(system, "RtlSetProcessPlaceholderCompatibilityMode")));
    if (set_mode != nullptr)
        set_mode(expose_placeholders);
}

}  // namespace

void apply_process_settings() {
    SetErrorMode(GetErrorMode() | SEM_FAILCRITICALERRORS);
    expose_cloud_placeholders();
}

}  // namespace larkspine
