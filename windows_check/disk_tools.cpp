#include "disk_tools.h"

#include "base/win32_api.h"

#include <array>
#include <initguid.h>
#include <utility>
#include <virtdisk.h>

#include "base/path_forms.h"
#include "child.h"
#include "files.h"
#include "system_error.h"
#include "text.h"

namespace larkspine::check {
namespace {

constexpr DWORD longest_diskpart = 300'000;

// VIRTUAL_STORAGE_TYPE_VENDOR_MICROSOFT; the library that would define it is loaded at run time.
constexpr GUID microsoft = {
    0xEC984AEC, 0xA0F9, 0x47E9, {0x90, 0x1F, 0x71, 0x41, 0x5A, 0x66, 0x34, 0x5B}};

VIRTUAL_STORAGE_TYPE vhdx() {
    return {3, microsoft};  // VIRTUAL_STORAGE_TYPE_DEVICE_VHDX
}

// Loaded at run time: without the library the kit still runs in a folder.
class VirtualDiskLibrary {
  public:
    // Null when it has no function of that name.
    template <typename Function>
    Function find(const char* name) const noexcept {
        if (library_ == nullptr)
            return nullptr;
        return reinterpret_cast<Function>(reinterpret_cast<void*>(GetProcAddress(library_, name)));
    }
    template <typename Function>
    Function get(const char* name) const {
        const auto function = find<Function>(name);
        if (function == nullptr)
            throw std::runtime_error(std::string("virtdisk.dll: ") + name);
        return function;
    }

  private:
    HMODULE library_ = LoadLibraryExW(L"virtdisk.dll", nullptr, LOAD_LIBRARY_SEARCH_SYSTEM32);
};

void check(const char* call, const std::wstring& object, DWORD error) {
    if (error != ERROR_SUCCESS)
        throw SystemError(call, object, error);
}

std::wstring system_program(const wchar_t* name) {
    std::array<wchar_t, MAX_PATH> folder{};
    const UINT length = GetSystemDirectoryW(folder.data(), static_cast<UINT>(folder.size()));
    return std::wstring(folder.data(), length) + L'\\' + name;
}

// The disk is the one that was just made: it has its size and is blank.
void must_be_blank(const std::wstring& disk, std::uint64_t size) {
    const unique_handle handle =
        own_handle(CreateFileW(disk.c_str(), GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_WRITE,
                               nullptr, OPEN_EXISTING, 0, nullptr));
    GET_LENGTH_INFORMATION length = {};
    DWORD returned = 0;
    if (!handle || !DeviceIoControl(handle.get(), IOCTL_DISK_GET_LENGTH_INFO, nullptr, 0, &length,
                                    sizeof(length), &returned, nullptr))
        fail("IOCTL_DISK_GET_LENGTH_INFO", disk);
    std::array<std::uint64_t, 1'024> layout{};
    const auto* const found = reinterpret_cast<const DRIVE_LAYOUT_INFORMATION_EX*>(layout.data());
    if (static_cast<std::uint64_t>(length.Length.QuadPart) != size)
        throw std::runtime_error("un autre disque / another disk");
    if (DeviceIoControl(handle.get(), IOCTL_DISK_GET_DRIVE_LAYOUT_EX, nullptr, 0, layout.data(),
                        sizeof(layout), &returned, nullptr) &&
        found->PartitionStyle != PARTITION_STYLE_RAW)
        throw std::runtime_error("un disque qui n’est pas vierge / a disk that is not blank");
}

class WindowsDiskTools final : public DiskTools {
  public:
    explicit WindowsDiskTools(std::wstring scratch) : scratch_(std::move(scratch)) {}

    void create_image(const std::wstring& file, std::uint64_t size) override {
        VIRTUAL_STORAGE_TYPE type = vhdx();
        CREATE_VIRTUAL_DISK_PARAMETERS parameters = {};
        parameters.Version = CREATE_VIRTUAL_DISK_VERSION_2;
        parameters.Version2.MaximumSize = size;
        HANDLE made = nullptr;
        check("CreateVirtualDisk", file,
              library_.get<decltype(&CreateVirtualDisk)>("CreateVirtualDisk")(
                  &type, file.c_str(), VIRTUAL_DISK_ACCESS_NONE, nullptr,
                  CREATE_VIRTUAL_DISK_FLAG_NONE, 0, &parameters, nullptr, &made));
        const unique_handle closed(made);
    }

