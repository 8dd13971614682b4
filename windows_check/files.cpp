#include "files.h"

#include <array>
#include <memory>

#include "base/path.h"
#include "system_error.h"

namespace larkspine::check {

std::optional<std::vector<ListedName>> list_folder(const std::wstring& folder) {
    const unique_handle handle = own_handle(
        CreateFileW(folder.c_str(), FILE_LIST_DIRECTORY, share_everything, nullptr, OPEN_EXISTING,
                    FILE_FLAG_BACKUP_SEMANTICS | FILE_FLAG_OPEN_REPARSE_POINT, nullptr));
    if (!handle)
        return std::nullopt;
    std::vector<ListedName> names;
    constexpr DWORD size = 1U << 16;
    const auto buffer = std::make_unique<std::uint64_t[]>(size / sizeof(std::uint64_t));
    auto* const bytes = reinterpret_cast<const std::byte*>(buffer.get());
    while (
        GetFileInformationByHandleEx(handle.get(), FileIdBothDirectoryInfo, buffer.get(), size)) {
        for (std::size_t at = 0;;) {
            const auto* entry = reinterpret_cast<const FILE_ID_BOTH_DIR_INFO*>(bytes + at);
            const std::wstring_view name(entry->FileName, entry->FileNameLength / sizeof(wchar_t));
            if (name != L"." && name != L"..")
                names.push_back({std::wstring(name), entry->FileAttributes,
                                 static_cast<std::uint64_t>(entry->EndOfFile.QuadPart)});
            if (entry->NextEntryOffset == 0)
                break;
            at += entry->NextEntryOffset;
        }
    }
    // A root without "." and ".." that holds nothing answers ERROR_FILE_NOT_FOUND.
    if (GetLastError() != ERROR_NO_MORE_FILES && GetLastError() != ERROR_FILE_NOT_FOUND)
        return std::nullopt;
    return names;
}

std::vector<ListedName> names_in(const std::wstring& folder) {
    return list_folder(folder).value_or(std::vector<ListedName>{});
}

bool exists(const std::wstring& path) {
    return GetFileAttributesW(path.c_str()) != INVALID_FILE_ATTRIBUTES;
}

unique_handle open_file(const std::wstring& path, DWORD access, DWORD disposition, DWORD flags) {
    unique_handle file = own_handle(
        CreateFileW(path.c_str(), access, share_everything, nullptr, disposition, flags, nullptr));
    if (!file)
        fail("CreateFileW", path);
    return file;
}

std::wstring parent_of(const std::wstring& path) {
    return path.substr(0, path.find_last_of(L'\\'));
}

void make_folders(const std::wstring& folder) {
    if (exists(folder) || CreateDirectoryW(folder.c_str(), nullptr))
        return;
    if (GetLastError() != ERROR_PATH_NOT_FOUND)
        fail("CreateDirectoryW", folder);
    make_folders(parent_of(folder));
    if (!CreateDirectoryW(folder.c_str(), nullptr))
        fail("CreateDirectoryW", folder);
}

void write_all_of(HANDLE file, std::string_view contents, const std::wstring& path) {
    while (!contents.empty()) {
        DWORD written = 0;
        if (!WriteFile(file, contents.data(), static_cast<DWORD>(contents.size()), &written,
                       nullptr) ||
            written == 0)
            fail("WriteFile", path);
        contents.remove_prefix(written);
    }
}

void write_file(const std::wstring& path, std::string_view contents) {
    const unique_handle file = open_file(path, GENERIC_WRITE, CREATE_ALWAYS);
    write_all_of(file.get(), contents, path);
}

void append_to_file(const std::wstring& path, std::string_view contents) {
    const unique_handle file = open_file(path, FILE_APPEND_DATA | SYNCHRONIZE, OPEN_EXISTING);
    write_all_of(file.get(), contents, path);
}

void write_at(HANDLE file, std::uint64_t offset, std::string_view contents,
              const std::wstring& path) {
    LARGE_INTEGER place = {};
    place.QuadPart = static_cast<LONGLONG>(offset);
    if (!SetFilePointerEx(file, place, nullptr, FILE_BEGIN))
        fail("SetFilePointerEx", path);
    write_all_of(file, contents, path);
}

void overwrite_file(const std::wstring& path, std::uint64_t offset, std::string_view contents) {
    write_at(open_file(path, GENERIC_WRITE, OPEN_EXISTING).get(), offset, contents, path);
}

void resize_file(const std::wstring& path, std::uint64_t size) {
    const unique_handle file = open_file(path, GENERIC_WRITE, OPEN_ALWAYS);
    LARGE_INTEGER end = {};
    end.QuadPart = static_cast<LONGLONG>(size);
    if (!SetFilePointerEx(file.get(), end, nullptr, FILE_BEGIN) || !SetEndOfFile(file.get()))
        fail("SetEndOfFile", path);
}

std::string read_file(const std::wstring& path) {
    const unique_handle file = open_file(path, GENERIC_READ, OPEN_EXISTING);
    std::string contents;
    std::array<char, 1U << 16> block{};
    for (;;) {
        DWORD got = 0;
        if (!ReadFile(file.get(), block.data(), static_cast<DWORD>(block.size()), &got, nullptr))
            fail("ReadFile", path);
        if (got == 0)
            return contents;
        contents.append(block.data(), got);
    }
}

void rename_path(const std::wstring& from, const std::wstring& to) {
    if (!MoveFileExW(from.c_str(), to.c_str(), MOVEFILE_REPLACE_EXISTING))
        fail("MoveFileExW", from);
}

void remove_path(const std::wstring& path) {
    const DWORD attributes = GetFileAttributesW(path.c_str());
    if (attributes == INVALID_FILE_ATTRIBUTES)
        fail("GetFileAttributesW", path);
    if (attributes & FILE_ATTRIBUTE_READONLY)
        SetFileAttributesW(path.c_str(), FILE_ATTRIBUTE_NORMAL);
    const bool folder = (attributes & FILE_ATTRIBUTE_DIRECTORY) != 0;
    if (!(folder ? RemoveDirectoryW(path.c_str()) : DeleteFileW(path.c_str())))
        fail("DeleteFileW", path);
}

bool remove_tree(const std::wstring& path) noexcept {
    try {
        const DWORD attributes = GetFileAttributesW(path.c_str());
        bool all = true;
        if (attributes != INVALID_FILE_ATTRIBUTES && (attributes & FILE_ATTRIBUTE_DIRECTORY) &&
            !(attributes & FILE_ATTRIBUTE_REPARSE_POINT))
            for (const ListedName& entry : names_in(path))
                all = remove_tree(join_path(path, entry.name)) && all;
        remove_path(path);
        return all;
    } catch (const std::exception&) {
        return false;
    }
}

void link_file(const std::wstring& existing, const std::wstring& added) {
    if (!CreateHardLinkW(added.c_str(), existing.c_str(), nullptr))
        fail("CreateHardLinkW", added);
}

void set_attributes(const std::wstring& path, DWORD attributes) {
    if (!SetFileAttributesW(path.c_str(), attributes))
        fail("SetFileAttributesW", path);
}

std::uint64_t write_time_of(const std::wstring& path) {
    const unique_handle file =
        open_file(path, FILE_READ_ATTRIBUTES, OPEN_EXISTING, FILE_FLAG_BACKUP_SEMANTICS);
    FILETIME time = {};
    if (!GetFileTime(file.get(), nullptr, nullptr, &time))
        fail("GetFileTime", path);
    return filetime_value(time);
}

void move_write_time(const std::wstring& path, std::int64_t units) {
    const std::uint64_t moved = write_time_of(path) + static_cast<std::uint64_t>(units);
    const FILETIME time = {static_cast<DWORD>(moved), static_cast<DWORD>(moved >> 32)};
    const unique_handle file = open_file(path, FILE_WRITE_ATTRIBUTES, OPEN_EXISTING);
    if (!SetFileTime(file.get(), nullptr, nullptr, &time))
        fail("SetFileTime", path);
}

std::wstring long_form(const std::wstring& path) {
    return to_long_path(path);
}

}  // namespace larkspine::check
