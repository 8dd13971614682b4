#include "rights.h"

#include <array>
#include <memory>
#include <sddl.h>
#include <vector>

#include "system_error.h"

namespace larkspine::check {
namespace {

struct LocalFreeing {
    void operator()(void* memory) const noexcept { LocalFree(memory); }
};
template <typename T>
using local_memory = std::unique_ptr<T, LocalFreeing>;

local_memory<void> descriptor_of(const std::wstring& text) {
    PSECURITY_DESCRIPTOR descriptor = nullptr;
    if (!ConvertStringSecurityDescriptorToSecurityDescriptorW(text.c_str(), SDDL_REVISION_1,
                                                              &descriptor, nullptr))
        fail("ConvertStringSecurityDescriptorToSecurityDescriptorW", text);
    return local_memory<void>(descriptor);
}

unique_handle own_token(DWORD access) {
    HANDLE token = nullptr;
    if (!OpenProcessToken(GetCurrentProcess(), access, &token))
        fail("OpenProcessToken", L"");
    return unique_handle(token);
}

std::wstring user_of_token() {
    const unique_handle token = own_token(TOKEN_QUERY);
    DWORD size = 0;
    GetTokenInformation(token.get(), TokenUser, nullptr, 0, &size);
    std::vector<std::uint64_t> buffer(size / sizeof(std::uint64_t) + 1);
    if (!GetTokenInformation(token.get(), TokenUser, buffer.data(), size, &size))
        fail("GetTokenInformation", L"TokenUser");
    LPWSTR text = nullptr;
    if (!ConvertSidToStringSidW(reinterpret_cast<const TOKEN_USER*>(buffer.data())->User.Sid,
                                &text))
        fail("ConvertSidToStringSidW", L"");
    const local_memory<wchar_t> owned(text);
    return text;
}

// The well-known group of administrators.
local_memory<void> administrators() {
    PSID group = nullptr;
    if (!ConvertStringSidToSidW(L"S-1-5-32-544", &group))
        fail("ConvertStringSidToSidW", L"S-1-5-32-544");
    return local_memory<void>(group);
}

}  // namespace

bool is_administrator() {
    BOOL member = FALSE;
    return CheckTokenMembership(nullptr, administrators().get(), &member) && member;
}

unique_handle restricted_token() {
    const unique_handle token =
        own_token(TOKEN_DUPLICATE | TOKEN_QUERY | TOKEN_ASSIGN_PRIMARY | TOKEN_ADJUST_DEFAULT);
    const local_memory<void> group = administrators();
    SID_AND_ATTRIBUTES disabled = {group.get(), 0};
    HANDLE restricted = nullptr;
    if (!CreateRestrictedToken(token.get(), DISABLE_MAX_PRIVILEGE, 1, &disabled, 0, nullptr, 0,
                               nullptr, &restricted))
        fail("CreateRestrictedToken", L"");
    return unique_handle(restricted);
}

void make_own_folder(const std::wstring& path) {
    const local_memory<void> descriptor =
        descriptor_of(L"D:P(A;OICI;FA;;;BA)(A;OICI;FA;;;SY)(A;OICI;FA;;;" + user_of_token() + L")");
    SECURITY_ATTRIBUTES attributes = {sizeof(attributes), descriptor.get(), FALSE};
    if (!CreateDirectoryW(path.c_str(), &attributes))
        fail("CreateDirectoryW", path);
}

void deny_reading(const std::wstring& path) {
    // Reading the data of a file is listing a folder: the same bit.
    const local_memory<void> descriptor = descriptor_of(L"D:P(D;;0x1;;;WD)(A;;FA;;;WD)");
    if (!SetFileSecurityW(path.c_str(), DACL_SECURITY_INFORMATION, descriptor.get()))
        fail("SetFileSecurityW", path);
}

void allow_reading(const std::wstring& path) noexcept {
    try {
        const local_memory<void> descriptor = descriptor_of(L"D:(A;;FA;;;WD)");
        SetFileSecurityW(path.c_str(), DACL_SECURITY_INFORMATION, descriptor.get());
    } catch (const std::exception&) {
        return;  // what is left is removed with the volume
    }
}

}  // namespace larkspine::check
