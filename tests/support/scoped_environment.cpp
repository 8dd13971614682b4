#include "support/scoped_environment.h"

#include "base/win32_api.h"

#include <stdexcept>

namespace larkspine::testing {

ScopedEnvironment::ScopedEnvironment(const wchar_t* name, std::optional<std::wstring> value)
    : name_(name) {
    std::wstring before(32'768, L'\0');
    const DWORD length =
        GetEnvironmentVariableW(name, before.data(), static_cast<DWORD>(before.size()));
    if (length > 0) {
        before.resize(length);
        before_ = before;
    }
    SetEnvironmentVariableW(name, value ? value->c_str() : nullptr);
}

ScopedEnvironment::~ScopedEnvironment() {
    SetEnvironmentVariableW(name_, before_ ? before_->c_str() : nullptr);
}

ScopedCurrentDirectory::ScopedCurrentDirectory(const std::wstring& path) {
    wchar_t before[32'768];
    const DWORD length = GetCurrentDirectoryW(32'768, before);
    before_.assign(before, length);
    if (!SetCurrentDirectoryW(path.c_str()))
        throw std::runtime_error("SetCurrentDirectoryW failed");
}

ScopedCurrentDirectory::~ScopedCurrentDirectory() {
    SetCurrentDirectoryW(before_.c_str());
}

}  // namespace larkspine::testing
