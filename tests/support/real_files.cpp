#include "support/real_files.h"

#include <algorithm>
#include <memory>
#include <stdexcept>

#include "base/win32_handle.h"
#include "support/import_replacement.h"

namespace larkspine::testing::real {
namespace {

constexpr DWORD share_everything = FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE;

void require(BOOL done, const char* what) {
    if (!done)
        throw std::runtime_error(std::string(what) + " failed with " +
                                 std::to_string(GetLastError()));
}

struct CloseReally {
    void operator()(HANDLE handle) const { real_imports().CloseHandle(handle); }
};
using RealHandle = std::unique_ptr<void, CloseReally>;

RealHandle open(const std::wstring& path, DWORD access, DWORD disposition) {
    const HANDLE handle =
        real_imports().CreateFileW(path.c_str(), access, share_everything, nullptr, disposition,
                                   FILE_FLAG_BACKUP_SEMANTICS, nullptr);
    require(handle != INVALID_HANDLE_VALUE, "CreateFileW");
    return RealHandle(handle);
}

void write_at(HANDLE file, std::uint64_t offset, DWORD method, std::string_view contents) {
    LARGE_INTEGER distance;
    distance.QuadPart = static_cast<LONGLONG>(offset);
    require(real_imports().SetFilePointerEx(file, distance, nullptr, method), "SetFilePointerEx");
    while (!contents.empty()) {
        DWORD written = 0;
        require(real_imports().WriteFile(file, contents.data(), static_cast<DWORD>(contents.size()),
                                         &written, nullptr) &&
                    written > 0,
                "WriteFile");
        contents.remove_prefix(written);
    }
}

WIN32_FILE_ATTRIBUTE_DATA attribute_data(const std::wstring& path) {
    WIN32_FILE_ATTRIBUTE_DATA data = {};
    require(real_imports().GetFileAttributesExW(path.c_str(), GetFileExInfoStandard, &data),
            "GetFileAttributesExW");
    return data;
}

FILETIME filetime_of(std::uint64_t value) {
    return {static_cast<DWORD>(value), static_cast<DWORD>(value >> 32)};
}

}  // namespace

void write_file(const std::wstring& path, std::string_view contents) {
    write_at(open(path, GENERIC_WRITE, CREATE_ALWAYS).get(), 0, FILE_BEGIN, contents);
}

void append_to_file(const std::wstring& path, std::string_view contents) {
    write_at(open(path, GENERIC_WRITE, OPEN_EXISTING).get(), 0, FILE_END, contents);
}

void overwrite_file(const std::wstring& path, std::uint64_t offset, std::string_view contents) {
    if (offset + contents.size() > size_of(path))
        throw std::runtime_error("an overwrite reaches beyond the file's end");
    write_at(open(path, GENERIC_WRITE, OPEN_EXISTING).get(), offset, FILE_BEGIN, contents);
}

void truncate_file(const std::wstring& path, std::uint64_t size) {
    if (size > size_of(path))
        throw std::runtime_error("a file cannot be truncated to more than it has");
    const RealHandle file = open(path, GENERIC_WRITE, OPEN_EXISTING);
    write_at(file.get(), size, FILE_BEGIN, {});
    require(SetEndOfFile(file.get()), "SetEndOfFile");
}

void make_folder(const std::wstring& path) {
    require(real_imports().CreateDirectoryW(path.c_str(), nullptr), "CreateDirectoryW");
}

void move_file(const std::wstring& from, const std::wstring& to) {
    require(real_imports().MoveFileExW(from.c_str(), to.c_str(), 0), "MoveFileExW");
}

void remove_file(const std::wstring& path) {
    require(real_imports().DeleteFileW(path.c_str()), "DeleteFileW");
}

void remove_folder(const std::wstring& path) {
    require(RemoveDirectoryW(path.c_str()), "RemoveDirectoryW");
}

void link_file(const std::wstring& existing, const std::wstring& added) {
    require(CreateHardLinkW(added.c_str(), existing.c_str(), nullptr), "CreateHardLinkW");
}

void set_attributes(const std::wstring& path, std::uint32_t attributes) {
    require(SetFileAttributesW(path.c_str(), attributes), "SetFileAttributesW");
}

std::uint32_t attributes_of(const std::wstring& path) {
    return attribute_data(path).dwFileAttributes;
}

std::uint64_t write_time_of(const std::wstring& path) {
    return filetime_value(attribute_data(path).ftLastWriteTime);
}

std::uint64_t size_of(const std::wstring& path) {
    const WIN32_FILE_ATTRIBUTE_DATA data = attribute_data(path);
    return join_halves(data.nFileSizeHigh, data.nFileSizeLow);
}

void set_times(const std::wstring& path, std::uint64_t creation, std::uint64_t last_write) {
    const FILETIME made = filetime_of(creation);
    const FILETIME written = filetime_of(last_write);
    const RealHandle file = open(path, FILE_WRITE_ATTRIBUTES, OPEN_EXISTING);
    require(SetFileTime(file.get(), creation == 0 ? nullptr : &made, nullptr,
                        last_write == 0 ? nullptr : &written),
            "SetFileTime");
}

std::uint64_t index_of(const std::wstring& path) {
    BY_HANDLE_FILE_INFORMATION information = {};
    const RealHandle file = open(path, 0, OPEN_EXISTING);
    require(real_imports().GetFileInformationByHandle(file.get(), &information),
            "GetFileInformationByHandle");
    return join_halves(information.nFileIndexHigh, information.nFileIndexLow);
}

std::vector<ListedName> list_folder(const std::wstring& path) {
    WIN32_FIND_DATAW found = {};
    const HANDLE listing = real_imports().FindFirstFileExW(
        (path + L"\\*").c_str(), FindExInfoBasic, &found, FindExSearchNameMatch, nullptr, 0);
    require(listing != INVALID_HANDLE_VALUE, "FindFirstFileExW");
    std::vector<ListedName> names;
    do {
        const std::wstring name = found.cFileName;
        if (name != L"." && name != L"..")
            names.push_back({name, found.dwFileAttributes});
    } while (real_imports().FindNextFileW(listing, &found));
    real_imports().FindClose(listing);
    std::sort(names.begin(), names.end(),
              [](const ListedName& a, const ListedName& b) { return a.name < b.name; });
    return names;
}

}  // namespace larkspine::testing::real
