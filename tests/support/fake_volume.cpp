#include "support/fake_volume.h"

#include <algorithm>
#include <mutex>
#include <stdexcept>
#include <string>
#include <utility>

#include "support/real_files.h"

namespace larkspine::testing {
namespace {

using Guard = std::lock_guard<VolumeLock>;

constexpr std::uint32_t folder_attribute = FILE_ATTRIBUTE_DIRECTORY;

}  // namespace

FakeVolume::FakeVolume(const TempTree& tree, const VolumeSettings& settings)
    : folder_(tree.root()), requests_(settings, *this, lock_) {
    std::map<std::uint64_t, std::uint64_t> references;
    adopt_folder(L"", references);
}

FakeVolume::~FakeVolume() = default;

// All names of a file have the same file index in the system.
void FakeVolume::adopt_folder(const std::wstring& folder,
                              std::map<std::uint64_t, std::uint64_t>& references) {
    const std::uint64_t parent = known(folder);
    for (const real::ListedName& listed : real::list_folder(real_path(folder))) {
        const std::wstring path = folder.empty() ? listed.name : folder + L'\\' + listed.name;
        const std::uint64_t index = real::index_of(real_path(path));
        auto place = references.find(index);
        if (place == references.end())
            place = references.emplace(index, table_.allocate(listed.attributes)).first;
        table_.add_name(place->second, parent, listed.name);
        if ((listed.attributes & folder_attribute) != 0)
            adopt_folder(path, references);
    }
}

std::wstring FakeVolume::root() const {
    return requests_.root();
}

std::wstring FakeVolume::path(std::wstring_view relative) const {
    return root().append(relative);
}

std::wstring FakeVolume::real_path(std::wstring_view relative) const {
    return relative.empty() ? folder_ : (folder_ + L'\\').append(relative);
}

USN_JOURNAL_DATA_V0 FakeVolume::journal() const {
    const Guard guard(lock_);
    return requests_.journal.data();
}

std::vector<UsnRecordFields> FakeVolume::journalled(std::int64_t start) const {
    const Guard guard(lock_);
    return requests_.journal.records_from(start);
}

std::int64_t FakeVolume::append_to_journal(UsnRecordFields record) {
    const Guard guard(lock_);
    return requests_.journal.append(std::move(record));
}

void FakeVolume::purge_journal() {
    const Guard guard(lock_);
    requests_.journal.purge();
}

void FakeVolume::delete_journal() {
    const Guard guard(lock_);
    requests_.journal.remove();
    table_.forget_usns();
}

void FakeVolume::create_journal() {
    const Guard guard(lock_);
    requests_.journal.make_again();
    table_.forget_usns();
}

void FakeVolume::restamp_journal() {
    const Guard guard(lock_);
    requests_.journal.restamp();
}

std::uint64_t FakeVolume::reference_of(std::wstring_view path) const {
    const Guard guard(lock_);
    return known(path);
}

std::int64_t FakeVolume::usn_of(std::wstring_view path) const {
    const Guard guard(lock_);
    return table_.file(known(path)).usn;
}

std::vector<std::wstring> FakeVolume::names(bool of_folders) const {
    const Guard guard(lock_);
    std::vector<std::wstring> found;
    table_.visit(root_reference, L"", [&](const std::wstring& path, std::uint64_t reference) {
        const bool folder = (table_.file(reference).attributes & folder_attribute) != 0;
        if (folder == of_folders)
            found.push_back(path);
    });
    std::sort(found.begin(), found.end());
    return found;
}

std::vector<std::wstring> FakeVolume::files() const {
    return names(false);
}

std::vector<std::wstring> FakeVolume::folders() const {
    return names(true);
}

void FakeVolume::plant_record(UsnRecordFields record) {
    const Guard guard(lock_);
    const std::uint64_t number = record_number(record.reference);
    table_.reserve(number);
    planted_.emplace(number, std::move(record));
}

std::uint64_t FakeVolume::plant_child(std::uint64_t parent, std::wstring_view name,
                                      std::uint32_t attributes) {
    const Guard guard(lock_);
    UsnRecordFields record;
    record.reference = table_.allocate(attributes);
    record.parent = parent;
    record.security = plain_security;
    record.attributes = attributes;
    record.name = name;
    planted_.emplace(record_number(record.reference), record);
    return record.reference;
}

std::uint64_t FakeVolume::plant_orphan(std::wstring_view name, std::uint32_t attributes) {
    // Beyond any number that is allocated.
    return plant_child(make_reference(0xFFFF'FFFF'FFFF, 1), name, attributes);
}

std::pair<std::uint64_t, std::uint64_t> FakeVolume::plant_loop(std::wstring_view first,
                                                               std::wstring_view second) {
    const Guard guard(lock_);
    const std::uint64_t one = plant_child(root_reference, first, folder_attribute);
    const std::uint64_t other = plant_child(one, second, folder_attribute);
    planted_.find(record_number(one))->second.parent = other;
    return {one, other};
}

void FakeVolume::plant(Fault fault) {
    const Guard guard(lock_);
    requests_.faults.plant(std::move(fault));
}

void FakeVolume::plant_vanishing(std::wstring_view file) {
    const std::wstring path(file);
    plant(doing_at(Request::query_attributes, path, [this, path] { remove(path); }));
}

void FakeVolume::plant_becoming_a_folder(std::wstring_view file) {
    const std::wstring path(file);
    plant(doing_at(Request::query_attributes, path, [this, path] {
        remove(path);
        make_folder(path);
    }));
}

std::size_t FakeVolume::faults_left() const {
    const Guard guard(lock_);
    return requests_.faults.left();
}

void FakeVolume::clear_faults() {
    const Guard guard(lock_);
    requests_.faults.clear();
}

void FakeVolume::set_file_system(std::wstring_view name) {
    const Guard guard(lock_);
    requests_.settings.file_system = name;
}

std::vector<VolumeCall> FakeVolume::calls() const {
    const Guard guard(lock_);
    return requests_.log.calls();
}

std::vector<VolumeCall> FakeVolume::calls(Request request) const {
    std::vector<VolumeCall> found = calls();
    std::erase_if(found, [&](const VolumeCall& call) { return call.request != request; });
    return found;
}

std::vector<Request> FakeVolume::requests() const {
    std::vector<Request> found;
    for (const VolumeCall& call : calls())
        found.push_back(call.request);
    return found;
}

std::size_t FakeVolume::count(Request request) const {
    const Guard guard(lock_);
    return requests_.log.count(request);
}

std::vector<std::wstring> FakeVolume::paths(Request request) const {
    std::vector<std::wstring> found;
    for (const VolumeCall& call : calls(request))
        found.push_back(call.path);
    std::sort(found.begin(), found.end());
    return found;
}

std::size_t FakeVolume::files_touched() const {
    const std::vector<VolumeCall> all = calls();
    return static_cast<std::size_t>(
        std::count_if(all.begin(), all.end(), [](const VolumeCall& call) {
            return call.request >= Request::open_file &&
                   (!call.path.empty() || call.request == Request::list_folder);
        }));
}

void FakeVolume::forget_calls() {
    const Guard guard(lock_);
    requests_.log.clear();
}

std::size_t FakeVolume::open_handles() const {
    const Guard guard(lock_);
    return requests_.open_handles();
}

std::uint64_t FakeVolume::end_of_table() const {
    const std::uint64_t beyond_planted = planted_.empty() ? 0 : planted_.rbegin()->first + 1;
    return std::max(table_.end(), beyond_planted);
}

void FakeVolume::records_at(std::uint64_t number, std::vector<UsnRecordFields>& records) const {
    records.clear();
    table_.list(number, records);
    for (auto [place, end] = planted_.equal_range(number); place != end; ++place)
        records.push_back(place->second);
}

std::optional<std::uint64_t> FakeVolume::find_reference(std::wstring_view relative) const {
    return table_.find(relative);
}

std::wstring FakeVolume::system_path(std::wstring_view relative) const {
    return real_path(relative);
}

std::uint32_t FakeVolume::added_attributes(std::wstring_view relative) const {
    const auto reference = table_.find(relative);
    return reference ? table_.file(*reference).attributes & FILE_ATTRIBUTE_REPARSE_POINT : 0;
}

}  // namespace larkspine::testing
