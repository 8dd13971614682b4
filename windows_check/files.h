// The kit's operations on files, all below its own two folders. Paths are in long form. Each throws
// SystemError when the system refuses, unless its comment says otherwise.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "base/win32_handle.h"

namespace larkspine::check {

struct ListedName {
    std::wstring name;
    DWORD attributes = 0;
    std::uint64_t size = 0;
};

// The entries of a folder, without "." and ".."; no value when it cannot be listed.
[[nodiscard]] std::optional<std::vector<ListedName>> list_folder(const std::wstring& folder);

// The same, but no entries for a folder that cannot be listed.
[[nodiscard]] std::vector<ListedName> names_in(const std::wstring& folder);

[[nodiscard]] bool exists(const std::wstring& path);
[[nodiscard]] unique_handle open_file(const std::wstring& path, DWORD access, DWORD disposition,
                                      DWORD flags = 0);
// Makes the folder and its missing parents.
void make_folders(const std::wstring& folder);
// Writes the file, in place of an existing one.
void write_file(const std::wstring& path, std::string_view contents);
void append_to_file(const std::wstring& path, std::string_view contents);
void overwrite_file(const std::wstring& path, std::uint64_t offset, std::string_view contents);
void write_at(HANDLE file, std::uint64_t offset, std::string_view contents,
              const std::wstring& path);
void resize_file(const std::wstring& path, std::uint64_t size);
void write_all_of(HANDLE file, std::string_view contents, const std::wstring& path);
[[nodiscard]] std::string read_file(const std::wstring& path);

// Replaces an existing file of the new name.
void rename_path(const std::wstring& from, const std::wstring& to);
// Removes a file or an empty folder, even a read-only one. Removes a link itself, never its target.
void remove_path(const std::wstring& path);
// Removes a folder with its contents. Follows no link. False when something is left.
bool remove_tree(const std::wstring& path) noexcept;
void link_file(const std::wstring& existing, const std::wstring& added);
void set_attributes(const std::wstring& path, DWORD attributes);
// Adds the 100 ns units to the time of the last write.
void move_write_time(const std::wstring& path, std::int64_t units);
[[nodiscard]] std::uint64_t write_time_of(const std::wstring& path);

[[nodiscard]] std::wstring parent_of(const std::wstring& path);
// The absolute path in long form.
[[nodiscard]] std::wstring long_form(const std::wstring& path);

}  // namespace larkspine::check
