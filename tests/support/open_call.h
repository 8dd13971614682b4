// A call of CreateFileW, as tests remember it.
#pragma once

#include "base/win32_api.h"

#include <string>

namespace larkspine::testing {

inline constexpr DWORD share_everything = FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE;

struct OpenCall {
    std::wstring path;
    DWORD access = 0;
    DWORD share = 0;
    LPSECURITY_ATTRIBUTES security = nullptr;
    DWORD disposition = 0;
    DWORD flags = 0;
    HANDLE pattern = nullptr;

    friend bool operator==(const OpenCall&, const OpenCall&) = default;
};

}  // namespace larkspine::testing
