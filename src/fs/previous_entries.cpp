#include "fs/previous_entries.h"

#include <algorithm>
#include <bit>
#include <functional>
#include <utility>

namespace larkspine::detail {
namespace {

// How many slots hold `count` items and stay half empty. A power of two, so that the low bits of a
// hash are a place.
std::size_t slots_for(std::size_t count) {
    return std::bit_ceil(2 * count + 1);
}

std::uint32_t high_half(std::uint64_t hash) noexcept {
    return static_cast<std::uint32_t>(hash >> 32);
}

// Four code units a step: half of making an index is hashing.
std::uint64_t hash_of(const ComparisonForm& form) noexcept {
    constexpr std::size_t step = 4;
    std::uint64_t hash = form.size();
    for (std::size_t i = 0; i < form.size(); i += step) {
        std::uint64_t units = 0;
        for (std::size_t j = i; j < std::min(i + step, form.size()); ++j)
            units = units << 16 | static_cast<std::uint16_t>(form.at(j));
        hash = (hash ^ units) * hash_multiplier;
        hash ^= hash >> 32;
    }
    return hash;
}

int digest_count(const FileCandidate& entry) {
    return int{entry.has_sample_digest} + int{entry.has_full_digest};
}

}  // namespace

PathIndex::PathIndex(const std::vector<FileCandidate>& entries)
    : slots_(slots_for(entries.size())) {
    for (const FileCandidate& entry : entries)
        add(entry);
}

std::size_t PathIndex::place_of(const ComparisonForm& form, std::uint64_t hash) const {
    const std::size_t last = slots_.size() - 1;
    std::size_t place = hash & last;
    while (slots_[place].entry != nullptr && !(slots_[place].print == high_half(hash) &&
                                               ComparisonForm(slots_[place].entry->path) == form))
        place = (place + 1) & last;
    return place;
}

void PathIndex::add_spelling(const FileCandidate& entry) {
    if (!by_spelling_.emplace(entry.path, &entry).second)
        repeated_spelling_ = true;
}

void PathIndex::add(const FileCandidate& entry) {
    const ComparisonForm form(entry.path);
    const std::uint64_t hash = hash_of(form);
    Slot& slot = slots_[place_of(form, hash)];
    if (slot.entry == nullptr) {
        slot.entry = &entry;
        slot.print = high_half(hash);
        return;
    }
    if (!slot.is_several)
        add_spelling(*slot.entry);
    slot.is_several = true;
    add_spelling(entry);
}

const FileCandidate* PathIndex::find(std::wstring_view path) const {
    const ComparisonForm form(path);
    const Slot& slot = slots_[place_of(form, hash_of(form))];
    if (!slot.is_several)
        return slot.entry;
    const auto spelled = by_spelling_.find(path);
    return spelled == by_spelling_.end() ? nullptr : spelled->second;
}

bool MetPaths::add(std::wstring_view path) {
    const std::size_t name = path.rfind(L'\\') + 1;
    if (folder_number_ == 0 || path.substr(0, name) != folder_) {
        folder_ = path.substr(0, name);
        if (!folders_.insert(folder_).second)
            return false;
        ++folder_number_;
        names_ = 0;
    }
    if (slots_for(names_ + 1) > slots_.size())
        grow();
    return add_name(std::hash<std::wstring_view>()(path.substr(name)));
}

bool MetPaths::add_name(std::uint64_t hash) {
    const std::size_t last = slots_.size() - 1;
    std::size_t place = hash & last;
    for (; slots_[place].folder == folder_number_; place = (place + 1) & last)
        if (slots_[place].hash == hash)
            return false;
    slots_[place] = {hash, folder_number_};
    ++names_;
    return true;
}

void MetPaths::grow() {
    const std::vector<Slot> before = std::exchange(slots_, {});
    slots_.resize(std::max<std::size_t>(2 * before.size(), 64));
    names_ = 0;
    for (const Slot& slot : before)
        if (slot.folder == folder_number_)
            (void)add_name(slot.hash);
}

PreviousEntries::PreviousEntries(const std::vector<FileCandidate>& entries) : entries_(entries) {}

// Whether the next entry is what the index would find. It is when it is the first that is spelled
// so. As long as there is no index, every entry before it has been met.
bool PreviousEntries::is_next(std::wstring_view path) {
    if (next_ == entries_.size() || entries_[next_].path != path)
        return false;
    return by_path_ ? !by_path_->has_repeated_spelling() : met_.add(entries_[next_].path);
}

const FileCandidate* PreviousEntries::at(std::wstring_view path) {
    if (is_next(path))
        return &entries_[next_++];
    if (!by_path_) {
        met_ = {};
        by_path_.emplace(entries_);
    }
    const FileCandidate* const found = by_path_->find(path);
    if (found != nullptr)
        next_ = static_cast<std::size_t>(found - entries_.data()) + 1;
    return found;
}

const FileCandidate* PreviousEntries::of_file(const FileIdentity& identity) {
    if (!by_identity_) {
        by_identity_.emplace();
        for (const FileCandidate& entry : entries_) {
            if (!entry.has_file_id)
                continue;
            const FileCandidate*& known = (*by_identity_)[identity_of(entry)];
            if (known == nullptr || digest_count(entry) > digest_count(*known))
                known = &entry;
        }
    }
    const auto found = by_identity_->find(identity);
    return found == by_identity_->end() ? nullptr : found->second;
}

}  // namespace larkspine::detail
