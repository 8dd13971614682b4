#include "support/fake_folder.h"

#include <algorithm>
#include <cstring>
#include <utility>

#include "support/srw_lock.h"

namespace larkspine::testing {
namespace {

// Far above the handles of the system. File handles differ by 4, as the system's do.
constexpr std::uintptr_t listing_handle = 0x7EED'0000;
constexpr std::uintptr_t first_file_handle = 0x7EEE'0000;

HANDLE handle_of(std::uintptr_t value) {
    return reinterpret_cast<HANDLE>(value);
}

// Arabic digits, U+0660 to U+0669: paths that differ beyond ASCII are compared by the system, so
// their comparisons are counted.
constexpr wchar_t zero = L'\u0660';

std::wstring name_of(std::size_t file) {
    std::wstring name(FakeFolder::name_length, zero);
    for (std::size_t place = name.size(); file > 0; file /= 10)
        name[--place] = static_cast<wchar_t>(zero + file % 10);
    return name;
}

}  // namespace

void PrintTo(const Asked& asked, std::ostream* out) {
    *out << asked.listings << " listings, " << asked.opens << " opens, " << asked.identities
         << " identities, " << asked.reads << " reads, " << asked.closes << " closes";
}

FakeFolder::FakeFolder(std::wstring root, std::size_t files, Contents contents)
    : root_(std::move(root)),
      files_(files),
      contents_(std::move(contents)),
      next_handle_(first_file_handle) {
    hooks().FindFirstFileExW = [this](LPCWSTR pattern, FINDEX_INFO_LEVELS b, LPVOID found,
                                      FINDEX_SEARCH_OPS d, LPVOID e, DWORD f) {
        if (pattern != root_ + L"\\*")
            return real_imports().FindFirstFileExW(pattern, b, found, d, e, f);
        listed_ = 0;
        return list(static_cast<LPWIN32_FIND_DATAW>(found)) ? handle_of(listing_handle)
                                                            : INVALID_HANDLE_VALUE;
    };
    hooks().FindNextFileW = [this](HANDLE handle, LPWIN32_FIND_DATAW found) {
        return handle == handle_of(listing_handle) ? list(found)
                                                   : real_imports().FindNextFileW(handle, found);
    };
    hooks().FindClose = [](HANDLE handle) {
        return handle == handle_of(listing_handle) ? TRUE : real_imports().FindClose(handle);
    };
    hooks().CreateFileW = [this](LPCWSTR path, auto... rest) {
        const std::wstring_view text(path);
        return text.size() == root_.size() + 1 + name_length && text.starts_with(root_)
                   ? open(text)
                   : real_imports().CreateFileW(path, rest...);
    };
    hooks().GetFileInformationByHandleEx = [this](HANDLE handle, FILE_INFO_BY_HANDLE_CLASS kind,
                                                  LPVOID buffer, DWORD size) {
        return is_mine(handle)
                   ? identify(handle, buffer)
                   : real_imports().GetFileInformationByHandleEx(handle, kind, buffer, size);
    };
    hooks().ReadFile = [this](HANDLE handle, LPVOID buffer, DWORD wanted, LPDWORD got,
                              LPOVERLAPPED overlapped) {
        return is_mine(handle) ? read(handle, buffer, wanted, got)
                               : real_imports().ReadFile(handle, buffer, wanted, got, overlapped);
    };
    hooks().CloseHandle = [this](HANDLE handle) {
        return is_mine(handle) ? close(handle) : real_imports().CloseHandle(handle);
    };
    hooks().CompareStringOrdinal = [this](auto... arguments) {
        ++comparisons_;
        return real_imports().CompareStringOrdinal(arguments...);
    };
}

std::wstring FakeFolder::path(std::size_t file) const {
    return root_ + L"\\" + name_of(file);
}

std::size_t FakeFolder::file_of(std::wstring_view path) {
    std::size_t file = 0;
    for (const wchar_t digit : path.substr(path.size() - name_length))
        file = 10 * file + static_cast<std::size_t>(digit - zero);
    return file;
}

Asked FakeFolder::asked() const {
    return asked_;
}

void FakeFolder::forget() {
    asked_ = {};
    comparisons_ = 0;
}

BOOL FakeFolder::list(LPWIN32_FIND_DATAW found) {
    ++asked_.listings;
    if (listed_ == files_) {
        SetLastError(ERROR_NO_MORE_FILES);
        return FALSE;
    }
    *found = {};
    found->dwFileAttributes = FILE_ATTRIBUTE_ARCHIVE;
    found->nFileSizeLow = static_cast<DWORD>(contents_(listed_).size());
    name_of(listed_).copy(found->cFileName, MAX_PATH - 1);
    ++listed_;
    return TRUE;
}

HANDLE FakeFolder::open(std::wstring_view path) {
    const std::size_t file = file_of(path);
    const SrwLock lock(lock_);
    ++asked_.opens;
    const HANDLE handle = handle_of(next_handle_);
    next_handle_ += 4;
    open_[handle] = {file, 0};
    return handle;
}

BOOL FakeFolder::identify(HANDLE handle, LPVOID buffer) {
    const SrwLock lock(lock_);
    ++asked_.identities;
    FILE_ID_INFO identity = {};
    identity.VolumeSerialNumber = 1;
    const std::uint64_t file = open_.at(handle).file;
    std::memcpy(&identity.FileId, &file, sizeof file);
    std::memcpy(buffer, &identity, sizeof identity);
    return TRUE;
}

BOOL FakeFolder::read(HANDLE handle, LPVOID buffer, DWORD wanted, LPDWORD got) {
    const SrwLock lock(lock_);
    ++asked_.reads;
    OpenFile& file = open_.at(handle);
    const std::string contents = contents_(file.file);
    const std::size_t count = std::min<std::size_t>(wanted, contents.size() - file.read);
    std::memcpy(buffer, contents.data() + file.read, count);
    file.read += count;
    *got = static_cast<DWORD>(count);
    return TRUE;
}

BOOL FakeFolder::close(HANDLE handle) {
    const SrwLock lock(lock_);
    ++asked_.closes;
    open_.erase(handle);
    return TRUE;
}

bool FakeFolder::is_mine(HANDLE handle) {
    const auto value = reinterpret_cast<std::uintptr_t>(handle);
    if (value < first_file_handle)
        return false;
    const SrwLock lock(lock_);
    return open_.contains(handle);
}

}  // namespace larkspine::testing
