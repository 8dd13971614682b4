// The operations of a fake volume: each acts on the real file and writes the records that NTFS
// would.
#include <functional>
#include <mutex>
#include <stdexcept>

#include "support/fake_volume.h"
#include "support/real_files.h"

namespace larkspine::testing {
namespace {

using Guard = std::lock_guard<VolumeLock>;

bool is_folder(std::uint32_t attributes) {
    return (attributes & FILE_ATTRIBUTE_DIRECTORY) != 0;
}

}  // namespace

void FakeVolume::write(std::wstring_view file, std::string_view contents) {
    const Guard guard(lock_);
    const auto existing = table_.find(file);
    if (!existing) {
        make_parents(file);
        real::write_file(real_path(file), contents);
        const std::uint64_t reference = add_name(file);
        change(reference, usn_reason::file_create, file);
        if (!contents.empty())
            change(reference, usn_reason::data_extend, file);
        close_unless_held(reference, file);
        return;
    }
    change_contents(file, [&] { real::write_file(real_path(file), contents); });
    change(*existing, usn_reason::data_truncation, file);
    if (!contents.empty())
        change(*existing, usn_reason::data_extend, file);
    close_unless_held(*existing, file);
}

void FakeVolume::append(std::wstring_view file, std::string_view contents) {
    const Guard guard(lock_);
    change_contents(file, [&] { real::append_to_file(real_path(file), contents); });
    change_and_close(file, usn_reason::data_extend);
}

void FakeVolume::overwrite(std::wstring_view file, std::uint64_t offset,
                           std::string_view contents) {
    const Guard guard(lock_);
    change_contents(file, [&] { real::overwrite_file(real_path(file), offset, contents); });
    change_and_close(file, usn_reason::data_overwrite);
}

void FakeVolume::truncate(std::wstring_view file, std::uint64_t size) {
    const Guard guard(lock_);
    change_contents(file, [&] { real::truncate_file(real_path(file), size); });
    change_and_close(file, usn_reason::data_truncation);
}

void FakeVolume::write_stream(std::wstring_view file) {
    const Guard guard(lock_);
    change_and_close(file, usn_reason::named_data_extend);
}

void FakeVolume::make_folder(std::wstring_view folder) {
    const Guard guard(lock_);
    make_parents(folder);
    real::make_folder(real_path(folder));
    add_name(folder);
    change_and_close(folder, usn_reason::file_create);
}

void FakeVolume::rename(std::wstring_view from, std::wstring_view to) {
    const Guard guard(lock_);
    const std::uint64_t reference = known(from);
    make_parents(to);
    // When only the case of letters changes, the new name already finds the file itself.
    const auto in_the_way = table_.find(to);
    if (in_the_way && *in_the_way != reference)
        remove_known(to);
    real::move_file(real_path(from), real_path(to));
    FakeTable::File& file = table_.file(reference);
    file.reasons &= ~usn_reason::rename_new_name;
    write_record(reference, file.reasons | usn_reason::rename_old_name, from);
    table_.change_name(known(folder_of(from)), name_of(from), known(folder_of(to)), name_of(to));
    change(reference, usn_reason::rename_new_name, to);
    close_unless_held(reference, to);
}

void FakeVolume::move(std::wstring_view from, std::wstring_view into_folder) {
    const std::wstring name(name_of(from));
    rename(from, into_folder.empty() ? name : std::wstring(into_folder) + L'\\' + name);
}

void FakeVolume::remove(std::wstring_view file_or_empty_folder) {
    const Guard guard(lock_);
    remove_known(file_or_empty_folder);
}

void FakeVolume::remove_tree(std::wstring_view folder) {
    const Guard guard(lock_);
    std::vector<std::wstring> inside;
    table_.visit(known(folder), std::wstring(folder),
                 [&](const std::wstring& path, std::uint64_t) { inside.push_back(path); });
    for (auto path = inside.rbegin(); path != inside.rend(); ++path)
        remove_known(*path);
    remove_known(folder);
}

void FakeVolume::link(std::wstring_view existing, std::wstring_view added) {
    const Guard guard(lock_);
    const std::uint64_t reference = known(existing);
    make_parents(added);
    real::link_file(real_path(existing), real_path(added));
    table_.add_name(reference, known(folder_of(added)), name_of(added));
    write_link_record(reference, added);
}

void FakeVolume::set_attributes(std::wstring_view path, std::uint32_t attributes) {
    const Guard guard(lock_);
    real::set_attributes(real_path(path), attributes);
    read_attributes(known(path), path);
    change_and_close(path, usn_reason::basic_info_change);
}

void FakeVolume::set_write_time(std::wstring_view path, std::uint64_t filetime) {
    const Guard guard(lock_);
    real::set_times(real_path(path), 0, filetime);
    change_and_close(path, usn_reason::basic_info_change);
}

void FakeVolume::set_creation_time(std::wstring_view path, std::uint64_t filetime) {
    const Guard guard(lock_);
    real::set_times(real_path(path), filetime, 0);
    change_and_close(path, usn_reason::basic_info_change);
}

void FakeVolume::set_reparse_point(std::wstring_view path, bool reparse_point) {
    const Guard guard(lock_);
    std::uint32_t& attributes = table_.file(known(path)).attributes;
    attributes = reparse_point ? attributes | FILE_ATTRIBUTE_REPARSE_POINT
                               : attributes & ~std::uint32_t{FILE_ATTRIBUTE_REPARSE_POINT};
    change_and_close(path, usn_reason::reparse_point_change);
}

void FakeVolume::journal_reasons(std::wstring_view path, std::uint32_t reasons) {
    const Guard guard(lock_);
    std::uint32_t others = reasons;
    for (const std::uint32_t reason : usn_reason::repeatable)
        others &= ~reason;
    if (others != 0)
        throw std::logic_error("these reasons have operations of their own");
    const std::uint64_t reference = known(path);
    if ((reasons & usn_reason::close) != 0) {
        write_record(reference, table_.file(reference).reasons | reasons, path);
        return;
    }
    for (const std::uint32_t reason : usn_reason::repeatable)
        if ((reasons & reason) != 0)
            change(reference, reason, path);
    close_unless_held(reference, path);
}

void FakeVolume::open(std::wstring_view path) {
    const Guard guard(lock_);
    table_.file(known(path)).held_open = true;
}

void FakeVolume::close(std::wstring_view path) {
    const Guard guard(lock_);
    const std::uint64_t reference = known(path);
    table_.file(reference).held_open = false;
    close_unless_held(reference, path);
}

std::wstring FakeVolume::make_chain(std::size_t folders) {
    std::wstring path;
    for (std::size_t i = 0; i < folders; ++i)
        path += i == 0 ? L"d" : L"\\d";
    make_folder(path);
    return path;
}

std::uint64_t FakeVolume::known(std::wstring_view path) const {
    if (const auto reference = table_.find(path))
        return *reference;
    throw std::runtime_error("the fake volume has no such file");
}

void FakeVolume::make_parents(std::wstring_view path) {
    for (std::size_t end = path.find(L'\\'); end != std::wstring_view::npos;
         end = path.find(L'\\', end + 1)) {
        const std::wstring_view folder = path.substr(0, end);
        if (table_.find(folder))
            continue;
        real::make_folder(real_path(folder));
        add_name(folder);
        change_and_close(folder, usn_reason::file_create);
    }
}

std::uint64_t FakeVolume::add_name(std::wstring_view path) {
    const std::uint64_t reference = table_.allocate(real::attributes_of(real_path(path)));
    table_.add_name(reference, known(folder_of(path)), name_of(path));
    return reference;
}

void FakeVolume::change_contents(std::wstring_view path, const std::function<void()>& action) {
    const std::uint64_t reference = known(path);
    const std::uint64_t before = real::write_time_of(real_path(path));
    action();
    if (real::write_time_of(real_path(path)) == before)
        real::set_times(real_path(path), 0, before + 1);
    read_attributes(reference, path);
}

void FakeVolume::read_attributes(std::uint64_t reference, std::wstring_view path) {
    std::uint32_t& attributes = table_.file(reference).attributes;
    attributes = (attributes & FILE_ATTRIBUTE_REPARSE_POINT) | real::attributes_of(real_path(path));
}

void FakeVolume::change(std::uint64_t reference, std::uint32_t reason, std::wstring_view path) {
    FakeTable::File& file = table_.file(reference);
    // Between open and close, each reason is journalled once.
    if ((file.reasons & reason) == reason)
        return;
    file.reasons |= reason;
    write_record(reference, file.reasons, path);
}

void FakeVolume::close_unless_held(std::uint64_t reference, std::wstring_view path) {
    FakeTable::File& file = table_.file(reference);
    if (file.held_open || file.reasons == 0)
        return;
    write_record(reference, file.reasons | usn_reason::close, path);
    file.reasons = 0;
}

void FakeVolume::write_link_record(std::uint64_t reference, std::wstring_view path) {
    write_record(reference,
                 table_.file(reference).reasons | usn_reason::hard_link_change | usn_reason::close,
                 path);
}

void FakeVolume::change_and_close(std::wstring_view path, std::uint32_t reason) {
    const std::uint64_t reference = known(path);
    change(reference, reason, path);
    close_unless_held(reference, path);
}

void FakeVolume::write_record(std::uint64_t reference, std::uint32_t reason,
                              std::wstring_view path) {
    if (!requests_.journal.active())
        return;
    FakeTable::File& file = table_.file(reference);
    UsnRecordFields record;
    record.reference = reference;
    record.parent = known(folder_of(path));
    record.reason = reason;
    record.security = plain_security;
    record.attributes = file.attributes;
    record.name = name_of(path);
    file.usn = requests_.journal.append(std::move(record));
}

void FakeVolume::remove_known(std::wstring_view path) {
    const std::uint64_t reference = known(path);
    FakeTable::File& file = table_.file(reference);
    // The system deletes no read-only file, so the attribute is removed first.
    if ((file.attributes & FILE_ATTRIBUTE_READONLY) != 0)
        set_attributes(path, file.attributes & ~DWORD{FILE_ATTRIBUTE_READONLY});
    if (is_folder(file.attributes))
        real::remove_folder(real_path(path));
    else
        real::remove_file(real_path(path));
    if (file.names.size() > 1)
        write_link_record(reference, path);
    else
        write_record(reference, file.reasons | usn_reason::file_delete | usn_reason::close, path);
    table_.remove_name(known(folder_of(path)), name_of(path));
    if (file.names.empty())
        table_.free(reference);
}

}  // namespace larkspine::testing
