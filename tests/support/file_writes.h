// WriteFile as a test answers it. For programs with replaced imports.
#pragma once

#include "base/win32_api.h"

#include <algorithm>
#include <functional>
#include <optional>
#include <string>
#include <utility>

#include "support/import_replacement.h"

namespace larkspine::testing {

struct FileWrite {
    HANDLE file;
    LPCVOID bytes;
    DWORD length;

    [[nodiscard]] std::string text() const { return {static_cast<const char*>(bytes), length}; }
};

// Returns the result of a call and sets the count in `written`. Without a result, the system writes
// as many bytes as `write` then requests.
using WriteAnswer = std::function<std::optional<BOOL>(FileWrite& write, DWORD& written)>;

// For every file, from any thread, until another answer is set or the hooks are cleared.
inline void answer_writes(WriteAnswer answer) {
    hooks().WriteFile = [answer = std::move(answer)](HANDLE file, LPCVOID bytes, DWORD length,
                                                     LPDWORD written, LPOVERLAPPED overlapped) {
        FileWrite write{file, bytes, length};
        const std::optional<BOOL> answered = answer(write, *written);
        return answered ? *answered
                        : real_imports().WriteFile(file, bytes, write.length, written, overlapped);
    };
}

// One write takes `most` bytes at most.
inline void shorten_writes(DWORD most) {
    answer_writes([most](FileWrite& write, DWORD&) {
        write.length = std::min(write.length, most);
        return std::optional<BOOL>();
    });
}

}  // namespace larkspine::testing
