// What the kit does to files, below the two folders that are its own. Paths are in long form.
// Whatever the system refuses throws SystemError, unless the function says otherwise.
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

// What a folder holds, without "." and ".."; empty when it cannot be listed.
[[nodiscard]] std::optional<std::vector<ListedName>> list_folder(const std::wstring& folder);

// The same, and nothing for a folder that cannot be listed.
[[nodiscard]] std::vector<ListedName> names_in(const std::wstring& folder);

[[nodiscard]] bool exists(const std::wstring& path);
[[nodiscard]] unique_handle open_file(const std::wstring& path, DWORD access, DWORD disposition,
                                      DWORD flags = 0);
// The folder and those missing above it.
void make_folders(const std::wstring& folder);
// In place of what is there.
void write_file(const std::wstring& path, std::string_view contents);
void append_to_file(const std::wstring& path, std::string_view contents);
void overwrite_file(const std::wstring& path, std::uint64_t offset, std::string_view contents);
void write_at(HANDLE file, std::uint64_t offset, std::string_view contents,
              const std::wstring& path);
void resize_file(const std::wstring& path, std::uint64_t size);
void write_all_of(HANDLE file, std::string_view contents, const std::wstring& path);
[[nodiscard]] std::string read_file(const std::wstring& path);

// In place of a file of the new name.
void rename_path(const std::wstring& from, const std::wstring& to);
// A file or an empty folder, read-only ones too; a link itself, never what it leads to.
void remove_path(const std::wstring& path);
// With all that is in it. Goes through no link. False when something stays.
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
