#include "system_facts.h"

#include "base/win32_api.h"

#include <array>

#include "rights.h"
#include "text.h"

namespace larkspine::check {
namespace {

template <typename Function>
Function in_ntdll(const char* name) {
    return reinterpret_cast<Function>(
        reinterpret_cast<void*>(GetProcAddress(GetModuleHandleW(L"ntdll.dll"), name)));
}

using WineVersion = const char*(__cdecl*)();

// GetVersionExW would return the version that the program's manifest declares.
std::string version() {
    using GetVersion = LONG(WINAPI*)(OSVERSIONINFOW*);
    OSVERSIONINFOW info = {};
    info.dwOSVersionInfoSize = sizeof(info);
    if (const auto get = in_ntdll<GetVersion>("RtlGetVersion"))
        get(&info);
    return std::to_string(info.dwMajorVersion) + '.' + std::to_string(info.dwMinorVersion) + '.' +
           std::to_string(info.dwBuildNumber);
}

std::string registry_text(const wchar_t* name) {
    std::array<wchar_t, 128> text{};
    DWORD size = sizeof(text) - sizeof(wchar_t);
    if (RegGetValueW(HKEY_LOCAL_MACHINE, L"SOFTWARE\\Microsoft\\Windows NT\\CurrentVersion", name,
                     RRF_RT_REG_SZ, nullptr, text.data(), &size) != ERROR_SUCCESS)
        return "?";
    return utf8(text.data());
}

std::string registry_number(const wchar_t* name) {
    DWORD value = 0;
    DWORD size = sizeof(value);
    if (RegGetValueW(HKEY_LOCAL_MACHINE, L"SOFTWARE\\Microsoft\\Windows NT\\CurrentVersion", name,
                     RRF_RT_REG_DWORD, nullptr, &value, &size) != ERROR_SUCCESS)
        return "?";
    return std::to_string(value);
}

}  // namespace

std::string system_facts() {
    std::string facts = "Windows " + version() + ", UBR " + registry_number(L"UBR") + "\r\n" +
                        registry_text(L"ProductName") + ", " + registry_text(L"DisplayVersion") +
                        "\r\n";
    if (const auto wine = in_ntdll<WineVersion>("wine_get_version"))
        facts += std::string("Wine ") + wine() + "\r\n";
    SYSTEM_INFO system = {};
    GetNativeSystemInfo(&system);
    facts += "processeurs/processors: " + std::to_string(system.dwNumberOfProcessors) + "\r\n";
    facts += "ANSI " + std::to_string(GetACP()) + ", OEM " + std::to_string(GetOEMCP()) + "\r\n";
    facts += std::string("administrateur/administrator: ") +
             (is_administrator() ? "oui/yes" : "non/no") + "\r\n";
    return facts;
}

bool under_wine() {
    return in_ntdll<WineVersion>("wine_get_version") != nullptr;
}

}  // namespace larkspine::check
