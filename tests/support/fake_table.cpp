#include "support/fake_table.h"

#include "base/win32_api.h"

#include <algorithm>
#include <stdexcept>
#include <utility>

namespace larkspine::testing {
namespace {

int compare_names(std::wstring_view a, std::wstring_view b) {
    return CompareStringOrdinal(a.data(), static_cast<int>(a.size()), b.data(),
                                static_cast<int>(b.size()), TRUE);
}

}  // namespace

bool FakeTable::KeyLess::operator()(const Key& a, const Key& b) const {
    if (a.parent != b.parent)
        return a.parent < b.parent;
    return compare_names(a.name, b.name) == CSTR_LESS_THAN;
}

FakeTable::FakeTable() : files_(first_free_record_number) {
    File& root = files_[root_record_number];
    root.used = true;
    root.sequence = sequence_number(root_reference);
    root.attributes = FILE_ATTRIBUTE_DIRECTORY | FILE_ATTRIBUTE_HIDDEN | FILE_ATTRIBUTE_SYSTEM;
    root.names = {{root_reference, L"."}};
}

std::uint64_t FakeTable::allocate(std::uint32_t attributes) {
    while (!free_.empty() && files_[free_.top()].used)
        free_.pop();
    std::uint64_t number = files_.size();
    if (free_.empty()) {
        files_.emplace_back();
    } else {
        number = free_.top();
        free_.pop();
    }
    File& file = files_[number];
    // 0 is never a sequence number in use.
    const auto sequence = static_cast<std::uint16_t>(file.sequence + 1);
    file = File{};
    file.used = true;
    file.sequence = sequence == 0 ? std::uint16_t{1} : sequence;
    file.attributes = attributes;
    return make_reference(number, file.sequence);
}

void FakeTable::free(std::uint64_t reference) {
    file(reference).used = false;
    free_.push(record_number(reference));
}

void FakeTable::reserve(std::uint64_t number) {
    while (files_.size() <= number) {
        free_.push(files_.size());
        files_.emplace_back();
    }
    files_[number].used = true;
}

void FakeTable::add_name(std::uint64_t reference, std::uint64_t parent, std::wstring_view name) {
    file(reference).names.push_back({parent, std::wstring(name)});
    names_[{parent, std::wstring(name)}] = reference;
}

void FakeTable::remove_name(std::uint64_t parent, std::wstring_view name) {
    const auto place = names_.find({parent, std::wstring(name)});
    std::vector<Name>& names = file(place->second).names;
    names.erase(std::find_if(names.begin(), names.end(), [&](const Name& other) {
        return other.parent == parent && compare_names(other.text, name) == CSTR_EQUAL;
    }));
    names_.erase(place);
}

void FakeTable::change_name(std::uint64_t parent, std::wstring_view name, std::uint64_t new_parent,
                            std::wstring_view new_name) {
    const auto place = names_.find({parent, std::wstring(name)});
    const std::uint64_t reference = place->second;
    for (Name& other : file(reference).names)
        if (other.parent == parent && compare_names(other.text, name) == CSTR_EQUAL)
            other = {new_parent, std::wstring(new_name)};
    names_.erase(place);
    names_[{new_parent, std::wstring(new_name)}] = reference;
}

std::optional<std::uint64_t> FakeTable::find(std::wstring_view path) const {
    std::uint64_t reference = root_reference;
    while (!path.empty()) {
        const std::size_t end = std::min(path.find(L'\\'), path.size());
        const auto child = find_in(reference, path.substr(0, end));
        if (!child)
            return std::nullopt;
        reference = *child;
        path.remove_prefix(std::min(end + 1, path.size()));
    }
    return reference;
}

std::optional<std::uint64_t> FakeTable::find_in(std::uint64_t parent,
                                                std::wstring_view name) const {
    const auto place = names_.find({parent, std::wstring(name)});
    if (place == names_.end())
        return std::nullopt;
    return place->second;
}

FakeTable::File& FakeTable::file(std::uint64_t reference) {
    return const_cast<File&>(std::as_const(*this).file(reference));
}

const FakeTable::File& FakeTable::file(std::uint64_t reference) const {
    const std::uint64_t number = record_number(reference);
    if (number >= files_.size() || !files_[number].used ||
        files_[number].sequence != sequence_number(reference))
        throw std::logic_error("no file has this reference");
    return files_[number];
}

bool FakeTable::list(std::uint64_t number, std::vector<UsnRecordFields>& records) const {
    const File& file = files_[number];
    if (!file.used || file.names.empty())
        return false;
    UsnRecordFields record;
    record.reference = make_reference(number, file.sequence);
    record.parent = file.names.front().parent;
    record.usn = file.usn;
    record.security = plain_security;
    record.attributes = file.attributes;
    record.name = file.names.front().text;
    records.push_back(std::move(record));
    return true;
}

void FakeTable::forget_usns() {
    for (File& file : files_)
        file.usn = 0;
}

void FakeTable::visit(
    std::uint64_t folder, const std::wstring& path,
    const std::function<void(const std::wstring& path, std::uint64_t reference)>& visitor) const {
    const std::wstring prefix = path.empty() ? path : path + L'\\';
    for (auto place = names_.lower_bound({folder, L""});
         place != names_.end() && place->first.parent == folder; ++place) {
        const std::wstring child = prefix + place->first.name;
        visitor(child, place->second);
        visit(place->second, child, visitor);
    }
}

std::wstring_view folder_of(std::wstring_view path) {
    const std::size_t separator = path.rfind(L'\\');
    return separator == std::wstring_view::npos ? std::wstring_view{} : path.substr(0, separator);
}

std::wstring_view name_of(std::wstring_view path) {
    return path.substr(path.rfind(L'\\') + 1);
}

}  // namespace larkspine::testing
