// The listings of the folders of a fake volume: those of the system, with the attributes that
// only the volume knows of.
#include <mutex>
#include <string>
#include <string_view>
#include <utility>

#include "support/volume_requests.h"

namespace larkspine::testing {
namespace {

using Guard = std::lock_guard<VolumeLock>;

}  // namespace

HANDLE VolumeRequests::list(LPCWSTR pattern, FINDEX_INFO_LEVELS level, LPVOID data,
                            FINDEX_SEARCH_OPS operation, LPVOID filter, DWORD flags) {
    const auto below = on_drive(pattern);
    if (!below)
        return real_imports().FindFirstFileExW(pattern, level, data, operation, filter, flags);
    const Guard guard(lock_);
    const std::size_t separator = below->rfind(L'\\');
    VolumeCall call;
    call.request = Request::list_folder;
    call.path = separator == std::wstring::npos ? L"" : below->substr(0, separator);
    call.as_given = pattern;
    call.flags = flags;
    Begun begun = begin(std::move(call));
    HANDLE handle = INVALID_HANDLE_VALUE;
    DWORD error = begun.refused.value_or(ERROR_SUCCESS);
    const std::wstring place = contents_.system_path(*below);
    if (error == ERROR_SUCCESS && place.empty())
        error = ERROR_NOT_SUPPORTED;
    if (error == ERROR_SUCCESS) {
        handle =
            real_imports().FindFirstFileExW(place.c_str(), level, data, operation, filter, flags);
        if (handle == INVALID_HANDLE_VALUE)
            error = GetLastError();
        else if (separator == std::wstring::npos)
            skip_dots(handle, *static_cast<WIN32_FIND_DATAW*>(data), error);
    }
    if (error == ERROR_SUCCESS) {
        listings_[handle] = begun.call.path;
        add_attributes(begun.call.path, *static_cast<WIN32_FIND_DATAW*>(data));
    }
    finish(begun, error);
    return handle;
}

// The root of a drive lists neither itself nor a parent.
void VolumeRequests::skip_dots(HANDLE& handle, WIN32_FIND_DATAW& data, DWORD& error) {
    while (std::wstring_view(data.cFileName) == L"." || std::wstring_view(data.cFileName) == L"..")
        if (!real_imports().FindNextFileW(handle, &data)) {
            real_imports().FindClose(handle);
            handle = INVALID_HANDLE_VALUE;
            error = ERROR_FILE_NOT_FOUND;
            return;
        }
}

BOOL VolumeRequests::list_next(HANDLE listing, LPWIN32_FIND_DATAW data) {
    if (!real_imports().FindNextFileW(listing, data))
        return FALSE;
    const Guard guard(lock_);
    if (const auto folder = listings_.find(listing); folder != listings_.end())
        add_attributes(folder->second, *data);
    return TRUE;
}

BOOL VolumeRequests::close_listing(HANDLE listing) {
    {
        const Guard guard(lock_);
        listings_.erase(listing);
    }
    return real_imports().FindClose(listing);
}

void VolumeRequests::add_attributes(const std::wstring& folder, WIN32_FIND_DATAW& data) const {
    const std::wstring_view name(data.cFileName);
    if (name != L"." && name != L"..")
        data.dwFileAttributes |= contents_.added_attributes(
            folder.empty() ? std::wstring(name) : (folder + L'\\').append(name));
}

}  // namespace larkspine::testing