    unsigned attach(const std::wstring& file, std::uint64_t size) override {
        VIRTUAL_STORAGE_TYPE type = vhdx();
        OPEN_VIRTUAL_DISK_PARAMETERS open = {};
        open.Version = OPEN_VIRTUAL_DISK_VERSION_2;
        HANDLE opened = nullptr;
        check("OpenVirtualDisk", file,
              library_.get<decltype(&OpenVirtualDisk)>("OpenVirtualDisk")(
                  &type, file.c_str(), VIRTUAL_DISK_ACCESS_NONE, OPEN_VIRTUAL_DISK_FLAG_NONE, &open,
                  &opened));
        disk_.reset(opened);
        ATTACH_VIRTUAL_DISK_PARAMETERS attach = {};
        attach.Version = ATTACH_VIRTUAL_DISK_VERSION_1;
        // Without the flag of a permanent lifetime, the disk disappears when its handle closes. The
        // system closes it even for a process that was killed.
        check("AttachVirtualDisk", file,
              library_.get<decltype(&AttachVirtualDisk)>("AttachVirtualDisk")(
                  disk_.get(), nullptr, ATTACH_VIRTUAL_DISK_FLAG_NO_DRIVE_LETTER, 0, &attach,
                  nullptr));
        std::array<wchar_t, MAX_PATH> path{};
        ULONG bytes = sizeof(path);
        check("GetVirtualDiskPhysicalPath", file,
              library_.get<decltype(&GetVirtualDiskPhysicalPath)>("GetVirtualDiskPhysicalPath")(
                  disk_.get(), &bytes, path.data()));
        const std::wstring disk = path.data();
        const std::wstring prefix = L"\\\\.\\PhysicalDrive";
        if (!starts_with(disk, prefix) || disk.size() == prefix.size())
            throw std::runtime_error("un disque inattendu / an unexpected disk: " + utf8(disk));
        must_be_blank(disk, size);
        return static_cast<unsigned>(std::stoul(disk.substr(prefix.size())));
    }

    void detach() noexcept override {
        // Closing the handle detaches it too, but may not have finished when the image is deleted.
        const auto detach = library_.find<decltype(&DetachVirtualDisk)>("DetachVirtualDisk");
        if (disk_ && detach != nullptr)
            detach(disk_.get(), DETACH_VIRTUAL_DISK_FLAG_NONE, 0);
        disk_.reset();
    }

    void diskpart(const std::string& script) override {
        const std::wstring commands = join_path(scratch_, L"diskpart.txt");
        const std::wstring said = join_path(scratch_, L"diskpart.log");
        write_file(commands, script);
        std::optional<DWORD> code;
        {
            const unique_handle log = open_file(said, GENERIC_WRITE, CREATE_ALWAYS);
            ChildSettings start;
            start.program = system_program(L"diskpart.exe");
            start.arguments = {L"/s", strip_long_path_prefix(commands)};
            start.output = log.get();
            start.errors = log.get();
            code = Child(start).wait(longest_diskpart);
        }
        if (code != DWORD{0})
            throw std::runtime_error("diskpart " + std::to_string(code.value_or(WAIT_TIMEOUT)) +
                                     ": " + read_file(said));
    }

    void delete_mount_point(const std::wstring& folder) noexcept override {
        DeleteVolumeMountPointW((folder + L'\\').c_str());
    }

    wchar_t free_letter() override {
        const DWORD taken = GetLogicalDrives();
        for (int letter = L'Y'; letter >= L'D'; --letter)
            if (!(taken >> (letter - L'A') & 1))
                return static_cast<wchar_t>(letter);
        throw std::runtime_error("aucune lettre libre / no free letter");
    }

    bool drive_answers(const std::wstring& root) override {
        std::array<wchar_t, 32> name{};
        return GetVolumeInformationW(root.c_str(), nullptr, 0, nullptr, nullptr, nullptr,
                                     name.data(), static_cast<DWORD>(name.size())) &&
               std::wstring_view(name.data()) == L"NTFS";
    }

  private:
    VirtualDiskLibrary library_;
    std::wstring scratch_;
    unique_handle disk_;
};

}  // namespace

std::unique_ptr<DiskTools> make_disk_tools(const std::wstring& scratch) {
    return std::make_unique<WindowsDiskTools>(scratch);
}

}  // namespace larkspine::check
