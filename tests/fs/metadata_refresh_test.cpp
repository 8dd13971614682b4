// What fresh metadata changes in the entries, and which files are queried for it.
#include "fs/metadata_refresh.h"

#include "base/win32_api.h"

#include <gtest/gtest.h>
#include <map>
#include <new>
#include <ostream>
#include <string>
#include <utility>
#include <vector>

#include "base/win32_handle.h"
#include "support/fake_volume.h"
#include "support/import_replacement.h"
#include "support/snapshots.h"
#include "support/temp_tree.h"

namespace larkspine::testing {
namespace {

using detail::FileCandidate;
using detail::RecordMap;
using detail::ReferenceSet;
using detail::refresh_changed_metadata;

class MetadataRefreshTest : public ::testing::Test {
  protected:
    // Writes a file and makes its entry, up to date and with both digests.
    std::uint64_t add(const std::wstring& file, std::string_view contents = "text") {
        volume.write(file, contents);
        const std::uint64_t reference = volume.reference_of(file);
        FileCandidate& entry = records[reference];
        entry.path = volume.path(file);
        entry.name = name_of(file);
        entry.file_id.low = reference;
        entry.has_file_id = true;
        entry.record_id = root_reference;
        entry.record_stamp = 77;
        entry.sample_digest = digest_from(1);
        entry.full_digest = digest_from(2);
        entry.has_sample_digest = entry.has_full_digest = true;
        store(entry);
        return reference;
    }

    // Stores the file's current metadata in the entry.
    static void store(FileCandidate& entry) {
        WIN32_FILE_ATTRIBUTE_DATA data = {};
        EXPECT_TRUE(GetFileAttributesExW(entry.path.c_str(), GetFileExInfoStandard, &data));
        entry.attributes = data.dwFileAttributes;
        entry.size = join_halves(data.nFileSizeHigh, data.nFileSizeLow);
        entry.creation_time = filetime_value(data.ftCreationTime);
        entry.last_write_time = filetime_value(data.ftLastWriteTime);
    }

    bool refresh(const ReferenceSet& changed) { return refresh(changed, pool); }
    bool refresh(const ReferenceSet& changed, worker_pool& workers) {
        volume.forget_calls();
        return refresh_changed_metadata(records, changed, workers, statistics);
    }

    // The entry is up to date, with all else as it was, and with its digests or without them.
    void expect_refreshed(std::uint64_t reference, const FileCandidate& before, bool digests) {
        FileCandidate expected = before;
        store(expected);
        expected.has_sample_digest = expected.has_full_digest = digests;
        ASSERT_TRUE(records.contains(reference));
        EXPECT_TRUE(same_entry(records.at(reference), expected));
        EXPECT_EQ(statistics.failures, 0u);
    }
    void expect_erased(std::uint64_t reference) {
        EXPECT_FALSE(records.contains(reference));
        EXPECT_EQ(statistics.failures, 1u);
    }

