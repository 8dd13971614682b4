#include "fs/previous_entries.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <gtest/gtest.h>
#include <map>
#include <random>
#include <string>
#include <vector>

#include "fs/digest_carry_over.h"
#include "support/snapshots.h"

namespace larkspine::testing {
namespace {

using detail::FileCandidate;
using detail::FileIdentity;
using detail::IdentityAnswer;
using detail::IndexSnapshot;
using detail::PathIndex;
using detail::PreviousEntries;

using Entries = std::vector<FileCandidate>;
using Paths = std::vector<std::wstring>;

Entries entries_at(const Paths& paths) {
    Entries entries;
    for (const std::wstring& path : paths)
        entries.push_back(walked_file(path, 1));
    return entries;
}

// Which of the entries were found for each path; -1 for none.
std::vector<std::ptrdiff_t> found_for(const Paths& asked, const Paths& before) {
    const Entries entries = entries_at(before);
    PreviousEntries previous(entries);
    std::vector<std::ptrdiff_t> places;
    for (const std::wstring& path : asked) {
        const FileCandidate* const found = previous.at(path);
        places.push_back(found == nullptr ? -1 : found - entries.data());
    }
    return places;
}

using Places = std::vector<std::ptrdiff_t>;

TEST(PreviousEntriesTest, EntriesAreFoundInTheirOrderAndInAnyOther) {
    EXPECT_EQ(found_for({L"a", L"b", L"c"}, {L"a", L"b", L"c"}), (Places{0, 1, 2}));
    EXPECT_EQ(found_for({L"c", L"a", L"b"}, {L"a", L"b", L"c"}), (Places{2, 0, 1}));
    EXPECT_EQ(found_for({L"new", L"a", L"c", L"d", L"other", L"b"}, {L"a", L"b", L"c", L"d"}),
              (Places{-1, 0, 2, 3, -1, 1}));
    EXPECT_EQ(found_for({L"a", L"b"}, {L"a"}), (Places{0, -1}));
    EXPECT_EQ(found_for({L"a"}, {}), (Places{-1}));
}

TEST(PreviousEntriesTest, APathLookedUpTwiceIsFoundTwice) {
    EXPECT_EQ(found_for({L"a", L"a", L"b", L"b"}, {L"a", L"b"}), (Places{0, 0, 1, 1}));
}

TEST(PreviousEntriesTest, TheFirstOfSeveralEntriesSpelledAlikeIsFound) {
    EXPECT_EQ(found_for({L"a", L"a"}, {L"a", L"a"}), (Places{0, 0}));
    EXPECT_EQ(found_for({L"a", L"b", L"a"}, {L"a", L"b", L"a"}), (Places{0, 1, 0}));
    EXPECT_EQ(found_for({L"b", L"a"}, {L"a", L"b", L"a"}), (Places{1, 0}));
}

TEST(PreviousEntriesTest, AmongSeveralSpellingsOnlyTheExactOneIsFound) {
    EXPECT_EQ(found_for({L"A", L"a"}, {L"A", L"a"}), (Places{0, 1}));
    EXPECT_EQ(found_for({L"a", L"A"}, {L"A", L"a"}), (Places{1, 0}));
    EXPECT_EQ(found_for({L"AB", L"ab"}, {L"Ab", L"aB", L"ab"}), (Places{-1, 2}));
    EXPECT_EQ(found_for({L"AB"}, {L"Ab"}), (Places{0}));
}

TEST(PreviousEntriesTest, AnIndexTellsWhetherASpellingIsRepeated) {
    EXPECT_FALSE(PathIndex(entries_at({L"a", L"A", L"b"})).has_repeated_spelling());
    EXPECT_TRUE(PathIndex(entries_at({L"a", L"A", L"A"})).has_repeated_spelling());
    EXPECT_TRUE(PathIndex(entries_at({L"a", L"b", L"a"})).has_repeated_spelling());
}

TEST(PreviousEntriesTest, EachPathIsNewOnceAndKnownAfterwards) {
    for (const std::size_t files_in_a_folder : {1, 25, 100'000}) {
        Paths paths;
        for (std::size_t i = 0; i < 100'000; ++i) {
            const std::string digits = std::to_string(i / files_in_a_folder) + "\\" +
                                       std::to_string(i % files_in_a_folder);
            paths.push_back(L"\\\\?\\C:\\" + std::wstring(digits.begin(), digits.end()));
        }
        detail::MetPaths met;
        for (const std::wstring& path : paths)
            ASSERT_TRUE(met.add(path));
        EXPECT_FALSE(met.add(paths.back()));
        EXPECT_FALSE(met.add(paths.front()));
    }
}

TEST(PreviousEntriesTest, ALargeFolderKeepsItsNamesApartFromThoseOfAnEarlierFolder) {
    // The second folder gets the names of the first one last, after it has grown.
    Paths paths;
    for (wchar_t name = 0x100; name < 0x11D; ++name)
        paths.push_back(std::wstring(L"a\\") + name);
    for (wchar_t name = 0x500; name-- > 0x100;)
        paths.push_back(std::wstring(L"b\\") + name);
    detail::MetPaths met;
    for (const std::wstring& path : paths)
        ASSERT_TRUE(met.add(path));
    for (std::size_t i = 29; i < paths.size(); ++i)
        EXPECT_FALSE(met.add(paths[i]));
}

TEST(PreviousEntriesTest, ARepeatedPathIsRecognisedAfterOtherFolders) {
    detail::MetPaths met;
    EXPECT_TRUE(met.add(L"a"));
    EXPECT_FALSE(met.add(L"a"));
    EXPECT_TRUE(met.add(L"d\\a"));
    EXPECT_TRUE(met.add(L"d\\b"));
    EXPECT_FALSE(met.add(L"d\\a"));
    EXPECT_TRUE(met.add(L"e\\a"));
    EXPECT_FALSE(met.add(L"d\\a"));
    EXPECT_FALSE(met.add(L"a"));
}

// Carrying over in its plainest form.
class PlainCarryOver {
  public:
    explicit PlainCarryOver(const Entries& loaded) {
        for (const FileCandidate& entry : loaded) {
            by_form_[normalize_for_compare(entry.path)].push_back(&entry);
            if (entry.has_file_id)
                by_identity_[key_of(entry)].push_back(&entry);
        }
    }
    template <typename Identify>
    void carry_over(Entries& fresh, Identify identify) const {
        for (FileCandidate& entry : fresh) {
            const FileCandidate* before = at(entry.path);
            if (before == nullptr && identify(entry) == IdentityAnswer::read)
                before = of_file(entry);
            if (before == nullptr || entry.size != before->size ||
                entry.creation_time != before->creation_time ||
                entry.last_write_time != before->last_write_time)
                continue;
            FileCandidate inherited = *before;
            inherited.path = entry.path;
            inherited.name = entry.name;
            inherited.record_id = entry.record_id;
            inherited.attributes = entry.attributes;
            inherited.record_stamp = entry.record_stamp;
            entry = inherited;
        }
    }

  private:
    using Key = std::vector<std::uint64_t>;
    static Key key_of(const FileCandidate& entry) {
        const FileIdentity identity = identity_of(entry);
        return {identity.volume_serial, identity.file_id.low, identity.file_id.high};
    }
    const FileCandidate* at(const std::wstring& path) const {
        const auto known = by_form_.find(normalize_for_compare(path));
        if (known == by_form_.end())
            return nullptr;
        if (known->second.size() == 1)
            return known->second.front();
        for (const FileCandidate* entry : known->second)
            if (entry->path == path)
                return entry;
        return nullptr;
    }
    const FileCandidate* of_file(const FileCandidate& fresh) const {
        const auto known = by_identity_.find(key_of(fresh));
        if (known == by_identity_.end())
            return nullptr;
        return *std::ranges::max_element(known->second, {}, [](const FileCandidate* entry) {
            return int{entry->has_sample_digest} + int{entry->has_full_digest};
        });
    }

    std::map<std::wstring, std::vector<const FileCandidate*>> by_form_;
    std::map<Key, std::vector<const FileCandidate*>> by_identity_;
};

// Snapshots of few paths, so that many match: in another case, with other separators, or repeated.
class RandomSnapshots {
  public:
    explicit RandomSnapshots(std::uint64_t seed) : random_(seed) {}

    Entries loaded() {
        Entries entries;
        for (std::size_t count = below(9); entries.size() < count;) {
            FileCandidate& entry = entries.emplace_back(file());
            entry.volume_serial = below(2);
            entry.file_id = {below(4), below(2)};
            entry.has_file_id = below(4) != 0;
            entry.sample_digest = digest_from(next_digest_++);
            entry.full_digest = digest_from(next_digest_++);
            entry.has_sample_digest = below(3) != 0;
            entry.has_full_digest = below(2) != 0;
        }
        return entries;
    }

    // Mostly the same files in the same order.
    Entries walked_after(const Entries& loaded) {
        Entries entries;
        for (const FileCandidate& before : loaded) {
            if (below(8) == 0)
                entries.push_back(file());
            if (below(8) == 0)
                continue;
            FileCandidate& entry = entries.emplace_back(walked_file(before.path, before.size));
            entry.creation_time = before.creation_time;
            entry.last_write_time = before.last_write_time;
            if (below(8) == 0)
                entry.last_write_time ^= 1;
            if (below(8) == 0)
                entry.path = path();
        }
        if (below(4) == 0)
            std::ranges::shuffle(entries, random_);
        if (below(4) == 0)
            entries.push_back(file());
        return entries;
    }

  private:
    std::uint64_t below(std::uint64_t limit) { return random_() % limit; }

    std::wstring path() {
        static const Paths folders = {L"\\\\?\\C:\\", L"c:/", L"\\\\?\\C:\\D\\", L"\\\\?\\C:\\d\\"};
        static const Paths names = {L"a", L"A", L"b", L"é", L"É", L"a\\"};
        return folders[below(folders.size())] + names[below(names.size())];
    }
    FileCandidate file() {
        FileCandidate entry = walked_file(path(), below(2));
        entry.creation_time = below(2);
        entry.last_write_time = below(2);
        return entry;
    }

    std::mt19937_64 random_;
    std::uint8_t next_digest_ = 0;
};

// Answers queries of identities, and notes the files that were queried.
class FakeIdentities {
  public:
    IdentityAnswer identify(FileCandidate& entry) {
        asked.push_back(entry.path);
        const std::size_t kind = std::hash<std::wstring>()(entry.path) % 5;
        if (kind == 0)
            return IdentityAnswer::unreadable;
        entry.file_id = {kind % 4, 0};
        entry.has_file_id = true;
        return IdentityAnswer::read;
    }
    Paths asked;
};

TEST(PreviousEntriesTest, RandomSnapshotsInheritTheSameAsWithPlainMaps) {
    std::size_t inherited = 0;
    std::size_t identified = 0;
    for (std::uint64_t seed = 0; seed < 20'000; ++seed) {
        RandomSnapshots snapshots(seed);
        IndexSnapshot loaded;
        loaded.entries = snapshots.loaded();
        Entries fresh = snapshots.walked_after(loaded.entries);
        Entries expected = fresh;
        FakeIdentities identities;
        FakeIdentities expected_identities;
        carry_over_digests(fresh, loaded,
                           [&](FileCandidate& entry) { return identities.identify(entry); });
        PlainCarryOver(loaded.entries).carry_over(expected, [&](FileCandidate& entry) {
            return expected_identities.identify(entry);
        });
        ASSERT_EQ(identities.asked, expected_identities.asked) << "seed " << seed;
        ASSERT_TRUE(std::ranges::equal(fresh, expected, same_entry)) << "seed " << seed;
        identified += identities.asked.size();
        inherited +=
            static_cast<std::size_t>(std::ranges::count_if(fresh, &FileCandidate::has_full_digest));
    }
    EXPECT_GT(inherited, 10'000U) << "enough digests are compared";
    EXPECT_GT(identified, 10'000U);
}

}  // namespace
}  // namespace larkspine::testing
