#include "support/volume_requests.h"

#include <algorithm>
#include <cstring>
#include <mutex>
#include <utility>

namespace larkspine::testing {
namespace {

using Guard = std::lock_guard<VolumeLock>;

constexpr DWORD write_accesses = GENERIC_WRITE | GENERIC_ALL | FILE_WRITE_DATA | FILE_APPEND_DATA |
                                 FILE_WRITE_EA | FILE_WRITE_ATTRIBUTES | DELETE | WRITE_DAC |
                                 WRITE_OWNER;
constexpr DWORD data_accesses = GENERIC_READ | GENERIC_EXECUTE | FILE_READ_DATA;

bool same_letter(wchar_t a, wchar_t b) {
    return (a | 0x20) == (b | 0x20);
}

bool is_separator(wchar_t unit) {
    return unit == L'\\' || unit == L'/';
}

// The folder for temporary files as a path below the root of its drive, when that is `letter`.
std::wstring temporary_folder_on(wchar_t letter) {
    wchar_t folder[MAX_PATH + 1];
    const DWORD length = GetTempPathW(MAX_PATH + 1, folder);
    if (length < 3 || length > MAX_PATH || !same_letter(folder[0], letter))
        return {};
    return {folder + 3, length - 3};
}

bool begins_with(const std::wstring& path, const std::wstring& folder) {
    const auto length = static_cast<int>(folder.size());
    return path.size() >= folder.size() &&
           CompareStringOrdinal(path.data(), length, folder.data(), length, TRUE) == CSTR_EQUAL;
}

}  // namespace

bool VolumeContents::attributes_in_memory(std::wstring_view, WIN32_FILE_ATTRIBUTE_DATA&) const {
    return false;
}

std::uint32_t VolumeContents::added_attributes(std::wstring_view) const {
    return 0;
}

VolumeRequests::VolumeRequests(const VolumeSettings& wanted, VolumeContents& contents,
                               VolumeLock& lock)
    : settings(wanted),
      journal(wanted.journal),
      log(wanted.keeps_calls),
      contents_(contents),
      lock_(lock),
      exempt_(temporary_folder_on(wanted.letter)) {
    const auto bind = [this](auto member) {
        return [this, member](auto... arguments) { return (this->*member)(arguments...); };
    };
    hooks().CreateFileW = bind(&VolumeRequests::open);
    hooks().CloseHandle = bind(&VolumeRequests::close);
    hooks().ReadFile = bind(&VolumeRequests::read);
    hooks().DeviceIoControl = bind(&VolumeRequests::control);
    hooks().GetFileInformationByHandle = bind(&VolumeRequests::information);
    hooks().GetFileInformationByHandleEx = bind(&VolumeRequests::identity);
    hooks().GetFileAttributesExW = bind(&VolumeRequests::extended_attributes);
    hooks().GetFileAttributesW = bind(&VolumeRequests::plain_attributes);
    hooks().FindFirstFileExW = bind(&VolumeRequests::list);
    hooks().FindNextFileW = bind(&VolumeRequests::list_next);
    hooks().FindClose = bind(&VolumeRequests::close_listing);
    hooks().GetVolumeInformationW = bind(&VolumeRequests::describe);
}

std::wstring VolumeRequests::root() const {
    return std::wstring(L"\\\\?\\") + settings.letter + L":\\";
}

std::optional<std::wstring> VolumeRequests::on_drive(LPCWSTR path) const {
    if (path == nullptr)
        return std::nullopt;
    std::wstring_view rest(path);
    if (rest.starts_with(L"\\\\?\\"))
        rest.remove_prefix(4);
    if (rest.size() < 3 || !same_letter(rest[0], settings.letter) || rest[1] != L':' ||
        !is_separator(rest[2]))
        return std::nullopt;
    std::wstring below(rest.substr(3));
    std::replace(below.begin(), below.end(), L'/', L'\\');
    if (!exempt_.empty() && begins_with(below, exempt_))
        return std::nullopt;
    while (below.ends_with(L'\\'))
        below.pop_back();
    return below;
}

bool VolumeRequests::is_device(LPCWSTR path) const {
    const std::wstring_view text(path);
    return text.size() == 6 && text.starts_with(L"\\\\.\\") && text[5] == L':' &&
           same_letter(text[4], settings.letter);
}

std::optional<VolumeRequests::Opened> VolumeRequests::opened(HANDLE handle) const {
    const Guard guard(lock_);
    const auto place = opened_.find(handle);
    if (place == opened_.end())
        return std::nullopt;
    return place->second;
}

VolumeRequests::Begun VolumeRequests::begin(VolumeCall call) {
    std::vector<Fault> taken = faults.taken_by(call.request, call.path);
    for (const Fault& fault : taken)
        if (fault.action)
            fault.action();
    Begun begun{std::move(call), std::move(taken), std::nullopt};
    for (const Fault& fault : begun.faults)
        if (fault.error)
            begun.refused = fault.error;
    return begun;
}

BOOL VolumeRequests::finish(Begun& begun, DWORD error) {
    begun.call.error = error;
    log.add(std::move(begun.call));
    if (error != ERROR_SUCCESS)
        SetLastError(error);
    return error == ERROR_SUCCESS;
}

HANDLE VolumeRequests::open(LPCWSTR path, DWORD access, DWORD share, LPSECURITY_ATTRIBUTES security,
                            DWORD disposition, DWORD flags, HANDLE pattern) {
    const auto below = on_drive(path);
    const bool device = path != nullptr && is_device(path);
    if (!below && !device)
        return real_imports().CreateFileW(path, access, share, security, disposition, flags,
                                          pattern);
    const Guard guard(lock_);
    VolumeCall call;
    call.request = device ? Request::open_volume : Request::open_file;
    call.path = below.value_or(L"");
    call.as_given = path;
    call.access = access;
    call.share = share;
    call.disposition = disposition;
    call.flags = flags;
    Begun begun = begin(std::move(call));

    Opened opened{device, false, below.value_or(L""), std::nullopt};
    HANDLE handle = INVALID_HANDLE_VALUE;
    DWORD error = begun.refused.value_or(ERROR_SUCCESS);
    if (error == ERROR_SUCCESS) {
        if (device)
            handle = CreateEventW(nullptr, FALSE, FALSE, nullptr);
        else
            handle = open_on_drive(begun.call, opened, error);
    }
    if (handle != INVALID_HANDLE_VALUE)
        opened_[handle] = std::move(opened);
    finish(begun, error);
    return handle;
}

HANDLE VolumeRequests::open_on_drive(const VolumeCall& call, Opened& opened, DWORD& error) const {
    const auto fail_with = [&](DWORD code) {
        error = code;
        return INVALID_HANDLE_VALUE;
    };
    if ((call.access & write_accesses) != 0 || call.disposition != OPEN_EXISTING)
        return fail_with(ERROR_WRITE_PROTECT);
    opened.reference = contents_.find_reference(call.path);
    const std::wstring place = contents_.system_path(call.path);
    opened.in_memory = place.empty();
    if (opened.in_memory) {
        if (!opened.reference)
            return fail_with(ERROR_FILE_NOT_FOUND);
        if ((call.access & data_accesses) != 0)
            return fail_with(ERROR_NOT_SUPPORTED);
        return CreateEventW(nullptr, FALSE, FALSE, nullptr);
    }
    const HANDLE handle = real_imports().CreateFileW(
        place.c_str(), call.access, call.share, nullptr, call.disposition, call.flags, nullptr);
    return handle == INVALID_HANDLE_VALUE ? fail_with(GetLastError()) : handle;
}

BOOL VolumeRequests::close(HANDLE handle) {
    {
        const Guard guard(lock_);
        opened_.erase(handle);
    }
    return real_imports().CloseHandle(handle);
}

BOOL VolumeRequests::read(HANDLE file, LPVOID buffer, DWORD wanted, LPDWORD got,
                          LPOVERLAPPED overlapped) {
    const auto target = opened(file);
    if (!target || target->volume)
        return real_imports().ReadFile(file, buffer, wanted, got, overlapped);
    const Guard guard(lock_);
    VolumeCall call;
    call.request = Request::read_file;
    call.path = target->path;
    Begun begun = begin(std::move(call));
    if (begun.refused)
        return finish(begun, *begun.refused);
    const BOOL done = real_imports().ReadFile(file, buffer, wanted, got, overlapped);
    return finish(begun, done ? ERROR_SUCCESS : GetLastError());
}

BOOL VolumeRequests::information(HANDLE file, LPBY_HANDLE_FILE_INFORMATION information) {
    const auto target = opened(file);
    if (!target)
        return real_imports().GetFileInformationByHandle(file, information);
    const Guard guard(lock_);
    Begun begun = begin_identity(*target);
    if (begun.refused)
        return finish(begun, *begun.refused);
    if (target->in_memory)
        *information = {};
    else if (!real_imports().GetFileInformationByHandle(file, information))
        return finish(begun, GetLastError());
    information->dwVolumeSerialNumber = static_cast<DWORD>(settings.serial);
    information->nFileIndexHigh = static_cast<DWORD>(*target->reference >> 32);
    information->nFileIndexLow = static_cast<DWORD>(*target->reference);
    return finish(begun, ERROR_SUCCESS);
}

BOOL VolumeRequests::identity(HANDLE file, FILE_INFO_BY_HANDLE_CLASS kind, LPVOID buffer,
                              DWORD size) {
    const auto target = opened(file);
    if (!target || kind != FileIdInfo)
        return real_imports().GetFileInformationByHandleEx(file, kind, buffer, size);
    const Guard guard(lock_);
    Begun begun = begin_identity(*target);
    if (begun.refused)
        return finish(begun, *begun.refused);
    if (size < sizeof(FILE_ID_INFO))
        return finish(begun, ERROR_BAD_LENGTH);
    auto* bytes = static_cast<std::byte*>(buffer);
    store_little_endian(bytes, settings.serial, 8);
    store_little_endian(bytes + 8, *target->reference, 8);
    store_little_endian(bytes + 16, 0, 8);
    return finish(begun, ERROR_SUCCESS);
}

VolumeRequests::Begun VolumeRequests::begin_identity(const Opened& target) {
    VolumeCall call;
    call.request = Request::identify_file;
    call.path = target.path;
    Begun begun = begin(std::move(call));
    // The volume itself has no identity, and neither has a file that no operation made.
    if (!begun.refused && (target.volume || !target.reference))
        begun.refused = ERROR_FILE_INVALID;
    return begun;
}

BOOL VolumeRequests::extended_attributes(LPCWSTR path, GET_FILEEX_INFO_LEVELS level, LPVOID data) {
    const auto below = on_drive(path);
    if (!below)
        return real_imports().GetFileAttributesExW(path, level, data);
    return query(*below, path, *static_cast<WIN32_FILE_ATTRIBUTE_DATA*>(data));
}

DWORD VolumeRequests::plain_attributes(LPCWSTR path) {
    const auto below = on_drive(path);
    if (!below)
        return real_imports().GetFileAttributesW(path);
    WIN32_FILE_ATTRIBUTE_DATA data = {};
    return query(*below, path, data) ? data.dwFileAttributes : INVALID_FILE_ATTRIBUTES;
}

BOOL VolumeRequests::query(const std::wstring& below, LPCWSTR path,
                           WIN32_FILE_ATTRIBUTE_DATA& data) {
    const Guard guard(lock_);
    VolumeCall call;
    call.request = Request::query_attributes;
    call.path = below;
    call.as_given = path;
    Begun begun = begin(std::move(call));
    if (begun.refused)
        return finish(begun, *begun.refused);
    const std::wstring place = contents_.system_path(below);
    if (place.empty())
        return finish(begun, contents_.attributes_in_memory(below, data) ? ERROR_SUCCESS
                                                                         : ERROR_FILE_NOT_FOUND);
    if (!real_imports().GetFileAttributesExW(place.c_str(), GetFileExInfoStandard, &data))
        return finish(begun, GetLastError());
    data.dwFileAttributes |= contents_.added_attributes(below);
    begun.call.answer = data;
    return finish(begun, ERROR_SUCCESS);
}

BOOL VolumeRequests::describe(LPCWSTR path, LPWSTR label, DWORD label_size, LPDWORD serial,
                              LPDWORD component_length, LPDWORD features, LPWSTR file_system,
                              DWORD file_system_size) {
    const auto below = on_drive(path);
    if (!below)
        return real_imports().GetVolumeInformationW(path, label, label_size, serial,
                                                    component_length, features, file_system,
                                                    file_system_size);
    const Guard guard(lock_);
    VolumeCall call;
    call.request = Request::volume_information;
    call.path = *below;
    call.as_given = path;
    Begun begun = begin(std::move(call));
    if (begun.refused)
        return finish(begun, *begun.refused);
    if (!below->empty())
        return finish(begun, ERROR_DIR_NOT_ROOT);
    const std::wstring& name = settings.file_system;
    if (file_system != nullptr) {
        if (file_system_size <= name.size())
            return finish(begun, ERROR_BAD_LENGTH);
        std::memcpy(file_system, name.c_str(), (name.size() + 1) * sizeof(wchar_t));
    }
    if (label != nullptr && label_size > 0)
        label[0] = L'\0';
    if (serial != nullptr)
        *serial = static_cast<DWORD>(settings.serial);
    if (component_length != nullptr)
        *component_length = 255;
    if (features != nullptr)
        *features = FILE_CASE_PRESERVED_NAMES | FILE_UNICODE_ON_DISK | FILE_SUPPORTS_HARD_LINKS |
                    FILE_SUPPORTS_USN_JOURNAL;
    return finish(begun, ERROR_SUCCESS);
}

}  // namespace larkspine::testing
