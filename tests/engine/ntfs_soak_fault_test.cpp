// Random changes to a volume, round after round: whatever way a scan takes through its index, it
// must find what a scan without one finds, and what comparing every file with every other finds.
//
// The seed and the number of rounds may be set by LARKSPINE_SOAK_SEED and LARKSPINE_SOAK_ROUNDS.
// Left out are the changes that a journal does not tell in full: hard links, and folders that are
// moved out of excluded ones.
#include "fs/win32_api.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <gtest/gtest.h>
#include <optional>
#include <random>
#include <string>
#include <string_view>
#include <vector>

#include "support/scanned_volume.h"

namespace larkspine::testing {
namespace {

std::uint32_t setting(const wchar_t* name, std::uint32_t otherwise) {
    const std::optional<std::wstring> text = read_environment(name);
    return text ? static_cast<std::uint32_t>(std::stoul(*text)) : otherwise;
}

bool is_at_or_below(const std::wstring& path, const std::wstring& folder) {
    return path == folder || path.starts_with(folder + L'\\');
}

class NtfsSoakTest : public ScannedVolumeTest {
  protected:
    std::uint32_t below(std::size_t bound) {
        return static_cast<std::uint32_t>(random() % static_cast<std::uint32_t>(bound));
    }
    template <typename Item>
    std::optional<Item> any_of(const std::vector<Item>& items) {
        if (items.empty())
            return std::nullopt;
        return items[below(items.size())];
    }

    // A folder of the volume; empty for the root.
    std::wstring any_folder() {
        std::vector<std::wstring> folders = volume.folders();
        folders.emplace_back();
        return *any_of(folders);
    }
    // Files and folders have different names, so that none is in the way of the other's kind.
    std::wstring place_in(const std::wstring& folder, wchar_t first, std::uint32_t names) {
        const std::wstring name(1, static_cast<wchar_t>(first + below(names)));
        return folder.empty() ? name : folder + L'\\' + name;
    }
    std::wstring file_place() { return place_in(any_folder(), L'a', 8); }
    std::wstring folder_place() { return place_in(any_folder(), L'p', 6); }

    // Few different ones, some of the same size, some that only whole contents tell apart.
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
    void make_writable(const std::wstring& file) {
        if ((GetFileAttributesW(volume.path(file).c_str()) & FILE_ATTRIBUTE_READONLY) != 0)
            volume.set_attributes(file, FILE_ATTRIBUTE_NORMAL);
    }

    void change_a_file() {
        const std::optional<std::wstring> file = any_of(volume.files());
        if (!file)
            return;
        make_writable(*file);
        const std::string contents = read_file(volume.path(*file));
        switch (below(9)) {
            case 0:
                return volume.write(*file, any_contents());
            case 1:
                return volume.append(*file, std::string(1 + below(2), 'a'));
            case 2:
                if (!contents.empty())
                    volume.overwrite(*file, below(contents.size()), "b");
                return;
            case 3:
                if (!contents.empty())
                    volume.truncate(*file, below(contents.size()));
                return;
            case 4:
                return volume.rename(*file, place_in(std::wstring(folder_of(*file)), L'a', 8));
            case 5:
                return volume.rename(*file, file_place());
            case 6:
                return volume.remove(*file);
            case 7:
                return volume.set_attributes(
                    *file, below(2) == 0 ? FILE_ATTRIBUTE_READONLY : FILE_ATTRIBUTE_HIDDEN);
            default:
                return volume.set_write_time(*file, 0x01DA'0000'0000'0000 + below(4));
        }
    }
    void change_a_folder() {
        const std::optional<std::wstring> folder = any_of(volume.folders());
        if (!folder)
            return;
        const std::vector<std::wstring> folders = volume.folders();
        const std::wstring to = folder_place();
        switch (below(4)) {
            case 0:
                return volume.set_attributes(*folder, FILE_ATTRIBUTE_HIDDEN);
            case 1:
                return volume.remove_tree(*folder);
            default:
                if (!is_at_or_below(to, *folder) &&
                    std::find(folders.begin(), folders.end(), to) == folders.end())
                    volume.rename(*folder, to);
        }
    }
    void make_a_folder() {
        const std::vector<std::wstring> folders = volume.folders();
        const std::wstring place = folder_place();
        if (std::find(folders.begin(), folders.end(), place) == folders.end())
            volume.make_folder(place);
    }
    void write_a_file() {
        const std::wstring place = file_place();
        const std::vector<std::wstring> files = volume.files();
        if (std::find(files.begin(), files.end(), place) != files.end())
            make_writable(place);
        volume.write(place, any_contents());
    }
    void change_something() {
        const std::uint32_t choice = below(20);
        if (choice < 6)
            write_a_file();
        else if (choice < 8)
            make_a_folder();
        else if (choice < 17)
            change_a_file();
        else
            change_a_folder();
    }
    void change_the_journal() {
        switch (below(12)) {
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

    const std::uint32_t seed = setting(L"LARKSPINE_SOAK_SEED", 1);
    std::minstd_rand random{seed};
    std::size_t checked_digests = 0;
};

TEST_F(NtfsSoakTest, AfterAnyChangesAScanWithTheIndexFindsWhatOneWithoutItFinds) {
    const std::uint32_t rounds = setting(L"LARKSPINE_SOAK_ROUNDS", 200);
    std::array<std::uint32_t, 5> ways{};
    std::size_t groups = 0;
    for (int i = 0; i < 40; ++i)
        write_a_file();
    for (std::uint32_t round = 0; round < rounds && !HasFailure(); ++round) {
        SCOPED_TRACE("seed " + std::to_string(seed) + ", round " + std::to_string(round));
        for (std::uint32_t changes = below(14); changes > 0; --changes)
            change_something();
        change_the_journal();
        volume.set_file_system(below(12) == 0 ? L"FAT32" : L"NTFS");

        const ScanResult incremental = run();
        const Groups expected_groups = expected();
        EXPECT_EQ(groups_of(incremental), expected_groups);
        EXPECT_EQ(incremental.failures, 0u);
        EXPECT_EQ(groups_of(run(IndexMode::disabled)), expected_groups);
        EXPECT_EQ(incremental.statistics.files, volume.files().size());
        checked_digests += expect_stored_digests_right();
        ++ways[static_cast<std::size_t>(way_of(incremental))];
        groups += expected_groups.size();
    }
    EXPECT_EQ(ways[static_cast<std::size_t>(Way::contradictory)], 0u);
    for (const Way way : {Way::walk, Way::table, Way::unchanged, Way::delta}) {
        const std::uint32_t taken = ways[static_cast<std::size_t>(way)];
        RecordProperty(::testing::PrintToString(way), static_cast<int>(taken));
        EXPECT_TRUE(taken > 0 || rounds < 60) << ::testing::PrintToString(way);
    }
    EXPECT_GT(groups, std::size_t{rounds});
    EXPECT_GT(checked_digests, std::size_t{rounds});
}

}  // namespace
}  // namespace larkspine::testing
