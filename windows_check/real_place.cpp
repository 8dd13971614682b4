#include "real_place.h"

#include <utility>

#include "base/path_forms.h"
#include "files.h"
#include "interruption.h"
#include "system_error.h"

namespace larkspine::check {
namespace {

// The input of FSCTL_CREATE_USN_JOURNAL and FSCTL_DELETE_USN_JOURNAL, from the public
// documentation.
struct CreateJournal {
    std::uint64_t maximum_size;
    std::uint64_t allocation_delta;
};
struct DeleteJournal {
    std::uint64_t journal;
    std::uint32_t flags;  // 1 deletes, 2 waits until that is done
};
static_assert(sizeof(CreateJournal) == 16 && sizeof(DeleteJournal) == 16);
static_assert(FSCTL_CREATE_USN_JOURNAL == 0x000900E7 && FSCTL_DELETE_USN_JOURNAL == 0x000900F8);

}  // namespace

RealPlace::RealPlace(std::wstring root) : root_(std::move(root)) {}

std::wstring RealPlace::walked_root() const {
    return long_form(root_);
}

std::wstring RealPlace::path(std::wstring_view relative) const {
    return join_path(walked_root(), relative);
}

void RealPlace::make_folder(std::wstring_view folder) {
    make_folders(path(folder));
}

void RealPlace::write(std::wstring_view file, std::string_view contents) {
    make_folders(parent_of(path(file)));
    write_file(path(file), contents);
}

void RealPlace::append(std::wstring_view file, std::string_view contents) {
    append_to_file(path(file), contents);
}

void RealPlace::overwrite(std::wstring_view file, std::uint64_t offset, std::string_view contents) {
    if (held_)
        write_at(held_.get(), offset, contents, path(file));
    else
        overwrite_file(path(file), offset, contents);
}

void RealPlace::hold(std::wstring_view file) {
    held_ = open_file(path(file), GENERIC_WRITE, OPEN_EXISTING);
}

void RealPlace::truncate(std::wstring_view file, std::uint64_t size) {
    resize_file(path(file), size);
}

void RealPlace::rename(std::wstring_view from, std::wstring_view to) {
    make_folders(parent_of(path(to)));
    rename_path(path(from), path(to));
}

void RealPlace::remove(std::wstring_view relative) {
    remove_path(path(relative));
}

void RealPlace::remove_tree(std::wstring_view folder) {
    if (!check::remove_tree(path(folder)))
        fail("remove_tree", folder);
}

void RealPlace::link(std::wstring_view existing, std::wstring_view added) {
    make_folders(parent_of(path(added)));
    link_file(path(existing), path(added));
}

void RealPlace::set_attributes(std::wstring_view relative, std::uint32_t attributes) {
    check::set_attributes(path(relative), attributes);
}

void RealPlace::touch(std::wstring_view relative) {
    constexpr std::int64_t second = 10'000'000;
    move_write_time(path(relative), -7 * second);
}

bool RealPlace::control(DWORD code, const void* input, DWORD input_size, void* output,
                        DWORD output_size) {
    if (root_.size() != 3) {
        SetLastError(ERROR_NOT_SUPPORTED);
        return false;  // a folder is no volume
    }
    const std::wstring volume = L"\\\\.\\" + root_.substr(0, 2);
    const unique_handle handle = own_handle(
        CreateFileW(volume.c_str(), GENERIC_READ | GENERIC_WRITE,
                    FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr, OPEN_EXISTING, 0, nullptr));
    DWORD returned = 0;
    return handle && DeviceIoControl(handle.get(), code, const_cast<void*>(input), input_size,
                                     output, output_size, &returned, nullptr);
}

std::optional<USN_JOURNAL_DATA_V0> RealPlace::journal() {
    USN_JOURNAL_DATA_V0 data = {};
    if (control(FSCTL_QUERY_USN_JOURNAL, nullptr, 0, &data, sizeof(data)))
        return data;
    const DWORD error = GetLastError();
    no_journal_ = root_.size() == 3
                      ? "pas de journal / no journal: " + std::to_string(error)
                      : std::string("un dossier n’a pas de journal / a folder has no journal");
    return std::nullopt;
}

void RealPlace::delete_journal() {
    const auto present = journal();
    if (!present)
        throw std::runtime_error(no_journal_);
    const DeleteJournal request = {present->UsnJournalID, 3};
    if (!control(FSCTL_DELETE_USN_JOURNAL, &request, sizeof(request), nullptr, 0))
        fail("FSCTL_DELETE_USN_JOURNAL", root_);
}

void RealPlace::create_journal(std::uint64_t maximum_size, std::uint64_t allocation_delta) {
    const CreateJournal request = {maximum_size, allocation_delta};
    if (!control(FSCTL_CREATE_USN_JOURNAL, &request, sizeof(request), nullptr, 0))
        fail("FSCTL_CREATE_USN_JOURNAL", root_);
}

bool RealPlace::outrun_journal(std::int64_t usn, std::wstring_view folder) {
    // Each file takes about 400 bytes of records. A journal of 1 MiB drops its oldest records some
    // time after it has exceeded that size.
    constexpr int most = 60'000;
    make_folder(folder);
    for (int i = 0; i < most; ++i) {
        const std::wstring name = std::wstring(folder) + L'\\' + std::to_wstring(i);
        write(name, "x");
        remove(name);
        if (i % 1'000 != 999)
            continue;
        stop_if_interrupted();
        const auto present = journal();
        if (present && usn < present->FirstUsn)
            return true;
    }
    return false;
}

}  // namespace larkspine::check
