// A fake volume and random changes to it, of every kind that the volume knows, for a soak. For
// programs with replaced imports.
//
// Every change of contents gives the file a unique time of last write. Two files of equal size and
// times count as unchanged when they exchange names, which is a known limit and not what a soak
// looks for.
#pragma once

#include "base/win32_api.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <map>
#include <optional>
#include <random>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "support/real_files.h"
#include "support/scanned_volume.h"

namespace larkspine::testing {

class SoakedVolumeTest : public ScannedVolumeTest {
  protected:
    explicit SoakedVolumeTest(std::uint32_t seed) : random_(seed) {}

    std::uint32_t below(std::size_t bound) {
        return static_cast<std::uint32_t>(random_() % static_cast<std::uint32_t>(bound));
    }
    template <typename Item>
    std::optional<Item> any_of(const std::vector<Item>& items) {
        if (items.empty())
            return std::nullopt;
        return items[below(items.size())];
    }

    void write_a_file() {
        const std::wstring place = file_place();
        if (is_file(place)) {
            make_writable(place);
            change_contents(place, [&] { volume.write(place, any_contents()); });
        } else {
            volume.write(place, any_contents());
            stamp(place);
        }
    }
    void change_something() {
        const std::uint32_t choice = below(30);
        if (choice < 7)
            write_a_file();
        else if (choice < 9)
            make_a_folder();
        else if (choice < 19)
            change_a_file();
        else if (choice < 22)
            change_a_folder();
        else if (choice < 24)
            change_a_link();
        else if (choice < 26)
            journal_other_reasons();
        else if (choice < 28)
            open_or_close_a_file();
        else if (choice < 29)
            change_a_reparse_point();
        else
            journal_a_file_long_gone();
    }
    void change_the_journal() {
        switch (below(24)) {
            case 0:
                return volume.purge_journal();
            case 1:
                return volume.restamp_journal();
            case 2:
                volume.delete_journal();
                change_something();
                return volume.create_journal();
            default:
                return;
        }
    }

    // The contents of files held open before each change that was not journalled. The system
    // journals a change of a kind once, and further ones of that kind when the file is closed.
    std::map<std::uint64_t, std::set<std::string>> untold;
    std::set<std::uint64_t> reparse_points;
    // Files from this record number on exist only in the journal.
    static constexpr std::uint64_t first_gone = 1'000'000;

  private:
    // A folder of the volume; empty for the root.
    std::wstring any_folder() {
        std::vector<std::wstring> folders = volume.folders();
        folders.emplace_back();
        return *any_of(folders);
    }
    // Files and folders have different names, so that neither blocks the name of the other.
    std::wstring place_in(const std::wstring& folder, wchar_t first, std::uint32_t names) {
        const std::wstring name(1, static_cast<wchar_t>(first + below(names)));
        return folder.empty() ? name : folder + L'\\' + name;
    }
    std::wstring file_place() { return place_in(any_folder(), L'a', 8); }
    std::wstring folder_place() { return place_in(any_folder(), L'p', 6); }
    bool is_file(const std::wstring& path) const {
        return std::ranges::count(volume.files(), path) != 0;
    }
    bool is_folder(const std::wstring& path) const {
        return std::ranges::count(volume.folders(), path) != 0;
    }

    // A few different contents: some of the same size, some that only a full comparison
    // distinguishes.
    std::string any_contents() {
        switch (below(6)) {
            case 0:
                return {};
            case 1:
                return patterned_bytes(140'000, 70'000 + below(2));
            case 2:
                return patterned_bytes(3000, below(2) * 1000);
            default:
                return std::string(3 + below(3), static_cast<char>('a' + below(2)));
        }
    }