    TempTree tree;
    FakeVolume volume{tree};
    worker_pool pool{2};
    RecordMap records;
    ScanStatistics statistics;
};

// What happened to the file since its entry was made, and whether the entry keeps its digests.
struct ChangedFile {
    const char* name;
    void (*change)(FakeVolume& volume, FileCandidate& entry);
    bool digests;
};
void PrintTo(const ChangedFile& changed, std::ostream* out) {
    *out << changed.name;
}

class ChangedMetadataTest : public MetadataRefreshTest,
                            public ::testing::WithParamInterface<ChangedFile> {};

TEST_P(ChangedMetadataTest, NewMetadataIsStoredAndDropsTheDigestsIfTheContentsMayHaveChanged) {
    const std::uint64_t a = add(L"a");
    GetParam().change(volume, records.at(a));
    const FileCandidate before = records.at(a);
    EXPECT_TRUE(refresh({a}));
    expect_refreshed(a, before, GetParam().digests);
}

INSTANTIATE_TEST_SUITE_P(
    EachField, ChangedMetadataTest,
    ::testing::Values(
        ChangedFile{"nothing", [](FakeVolume&, FileCandidate&) {}, true},
        ChangedFile{"size",
                    [](FakeVolume& volume, FileCandidate& entry) {
                        volume.append(L"a", "more");
                        volume.set_write_time(L"a", entry.last_write_time);
                    },
                    false},
        ChangedFile{"write time",
                    [](FakeVolume& volume, FileCandidate&) { volume.overwrite(L"a", 0, "T"); },
                    false},
        ChangedFile{"earlier write time",
                    [](FakeVolume& volume, FileCandidate&) {
                        volume.set_write_time(L"a", 0x01C0'0000'0000'0000);
                    },
                    false},
        ChangedFile{"creation time",
                    [](FakeVolume&, FileCandidate& entry) { entry.creation_time -= 12345; }, true},
        ChangedFile{"attributes",
                    [](FakeVolume& volume, FileCandidate&) {
                        volume.set_attributes(L"a", FILE_ATTRIBUTE_HIDDEN);
                    },
                    true}));

TEST_F(MetadataRefreshTest, ASingleDigestIsDroppedToo) {
    const std::uint64_t a = add(L"a");
    const std::uint64_t b = add(L"b");
    records.at(a).has_full_digest = false;
    records.at(b).has_sample_digest = false;
    volume.append(L"a", "x");
    volume.append(L"b", "x");
    EXPECT_TRUE(refresh({a, b}));
    for (const std::uint64_t reference : {a, b}) {
        EXPECT_FALSE(records.at(reference).has_sample_digest);
        EXPECT_FALSE(records.at(reference).has_full_digest);
    }
}

TEST_F(MetadataRefreshTest, ASizeBeyond32BitsIsWhole) {
    const std::uint64_t a = add(L"a");
    hooks().GetFileAttributesExW = [next = hooks().GetFileAttributesExW](auto path, auto level,
                                                                         LPVOID data) {
        const BOOL done = next(path, level, data);
        static_cast<WIN32_FILE_ATTRIBUTE_DATA*>(data)->nFileSizeHigh = 0x12;
        return done;
    };
    EXPECT_TRUE(refresh({a}));
    EXPECT_EQ(records.at(a).size, 0x12'0000'0004u);
    EXPECT_FALSE(records.at(a).has_full_digest);
}

TEST_F(MetadataRefreshTest, AFileThatVanishedIsErasedAndCounted) {
    const std::uint64_t a = add(L"a");
    const std::uint64_t b = add(L"b");
    const FileCandidate before = records.at(b);
    volume.remove(L"a");
    statistics.failures = 5;
    EXPECT_TRUE(refresh({a, b}));
    EXPECT_EQ(std::exchange(statistics.failures, 1), 6u);
    expect_erased(a);
    EXPECT_TRUE(same_entry(records.at(b), before));
}

TEST_F(MetadataRefreshTest, AFileThatBecameAFolderIsErasedAndCounted) {
    const std::uint64_t a = add(L"a");
    volume.remove(L"a");
    volume.make_folder(L"a");
    EXPECT_TRUE(refresh({a}));
    expect_erased(a);
}

TEST_F(MetadataRefreshTest, AFileWithoutAccessIsErasedAndCounted) {
    const std::uint64_t a = add(L"a");
    volume.plant(failing_at(Request::query_attributes, L"a", ERROR_ACCESS_DENIED));
    EXPECT_TRUE(refresh({a}));
    expect_erased(a);
}

TEST_F(MetadataRefreshTest, OnlyTheAttributesOfTheChangedFilesAreQueried) {
    const std::uint64_t a = add(L"a");
    const std::uint64_t b = add(L"b");
    add(L"c");
    std::vector<GET_FILEEX_INFO_LEVELS> levels;
    hooks().GetFileAttributesExW = [&levels, next = hooks().GetFileAttributesExW](
                                       auto path, GET_FILEEX_INFO_LEVELS level, LPVOID data) {
        levels.push_back(level);
        return next(path, level, data);
    };
    worker_pool one(1);
    EXPECT_TRUE(refresh({a, b}, one));
    EXPECT_EQ(volume.requests(), std::vector<Request>(2, Request::query_attributes));
    EXPECT_EQ(volume.paths(Request::query_attributes), (std::vector<std::wstring>{L"a", L"b"}));
    EXPECT_EQ(levels, std::vector<GET_FILEEX_INFO_LEVELS>(2, GetFileExInfoStandard));
}

TEST_F(MetadataRefreshTest, FoldersAndUnknownReferencesAreNotQueried) {
    const std::uint64_t a = add(L"a");
    records.at(a).attributes |= FILE_ATTRIBUTE_DIRECTORY;
    const FileCandidate before = records.at(a);
    EXPECT_TRUE(refresh({a, make_reference(900, 1)}));
    EXPECT_EQ(volume.requests(), std::vector<Request>{});
    EXPECT_TRUE(same_entry(records.at(a), before));
    EXPECT_EQ(records.size(), 1u);
    EXPECT_EQ(statistics.failures, 0u);
}

TEST_F(MetadataRefreshTest, EveryOneOfManyChangedFilesIsRefreshed) {
    ReferenceSet changed;
    for (int i = 0; i < 25; ++i)
        changed.insert(add(std::to_wstring(i), std::string(static_cast<std::size_t>(i), 'x')));
    for (auto& [reference, entry] : records)
        entry.size = entry.last_write_time = 0;
    EXPECT_TRUE(refresh(changed));
    for (const auto& [reference, entry] : records)
        EXPECT_EQ(entry.size, static_cast<std::uint64_t>(std::stoi(entry.name)));
    EXPECT_EQ(volume.count(Request::query_attributes), 25u);
}

// With one thread two queries are submitted, and awaited before the next two.
TEST_F(MetadataRefreshTest, EveryPairOfQueriesIsAwaitedBeforeTheNext) {
    ReferenceSet changed;
    for (int i = 0; i < 20; ++i)
        changed.insert(add(std::to_wstring(i)));
    std::map<std::wstring, const FileCandidate*> entries;
    for (auto& [reference, entry] : records) {
        entry.size = 0;
        entries[entry.path] = &entry;
    }
    std::vector<const FileCandidate*> asked_for;
    hooks().GetFileAttributesExW = [&, next = hooks().GetFileAttributesExW](LPCWSTR path,
                                                                            auto... rest) {
        for (std::size_t i = 0; i < asked_for.size() / 2 * 2; ++i)
            EXPECT_EQ(asked_for[i]->size, 4u) << i << " of " << asked_for.size();
        asked_for.push_back(entries.at(path));
        return next(path, rest...);
    };
    worker_pool one(1);
    EXPECT_TRUE(refresh(changed, one));
    EXPECT_EQ(asked_for.size(), 20u);
}

TEST_F(MetadataRefreshTest, AnExceptionOfAQueryReachesTheCaller) {
    const std::uint64_t a = add(L"a");
    hooks().GetFileAttributesExW = [](auto...) -> BOOL { throw std::bad_alloc(); };
    EXPECT_THROW((void)refresh({a}), std::bad_alloc);
    EXPECT_EQ(records.size(), 1u);
    EXPECT_EQ(statistics.failures, 0u);
}

}  // namespace
}  // namespace larkspine::testing
