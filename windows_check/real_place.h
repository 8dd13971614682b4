// A folder of the system as the place of the steps. For a drive root it also controls the change
// journal.
#pragma once

#include <string>

#include "base/win32_handle.h"
#include "place.h"

namespace larkspine::check {

class RealPlace : public Place {
  public:
    // X:\ or the absolute path of a folder, as the program receives it.
    explicit RealPlace(std::wstring root);

    [[nodiscard]] std::wstring root() const override { return root_; }
    [[nodiscard]] std::wstring walked_root() const override;
    // The long form of a path below the root.
    [[nodiscard]] std::wstring path(std::wstring_view relative) const;

    void make_folder(std::wstring_view folder) override;
    void write(std::wstring_view file, std::string_view contents) override;
    void append(std::wstring_view file, std::string_view contents) override;
    void overwrite(std::wstring_view file, std::uint64_t offset,
                   std::string_view contents) override;
    void truncate(std::wstring_view file, std::uint64_t size) override;
    void rename(std::wstring_view from, std::wstring_view to) override;
    void remove(std::wstring_view relative) override;
    void remove_tree(std::wstring_view folder) override;
    void link(std::wstring_view existing, std::wstring_view added) override;
    void hold(std::wstring_view file) override;
    void let_go() override { held_.reset(); }
    void set_attributes(std::wstring_view relative, std::uint32_t attributes) override;
    void touch(std::wstring_view relative) override;

    [[nodiscard]] std::optional<USN_JOURNAL_DATA_V0> journal() override;
    [[nodiscard]] std::string why_no_journal() const override { return no_journal_; }
    void delete_journal() override;
    void create_journal(std::uint64_t maximum_size, std::uint64_t allocation_delta) override;
    bool outrun_journal(std::int64_t usn, std::wstring_view folder) override;

  private:
    // Sends a control code to the volume; the last error tells why it failed.
    bool control(DWORD code, const void* input, DWORD input_size, void* output, DWORD output_size);

    std::wstring root_;
    unique_handle held_;
    std::string no_journal_;
};

}  // namespace larkspine::check