    void stamp(const std::wstring& file) {
        real::set_times(volume.real_path(file), 0, clock_ += 10'000);
    }
    template <typename Action>
    void change_metadata(const std::wstring& file, Action action) {
        const std::string before = read_file(volume.path(file));
        const std::int64_t end = volume.journal().NextUsn;
        action();
        if (volume.journal().NextUsn == end)
            untold[volume.reference_of(file)].insert(before);
    }
    template <typename Action>
    void change_contents(const std::wstring& file, Action action) {
        change_metadata(file, [&] {
            action();
            stamp(file);
        });
    }
    void make_writable(const std::wstring& file) {
        if ((GetFileAttributesW(volume.path(file).c_str()) & FILE_ATTRIBUTE_READONLY) != 0)
            volume.set_attributes(file, FILE_ATTRIBUTE_NORMAL);
    }

    // Prefers a file that is held open, because its further changes are not journalled.
    std::optional<std::wstring> file_to_change() {
        std::vector<std::wstring> files = volume.files();
        if (below(3) == 0)
            for (const std::wstring& file : files)
                if (held_open_.contains(volume.reference_of(file)) && below(2) == 0)
                    return file;
        return any_of(files);
    }
    void change_a_file() {
        const std::optional<std::wstring> file = file_to_change();
        if (!file)
            return;
        make_writable(*file);
        const std::size_t size = read_file(volume.path(*file)).size();
        switch (below(9)) {
            case 0:
                return change_contents(*file, [&] { volume.write(*file, any_contents()); });
            case 1:
                return change_contents(
                    *file, [&] { volume.append(*file, std::string(1 + below(2), 'a')); });
            case 2:
                if (size > 0)
                    change_contents(*file, [&] { volume.overwrite(*file, below(size), "b"); });
                return;
            case 3:
                if (size > 0)
                    change_contents(*file, [&] { volume.truncate(*file, below(size)); });
                return;
            case 4:
                return rename(*file, place_in(std::wstring(folder_of(*file)), L'a', 8));
            case 5:
                return rename(*file, file_place());
            case 6:
                return volume.remove(*file);
            case 7:
                return change_metadata(*file, [&] {
                    volume.set_attributes(
                        *file, below(2) == 0 ? FILE_ATTRIBUTE_READONLY : FILE_ATTRIBUTE_HIDDEN);
                });
            default:
                return change_metadata(*file,
                                       [&] { volume.set_write_time(*file, clock_ += 10'000); });
        }
    }
    // The system does nothing when the file already has that name too.
    void rename(const std::wstring& file, const std::wstring& to) {
        if (!is_file(to) || volume.reference_of(to) != volume.reference_of(file))
            volume.rename(file, to);
    }
    void change_a_folder() {
        const std::optional<std::wstring> folder = any_of(volume.folders());
        if (!folder)
            return;
        const std::wstring to = folder_place();
        switch (below(5)) {
            case 0:
                return volume.set_attributes(*folder, FILE_ATTRIBUTE_HIDDEN);
            case 1:
                return volume.remove_tree(*folder);
            case 2:
                return volume.journal_reasons(*folder, any_reasons());
            default:
                if (to != *folder && !to.starts_with(*folder + L'\\') && !is_folder(to))
                    volume.rename(*folder, to);
        }
    }
    void make_a_folder() {
        const std::wstring place = folder_place();
        if (!is_folder(place))
            volume.make_folder(place);
    }
    // Adds links more often than it removes them, because others are deleted with their folders.
    void change_a_link() {
        const std::vector<std::wstring> files = volume.files();
        const std::wstring place = file_place();
        if (!files.empty() && below(3) != 0 && !is_file(place))
            return volume.link(*any_of(files), place);
        std::map<std::uint64_t, std::size_t> names;
        for (const std::wstring& file : files)
            ++names[volume.reference_of(file)];
        for (const std::wstring& file : files)
            if (names[volume.reference_of(file)] > 1 && below(4) == 0) {
                make_writable(file);
                return volume.remove(file);
            }
    }

    // One reason, several in one record, several one after the other, or all of them.
    std::uint32_t any_reasons() {
        const auto one = [this] {
            return usn_reason::repeatable[below(std::size(usn_reason::repeatable))];
        };
        switch (below(5)) {
            case 0:
                return one() | one() | one() | usn_reason::close;
            case 1:
                return one() | one();
            default:
                return one();
        }
    }
    void journal_other_reasons() {
        if (const std::optional<std::wstring> file = any_of(volume.files()))
            volume.journal_reasons(*file, any_reasons());
    }
    void open_or_close_a_file() {
        const std::optional<std::wstring> file = any_of(volume.files());
        if (!file)
            return;
        if (below(3) != 0) {
            held_open_.insert(volume.reference_of(*file));
            return volume.open(*file);
        }
        for (const std::wstring& other : volume.files())
            if (below(2) == 0)
                close(other);
    }
    void close(const std::wstring& file) {
        held_open_.erase(volume.reference_of(file));
        volume.close(file);
    }
    void change_a_reparse_point() {
        const std::vector<std::wstring> files = volume.files();
        if (files.empty())
            return;
        std::wstring chosen = *any_of(files);
        for (const std::wstring& file : files)
            if (below(2) == 0 && reparse_points.contains(volume.reference_of(file)))
                chosen = file;
        const std::uint64_t reference = volume.reference_of(chosen);
        const bool becomes_one = reparse_points.insert(reference).second;
        if (!becomes_one)
            reparse_points.erase(reference);
        close(chosen);  // so that the end of a reparse point is journalled too
        volume.set_reparse_point(chosen, becomes_one);
    }
    // Records of a deleted file, in a folder that exists or is deleted too; sometimes the deletion
    // follows.
    void journal_a_file_long_gone() {
        const std::uint64_t parent = below(3) == 0 ? make_reference(first_gone + below(3), 7)
                                                   : volume.reference_of(any_folder());
        UsnRecordFields record;
        record.reference = make_reference(first_gone + 3 + below(5), ++last_gone_);
        record.parent = parent;
        record.attributes = FILE_ATTRIBUTE_ARCHIVE;
        record.name = L"gone";
        record.reason = any_reasons();
        volume.append_to_journal(record);
        if (below(2) == 0) {
            record.reason = usn_reason::file_delete | usn_reason::close;
            volume.append_to_journal(record);
        }
    }

    std::minstd_rand random_;
    std::set<std::uint64_t> held_open_;
    std::uint64_t clock_ = 0x01DA'0000'0000'0000;
    std::uint16_t last_gone_ = 0;
};

}  // namespace larkspine::testing
