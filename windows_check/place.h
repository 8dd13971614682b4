// Where the steps happen: the volume that the kit has made, an empty drive, or an empty folder.
// Paths are below its root, with backslashes. Every operation throws std::runtime_error when it
// fails.
#pragma once

#include "base/win32_api.h"

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace larkspine::check {

class Place {
  public:
    Place() = default;
    virtual ~Place() = default;
    Place(const Place&) = delete;
    Place& operator=(const Place&) = delete;

    // The root that the program scans, as its report names it: X:\ or a folder.
    [[nodiscard]] virtual std::wstring root() const = 0;
    // Where the kit's own walk finds the same files, in long form.
    [[nodiscard]] virtual std::wstring walked_root() const = 0;

    virtual void make_folder(std::wstring_view folder) = 0;
    // Makes the file and the folders above it, or replaces its contents.
    virtual void write(std::wstring_view file, std::string_view contents) = 0;
    virtual void append(std::wstring_view file, std::string_view contents) = 0;
    virtual void overwrite(std::wstring_view file, std::uint64_t offset,
                           std::string_view contents) = 0;
    virtual void truncate(std::wstring_view file, std::uint64_t size) = 0;
    // Makes the folders above the new name; takes the place of a file of that name.
    virtual void rename(std::wstring_view from, std::wstring_view to) = 0;
    virtual void remove(std::wstring_view path) = 0;
    virtual void remove_tree(std::wstring_view folder) = 0;
    virtual void link(std::wstring_view existing, std::wstring_view added) = 0;
    // Opens the file like a program that keeps writing: overwrite() then writes through that handle
    // until let_go(). One file at a time.
    virtual void hold(std::wstring_view file) = 0;
    virtual void let_go() = 0;
    virtual void set_attributes(std::wstring_view path, std::uint32_t attributes) = 0;
    // Moves the time of last write some seconds into the past.
    virtual void touch(std::wstring_view path) = 0;

    // Empty when there is none; why_no_journal() then gives the reason.
    [[nodiscard]] virtual std::optional<USN_JOURNAL_DATA_V0> journal() = 0;
    [[nodiscard]] virtual std::string why_no_journal() const = 0;
    virtual void delete_journal() = 0;
    virtual void create_journal(std::uint64_t maximum_size, std::uint64_t allocation_delta) = 0;
    // Changes files below `folder` until the journal has dropped its record of `usn`. False when
    // the journal keeps it.
    virtual bool outrun_journal(std::int64_t usn, std::wstring_view folder) = 0;
};

}  // namespace larkspine::check
