// Operations on the real files behind a fake volume. The volume has replaced the imports; these
// call the real functions. Each throws std::runtime_error when the system refuses.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace larkspine::testing::real {

struct ListedName {
    std::wstring name;
    std::uint32_t attributes = 0;
};

void write_file(const std::wstring& path, std::string_view contents);
void append_to_file(const std::wstring& path, std::string_view contents);
// Stays within the present size of the file.
void overwrite_file(const std::wstring& path, std::uint64_t offset, std::string_view contents);
void truncate_file(const std::wstring& path, std::uint64_t size);
void make_folder(const std::wstring& path);
void move_file(const std::wstring& from, const std::wstring& to);
void remove_file(const std::wstring& path);
void remove_folder(const std::wstring& path);
void link_file(const std::wstring& existing, const std::wstring& added);
void set_attributes(const std::wstring& path, std::uint32_t attributes);
[[nodiscard]] std::uint32_t attributes_of(const std::wstring& path);
[[nodiscard]] std::uint64_t write_time_of(const std::wstring& path);
[[nodiscard]] std::uint64_t size_of(const std::wstring& path);
// A time of 0 leaves the file's own unchanged.
void set_times(const std::wstring& path, std::uint64_t creation, std::uint64_t last_write);
// Volume and index of a file: the same for all its names.
[[nodiscard]] std::uint64_t index_of(const std::wstring& path);
// What a folder holds, sorted by code units.
[[nodiscard]] std::vector<ListedName> list_folder(const std::wstring& path);

}  // namespace larkspine::testing::real
