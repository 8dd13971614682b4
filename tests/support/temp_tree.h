// A temporary folder for one test, and functions to fill it. Uses the real file system; every path
// that it returns is in long form.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace larkspine::testing {

class TempTree {
  public:
    // Makes a new empty folder below the system's folder for temporary files.
    TempTree();
    // Removes the folder with all that is in it.
    ~TempTree();
    TempTree(const TempTree&) = delete;
    TempTree& operator=(const TempTree&) = delete;

    // \\?\C:\...\larkspine-test-..., without a separator at the end.
    [[nodiscard]] const std::wstring& root() const { return root_; }
    // The long form of a path below the root, given with backslashes.
    [[nodiscard]] std::wstring path(std::wstring_view relative) const;

    // Each makes missing parent folders, returns the full path, and throws std::runtime_error when
    // the system refuses.
    std::wstring folder(std::wstring_view relative) const;
    std::wstring file(std::wstring_view relative, std::string_view contents) const;
    // `size` bytes with a period of 251, so that swapped blocks show; the byte at `changed_at`,
    // when it lies inside, has all its bits inverted.
    std::wstring sized_file(std::wstring_view relative, std::uint64_t size,
                            std::uint64_t changed_at = UINT64_MAX) const;
    std::wstring hard_link(std::wstring_view relative, const std::wstring& existing) const;
    void remove_file(std::wstring_view relative) const;

  private:
    std::wstring root_;
};

// The bytes of sized_file.
[[nodiscard]] std::string patterned_bytes(std::uint64_t size,
                                          std::uint64_t changed_at = UINT64_MAX);

// The whole contents of a file; throws std::runtime_error when it cannot be read.
[[nodiscard]] std::string read_file(const std::wstring& path);

[[nodiscard]] bool file_exists(const std::wstring& path);

}  // namespace larkspine::testing
