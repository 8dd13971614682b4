// A folder of any number of files that exists on no disk. The system's answers for it are made up,
// so the requests of a scan of thousands of files are counted in an instant. For programs with
// replaced imports.
//
//     FakeFolder folder(L"\\\\?\\R:\\arbre", 4000, [](std::size_t i) { return std::to_string(i);
//     });
//     ... scan folder.root() ...
//     EXPECT_EQ(folder.asked().opens, 0u);
//
// Names are seven digits beyond ASCII. It sets the hooks for its lifetime: make it before the
// threads that use it.
#pragma once

#include "base/win32_api.h"

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <ostream>
#include <string>
#include <string_view>

#include "support/import_replacement.h"

namespace larkspine::testing {

// The number of requests of each kind. FakeFolder::comparisons() counts CompareStringOrdinal.
struct Asked {
    std::uint64_t listings = 0;  // FindFirstFileExW and FindNextFileW
    std::uint64_t opens = 0;
    std::uint64_t identities = 0;
    std::uint64_t reads = 0;
    std::uint64_t closes = 0;

    friend bool operator==(const Asked&, const Asked&) = default;
};
void PrintTo(const Asked& asked, std::ostream* out);

class FakeFolder {
  public:
    using Contents = std::function<std::string(std::size_t)>;
    static constexpr std::size_t name_length = 7;

    // Files 0 to `files` - 1, each holding what `contents` says of it.
    FakeFolder(std::wstring root, std::size_t files, Contents contents);
    FakeFolder(const FakeFolder&) = delete;
    FakeFolder& operator=(const FakeFolder&) = delete;

    [[nodiscard]] const std::wstring& root() const { return root_; }
    [[nodiscard]] std::wstring path(std::size_t file) const;
    // The inverse of path(), for any path that ends in the name of such a file.
    [[nodiscard]] static std::size_t file_of(std::wstring_view path);
    // Since construction, or since forget().
    [[nodiscard]] Asked asked() const;
    [[nodiscard]] std::uint64_t comparisons() const { return comparisons_; }
    void forget();

  private:
    struct OpenFile {
        std::size_t file = 0;
        std::size_t read = 0;  // bytes so far
    };

    BOOL list(LPWIN32_FIND_DATAW found);
    HANDLE open(std::wstring_view path);
    BOOL identify(HANDLE handle, LPVOID buffer);
    BOOL read(HANDLE handle, LPVOID buffer, DWORD wanted, LPDWORD got);
    BOOL close(HANDLE handle);
    [[nodiscard]] bool is_mine(HANDLE handle);

    std::wstring root_;
    std::size_t files_;
    Contents contents_;
    std::size_t listed_ = 0;
    SRWLOCK lock_ = SRWLOCK_INIT;
    std::map<HANDLE, OpenFile> open_;
    std::uintptr_t next_handle_;
    Asked asked_;
    std::atomic<std::uint64_t> comparisons_{0};
    ImportReset reset_;
};

}  // namespace larkspine::testing
