#include "support/temp_tree.h"

#include <atomic>
#include <stdexcept>

#include "base/path.h"
#include "base/win32_handle.h"

namespace larkspine::testing {
namespace {

[[noreturn]] void fail(const char* what) {
    throw std::runtime_error(std::string(what) + " failed with " + std::to_string(GetLastError()));
}

// Also for folders that exist already.
void create_folders(const std::wstring& path, std::size_t from) {
    for (std::size_t end = from; end != std::wstring::npos;) {
        end = path.find(L'\\', end + 1);
        const std::wstring folder = path.substr(0, end);
        if (!CreateDirectoryW(folder.c_str(), nullptr) && GetLastError() != ERROR_ALREADY_EXISTS)
            fail("CreateDirectoryW");
    }
}

void write_file(const std::wstring& path, std::string_view contents) {
    const unique_handle file = own_handle(CreateFileW(
        path.c_str(), GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr));
    if (!file)
        fail("CreateFileW");
    while (!contents.empty()) {
        DWORD written = 0;
        if (!WriteFile(file.get(), contents.data(), static_cast<DWORD>(contents.size()), &written,
                       nullptr) ||
            written == 0)
            fail("WriteFile");
        contents.remove_prefix(written);
    }
}

void remove_tree(const std::wstring& folder) {
    WIN32_FIND_DATAW found;
    {
        const unique_find_handle listing = own_find_handle(FindFirstFileExW(
            (folder + L"\\*").c_str(), FindExInfoBasic, &found, FindExSearchNameMatch, nullptr, 0));
        if (listing) {
            do {
                const std::wstring_view name(found.cFileName);
                if (name == L"." || name == L"..")
                    continue;
                const std::wstring path = folder + L"\\" + found.cFileName;
                if ((found.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY) != 0 &&
                    (found.dwFileAttributes & FILE_ATTRIBUTE_REPARSE_POINT) == 0) {
                    remove_tree(path);
                } else {
                    SetFileAttributesW(path.c_str(), FILE_ATTRIBUTE_NORMAL);
                    DeleteFileW(path.c_str());
                }
            } while (FindNextFileW(listing.get(), &found));
        }
    }
    RemoveDirectoryW(folder.c_str());
}

}  // namespace

TempTree::TempTree() {
    static std::atomic<unsigned> count{0};
    wchar_t folder[MAX_PATH + 1];
    if (GetTempPathW(MAX_PATH + 1, folder) == 0)
        fail("GetTempPathW");
    const std::wstring prefix = to_long_path(std::wstring(folder) + L"larkspine-test-" +
                                             std::to_wstring(GetCurrentProcessId()) + L"-");
    // A run that crashed leaves its folders behind, and the system reuses its process identifier.
    do
        root_ = prefix + std::to_wstring(count++);
    while (!CreateDirectoryW(root_.c_str(), nullptr) && GetLastError() == ERROR_ALREADY_EXISTS);
    if (!file_exists(root_))
        fail("CreateDirectoryW");
}

TempTree::~TempTree() {
    remove_tree(root_);
}

std::wstring TempTree::path(std::wstring_view relative) const {
    return join_path(root_, relative);
}

std::wstring TempTree::folder(std::wstring_view relative) const {
    std::wstring full = path(relative);
    create_folders(full, root_.size());
    return full;
}

std::wstring TempTree::file(std::wstring_view relative, std::string_view contents) const {
    std::wstring full = path(relative);
    const std::size_t last = full.rfind(L'\\');
    if (last > root_.size())
        create_folders(full.substr(0, last), root_.size());
    write_file(full, contents);
    return full;
}

std::wstring TempTree::sized_file(std::wstring_view relative, std::uint64_t size,
                                  std::uint64_t changed_at) const {
    return file(relative, patterned_bytes(size, changed_at));
}

std::wstring TempTree::hard_link(std::wstring_view relative, const std::wstring& existing) const {
    std::wstring full = path(relative);
    const std::size_t last = full.rfind(L'\\');
    if (last > root_.size())
        create_folders(full.substr(0, last), root_.size());
    if (!CreateHardLinkW(full.c_str(), existing.c_str(), nullptr))
        fail("CreateHardLinkW");
    return full;
}

void TempTree::remove_file(std::wstring_view relative) const {
    if (!DeleteFileW(path(relative).c_str()))
        fail("DeleteFileW");
}

std::string patterned_bytes(std::uint64_t size, std::uint64_t changed_at) {
    std::string bytes(static_cast<std::size_t>(size), '\0');
    for (std::size_t i = 0; i < bytes.size(); ++i)
        bytes[i] = static_cast<char>(i % 251);
    if (changed_at < bytes.size())
        bytes[static_cast<std::size_t>(changed_at)] ^= static_cast<char>(0xFF);
    return bytes;
}

std::string read_file(const std::wstring& path) {
    const unique_handle file = own_handle(CreateFileW(
        path.c_str(), GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, nullptr,
        OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr));
    if (!file)
        fail("CreateFileW");
    std::string contents;
    char block[65536];
    for (;;) {
        DWORD got = 0;
        if (!ReadFile(file.get(), block, sizeof block, &got, nullptr))
            fail("ReadFile");
        if (got == 0)
            return contents;
        contents.append(block, got);
    }
}

bool file_exists(const std::wstring& path) {
    return GetFileAttributesW(path.c_str()) != INVALID_FILE_ATTRIBUTES;
}

}  // namespace larkspine::testing
