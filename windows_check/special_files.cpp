#include "special_files.h"

#include "base/win32_api.h"

#include <algorithm>
#include <cstring>
#include <vector>

#include "base/path_forms.h"
#include "files.h"
#include "system_error.h"

namespace larkspine::check {
namespace {

#ifndef SYMBOLIC_LINK_FLAG_ALLOW_UNPRIVILEGED_CREATE
constexpr DWORD SYMBOLIC_LINK_FLAG_ALLOW_UNPRIVILEGED_CREATE = 2;
#endif
// FILE_CASE_SENSITIVE_INFORMATION, of the public documentation.
constexpr auto case_sensitive_info = static_cast<FILE_INFO_BY_HANDLE_CLASS>(23);

void control(const std::wstring& path, HANDLE file, DWORD code, void* input, std::size_t size) {
    DWORD returned = 0;
    if (!DeviceIoControl(file, code, input, static_cast<DWORD>(size), nullptr, 0, &returned,
                         nullptr))
        fail("DeviceIoControl", path);
}

void must_be_link(const std::wstring& path) {
    const DWORD attributes = GetFileAttributesW(path.c_str());
    if (attributes == INVALID_FILE_ATTRIBUTES || !(attributes & FILE_ATTRIBUTE_REPARSE_POINT))
        throw std::runtime_error("accepté, mais rien n’est fait / accepted, and nothing was made");
}

void put16(std::vector<std::byte>& bytes, std::size_t value) {
    bytes.push_back(static_cast<std::byte>(value & 0xFF));
    bytes.push_back(static_cast<std::byte>(value >> 8 & 0xFF));
}

void put_name(std::vector<std::byte>& bytes, const std::wstring& name) {
    for (const wchar_t unit : name)
        put16(bytes, unit);
    put16(bytes, 0);
}

}  // namespace

void make_junction(const std::wstring& path, const std::wstring& target) {
    make_folders(path);
    const std::wstring shown = strip_long_path_prefix(target);
    const std::wstring name = L"\\??\\" + shown;
    const std::size_t name_size = name.size() * sizeof(wchar_t);
    const std::size_t shown_size = shown.size() * sizeof(wchar_t);
    // A mount point's data: tag, length, reserved; then where its two names are.
    std::vector<std::byte> bytes;
    put16(bytes, IO_REPARSE_TAG_MOUNT_POINT & 0xFFFF);
    put16(bytes, IO_REPARSE_TAG_MOUNT_POINT >> 16);
    put16(bytes, 8 + name_size + 2 + shown_size + 2);
    put16(bytes, 0);
    put16(bytes, 0);
    put16(bytes, name_size);
    put16(bytes, name_size + 2);
    put16(bytes, shown_size);
    put_name(bytes, name);
    put_name(bytes, shown);
    const unique_handle folder =
        open_file(path, GENERIC_WRITE, OPEN_EXISTING,
                  FILE_FLAG_BACKUP_SEMANTICS | FILE_FLAG_OPEN_REPARSE_POINT);
    control(path, folder.get(), FSCTL_SET_REPARSE_POINT, bytes.data(), bytes.size());
    must_be_link(path);
}

void make_symbolic_link(const std::wstring& path, const std::wstring& target, bool to_folder) {
    const DWORD kind = to_folder ? SYMBOLIC_LINK_FLAG_DIRECTORY : 0;
    const std::wstring shown = strip_long_path_prefix(target);
    if (!CreateSymbolicLinkW(path.c_str(), shown.c_str(),
                             kind | SYMBOLIC_LINK_FLAG_ALLOW_UNPRIVILEGED_CREATE) &&
        !CreateSymbolicLinkW(path.c_str(), shown.c_str(), kind))
        fail("CreateSymbolicLinkW", path);
    must_be_link(path);
}

void write_stream(const std::wstring& file, const std::wstring& stream, const std::string& bytes) {
    write_file(file + L':' + stream, bytes);
}

void make_sparse_file(const std::wstring& path, std::uint64_t size) {
    const unique_handle file = open_file(path, GENERIC_WRITE, CREATE_ALWAYS);
    control(path, file.get(), FSCTL_SET_SPARSE, nullptr, 0);
    LARGE_INTEGER end = {};
    end.QuadPart = static_cast<LONGLONG>(size);
    if (!SetFilePointerEx(file.get(), end, nullptr, FILE_BEGIN) || !SetEndOfFile(file.get()))
        fail("SetEndOfFile", path);
}

void compress_file(const std::wstring& path) {
    const unique_handle file = open_file(path, GENERIC_READ | GENERIC_WRITE, OPEN_EXISTING);
    USHORT format = COMPRESSION_FORMAT_DEFAULT;
    control(path, file.get(), FSCTL_SET_COMPRESSION, &format, sizeof(format));
    if (!(GetFileAttributesW(path.c_str()) & FILE_ATTRIBUTE_COMPRESSED))
        throw std::runtime_error("accepté, mais rien n’est fait / accepted, and nothing was made");
}

void make_case_sensitive_folder(const std::wstring& path) {
    make_folders(path);
    const unique_handle folder = open_file(path, FILE_WRITE_ATTRIBUTES | SYNCHRONIZE, OPEN_EXISTING,
                                           FILE_FLAG_BACKUP_SEMANTICS);
    ULONG flags = 1;
    if (!SetFileInformationByHandle(folder.get(), case_sensitive_info, &flags, sizeof(flags)))
        fail("FileCaseSensitiveInfo", path);
}

void write_exact_name(const std::wstring& folder, const std::wstring& name,
                      const std::string& bytes) {
    make_folders(folder);
    write_file(join_path(folder, name), bytes);
    const auto names = list_folder(folder);
    if (!names || std::ranges::find(*names, name, &ListedName::name) == names->end()) {
        remove_path(join_path(folder, name));
        throw std::runtime_error("le nom devient un autre / the name becomes another one");
    }
}

}  // namespace larkspine::check
