#include "support/fake_large_volume.h"

#include <algorithm>
#include <mutex>
#include <stdexcept>
#include <utility>

namespace larkspine::testing {
namespace {

using Guard = std::lock_guard<VolumeLock>;

constexpr std::uint64_t folders_per_folder = 16;
constexpr std::uint16_t sequence = 1;
constexpr std::uint64_t first_time = 0x01D8'0000'0000'0000;  // FILETIME, in 2021
constexpr std::size_t digits = 8;
constexpr std::wstring_view folder_prefix = L"folder";
constexpr std::wstring_view file_prefix = L"document-";

VolumeSettings scale_settings() {
    VolumeSettings settings;
    settings.journal.maximum_size = 0x4000'0000;
    return settings;
}

void append_number(std::wstring& name, std::uint64_t number) {
    wchar_t text[digits];
    for (std::size_t i = digits; i > 0; --i, number /= 10)
        text[i - 1] = static_cast<wchar_t>(L'0' + number % 10);
    name.append(text, digits);
}

void append_folder_name(std::wstring& name, std::uint64_t folder) {
    append_number(name.append(folder_prefix), folder);
}

void append_file_name(std::wstring& name, std::uint64_t file) {
    append_number(name.append(file_prefix), file);
}

// The number in a name of that prefix.
std::optional<std::uint64_t> number_in(std::wstring_view name, std::wstring_view prefix) {
    if (name.size() != prefix.size() + digits || !name.starts_with(prefix))
        return std::nullopt;
    std::uint64_t number = 0;
    for (const wchar_t unit : name.substr(prefix.size())) {
        if (unit < L'0' || unit > L'9')
            return std::nullopt;
        number = 10 * number + (unit - L'0');
    }
    return number;
}

}  // namespace

FakeLargeVolume::FakeLargeVolume(const LargeVolumeSize& size)
    : FakeLargeVolume(size, scale_settings()) {}

FakeLargeVolume::FakeLargeVolume(const LargeVolumeSize& size, VolumeSettings settings)
    : size_(size),
      folders_((size.files + size.files_per_folder - 1) / size.files_per_folder),
      requests_((settings.keeps_calls = false, settings), *this, lock_) {}

FakeLargeVolume::~FakeLargeVolume() = default;

std::wstring FakeLargeVolume::root() const {
    return requests_.root();
}

std::wstring FakeLargeVolume::file_path(std::uint64_t file) const {
    std::wstring path = folder_path(file / size_.files_per_folder);
    path.push_back(L'\\');
    append_file_name(path, file);
    return path;
}

std::uint64_t FakeLargeVolume::file_reference(std::uint64_t file) const {
    return make_reference(first_free_record_number + folders_ + file, sequence);
}

void FakeLargeVolume::change_file(std::uint64_t file) {
    const Guard guard(lock_);
    if (file >= size_.files)
        throw std::out_of_range("the large fake volume has no such file");
    Change& change = changes_[file];
    ++change.times;
    UsnRecordFields record;
    fill_file(file, record);
    record.reason = usn_reason::data_extend;
    requests_.journal.append(record);
    record.reason |= usn_reason::close;
    change.usn = requests_.journal.append(std::move(record));
}

void FakeLargeVolume::change_files(std::uint64_t count) {
    for (std::uint64_t i = 0; i < count; ++i)
        change_file(i * size_.files / count);
}

USN_JOURNAL_DATA_V0 FakeLargeVolume::journal() const {
    const Guard guard(lock_);
    return requests_.journal.data();
}

void FakeLargeVolume::plant(Fault fault) {
    const Guard guard(lock_);
    requests_.faults.plant(std::move(fault));
}

std::size_t FakeLargeVolume::count(Request request) const {
    const Guard guard(lock_);
    return requests_.log.count(request);
}

void FakeLargeVolume::forget_calls() {
    const Guard guard(lock_);
    requests_.log.clear();
}

std::size_t FakeLargeVolume::open_handles() const {
    const Guard guard(lock_);
    return requests_.open_handles();
}

std::uint64_t FakeLargeVolume::end_of_table() const {
    return first_free_record_number + folders_ + size_.files;
}

void FakeLargeVolume::records_at(std::uint64_t number,
                                 std::vector<UsnRecordFields>& records) const {
    if (number < first_free_record_number && number != root_record_number) {
        records.clear();
        return;
    }
    records.resize(1);
    UsnRecordFields& record = records.front();
    record.usn = 0;
    if (number == root_record_number) {
        record.reference = record.parent = root_reference;
        record.attributes = FILE_ATTRIBUTE_DIRECTORY;
        record.name = L".";
    } else if (number < first_free_record_number + folders_) {
        const std::uint64_t folder = number - first_free_record_number;
        record.reference = folder_reference(folder);
        record.parent =
            folder == 0 ? root_reference : folder_reference((folder - 1) / folders_per_folder);
        record.attributes = FILE_ATTRIBUTE_DIRECTORY;
        record.name.clear();
        append_folder_name(record.name, folder);
    } else {
        fill_file(number - first_free_record_number - folders_, record);
    }
}

std::optional<std::uint64_t> FakeLargeVolume::find_reference(std::wstring_view path) const {
    if (path.empty())
        return root_reference;
    const std::wstring_view name = path.substr(path.rfind(L'\\') + 1);
    if (const auto file = number_in(name, file_prefix);
        file && *file < size_.files && file_path(*file) == path)
        return file_reference(*file);
    if (const auto folder = number_in(name, folder_prefix);
        folder && *folder < folders_ && folder_path(*folder) == path)
        return folder_reference(*folder);
    return std::nullopt;
}

std::wstring FakeLargeVolume::system_path(std::wstring_view) const {
    return {};
}

bool FakeLargeVolume::attributes_in_memory(std::wstring_view path,
                                           WIN32_FILE_ATTRIBUTE_DATA& data) const {
    const auto reference = find_reference(path);
    if (!reference)
        return false;
    data = {};
    const std::uint64_t first_file = first_free_record_number + folders_;
    if (record_number(*reference) < first_file) {
        data.dwFileAttributes = FILE_ATTRIBUTE_DIRECTORY;
        return true;
    }
    const std::uint64_t file = record_number(*reference) - first_file;
    const auto changed = changes_.find(file);
    const std::uint64_t created = first_time + file;
    const std::uint64_t written = created + (changed == changes_.end() ? 0 : changed->second.times);
    data.dwFileAttributes = FILE_ATTRIBUTE_ARCHIVE;
    data.ftCreationTime = {static_cast<DWORD>(created), static_cast<DWORD>(created >> 32)};
    data.ftLastWriteTime = {static_cast<DWORD>(written), static_cast<DWORD>(written >> 32)};
    data.nFileSizeLow = static_cast<DWORD>(file + 1);
    data.nFileSizeHigh = static_cast<DWORD>((file + 1) >> 32);
    return true;
}

void FakeLargeVolume::fill_file(std::uint64_t file, UsnRecordFields& record) const {
    record.reference = file_reference(file);
    record.parent = folder_reference(file / size_.files_per_folder);
    record.attributes = FILE_ATTRIBUTE_ARCHIVE;
    record.name.clear();
    append_file_name(record.name, file);
    if (!changes_.empty())
        if (const auto changed = changes_.find(file); changed != changes_.end())
            record.usn = changed->second.usn;
}

std::uint64_t FakeLargeVolume::folder_reference(std::uint64_t folder) {
    return make_reference(first_free_record_number + folder, sequence);
}

std::wstring FakeLargeVolume::folder_path(std::uint64_t folder) {
    std::wstring path;
    if (folder > 0)
        path = folder_path((folder - 1) / folders_per_folder) + L'\\';
    append_folder_name(path, folder);
    return path;
}

}  // namespace larkspine::testing
