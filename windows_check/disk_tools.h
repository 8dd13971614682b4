// The system's functions for disks in files. An interface, so that tests without a disk see the
// order of the calls and what is undone after a failure.
#pragma once

#include <cstdint>
#include <memory>
#include <string>

namespace larkspine::check {

// Each throws std::runtime_error when it fails.
class DiskTools {
  public:
    DiskTools() = default;
    virtual ~DiskTools() = default;
    DiskTools(const DiskTools&) = delete;
    DiskTools& operator=(const DiskTools&) = delete;

    // Makes an expandable image of a blank disk.
    virtual void create_image(const std::wstring& file, std::uint64_t size) = 0;
    // Attaches the image as a disk and returns its number. The disk has that size and no partition.
    virtual unsigned attach(const std::wstring& file, std::uint64_t size) = 0;
    // Removes the disk, even while it is in use. Never throws.
    virtual void detach() noexcept = 0;
    // Runs commands of diskpart, which ends at the first that fails.
    virtual void diskpart(const std::string& script) = 0;
    virtual void delete_mount_point(const std::wstring& folder) noexcept = 0;
    // The letter of a drive that does not exist.
    virtual wchar_t free_letter() = 0;
    // Whether the drive's file system answers.
    virtual bool drive_answers(const std::wstring& root) = 0;
};

// The tools of Windows. `scratch` is a folder for the script and the output of diskpart.
[[nodiscard]] std::unique_ptr<DiskTools> make_disk_tools(const std::wstring& scratch);

}  // namespace larkspine::check
