// Files that the snapshot does not hold, because they were unreadable, excluded, reparse points or
// listed under an excluded name when it was made. Their next record, of any kind, adds them with
// their size and times.
#include "base/win32_api.h"

#include <algorithm>
#include <cstdint>
#include <functional>
#include <gtest/gtest.h>
#include <string>

#include "support/delta_volume.h"

namespace larkspine::testing {
namespace {

class UsnDeltaUnheldTest : public DeltaVolumeTest {
  protected:
    using DeltaVolumeTest::DeltaVolumeTest;

    // `prepare` leaves `file` out of the snapshot. Neither record is about contents or times. What
    // each reason does to an entry is tested in journal_changes_test.cpp.
    void expect_brought_in(const std::wstring& file, const std::function<void()>& prepare) {
        for (const bool link_change : {false, true}) {
            prepare();
            EXPECT_FALSE(holds(file));
            if (link_change)
                journal_link_change(file);
            else
                volume.journal_reasons(file, usn_reason::security_change);
            ASSERT_TRUE(apply());
            expect_true_to(file);
            EXPECT_EQ(asked_for, Paths{file});
            EXPECT_TRUE(changed);
            EXPECT_EQ(statistics.failures, 0u);
        }
    }
    void journal_link_change(const std::wstring& file) {
        journal_record(volume.reference_of(file), volume.reference_of(folder_of(file)),
                       usn_reason::hard_link_change | usn_reason::close, name_of(file));
    }
    [[nodiscard]] bool holds(const std::wstring& file) const {
        const Paths all = paths();
        return std::find(all.begin(), all.end(), file) != all.end();
    }
    // The entry has the current metadata of the file.
    void expect_true_to(const std::wstring& file) {
        WIN32_FILE_ATTRIBUTE_DATA data = {};
        ASSERT_TRUE(GetFileAttributesExW(volume.path(file).c_str(), GetFileExInfoStandard, &data));
        const detail::FileCandidate& found = entry(file);
        EXPECT_EQ(found.size, data.nFileSizeLow);
        EXPECT_EQ(found.creation_time, filetime_value(data.ftCreationTime));
        EXPECT_EQ(found.last_write_time, filetime_value(data.ftLastWriteTime));
        EXPECT_EQ(found.attributes, data.dwFileAttributes);
        EXPECT_EQ(found.file_id.low, volume.reference_of(file));
        EXPECT_FALSE(found.has_full_digest);
    }
};

TEST_F(UsnDeltaUnheldTest, AFileThatWasUnreadableIsAddedByItsNextRecord) {
    volume.write(L"f\\a", "text");
    expect_brought_in(L"f\\a", [this] {
        volume.plant(failing_at(Request::query_attributes, L"f\\a", ERROR_ACCESS_DENIED));
        enumerate_with_digests();
        volume.clear_faults();
    });
}

TEST_F(UsnDeltaUnheldTest, AFileIsAddedWhenItIsNoLongerAReparsePoint) {
    volume.write(L"f\\a", "text");
    volume.set_reparse_point(L"f\\a", true);
    enumerate_with_digests();
    EXPECT_EQ(paths(), (Paths{L"", L"f"}));
    volume.journal_reasons(L"f\\a", usn_reason::security_change);
    ASSERT_TRUE(apply());
    EXPECT_EQ(paths(), (Paths{L"", L"f"})) << "still a reparse point";
    EXPECT_EQ(asked_for, Paths{});
    volume.set_reparse_point(L"f\\a", false);
    ASSERT_TRUE(apply());
    expect_true_to(L"f\\a");
    EXPECT_TRUE(changed);
    expect_as_enumerated();
}

TEST_F(UsnDeltaUnheldTest, AFileThatIsAReparsePointForATimeReturnsWithItsSize) {
    volume.write(L"f\\a", "text");
    enumerate_with_digests();
    volume.set_reparse_point(L"f\\a", true);
    ASSERT_TRUE(apply());
    EXPECT_EQ(paths(), (Paths{L"", L"f"}));
    EXPECT_EQ(statistics.failures, 0u);
    volume.append(L"f\\a", "more");
    ASSERT_TRUE(apply());
    EXPECT_EQ(paths(), (Paths{L"", L"f"}));
    volume.set_reparse_point(L"f\\a", false);
    ASSERT_TRUE(apply());
    expect_true_to(L"f\\a");
    expect_as_enumerated();
}

class UsnDeltaExcludedTest : public UsnDeltaUnheldTest {
  protected:
    UsnDeltaExcludedTest() : UsnDeltaUnheldTest(on_drive(L'C')) {}
};

TEST_F(UsnDeltaExcludedTest, AFileWhoseFolderWasExcludedIsAddedByItsNextRecord) {
    volume.write(L"Windows\\a", "text");
    volume.make_folder(L"f");
    expect_brought_in(L"f\\Old\\a", [this] {
        if (std::ranges::count(volume.folders(), std::wstring(L"f\\Old")) != 0)
            volume.rename(L"f\\Old", L"Windows");
        enumerate_with_digests();
        volume.rename(L"Windows", L"f\\Old");
    });
}

TEST_F(UsnDeltaExcludedTest, AFileListedUnderAnExcludedNameIsAddedUnderTheNameOfItsRecord) {
    volume.write(L"Windows\\a", "text");
    volume.link(L"Windows\\a", L"f\\b");
    expect_brought_in(L"f\\b", [this] { enumerate_with_digests(); });
}

TEST_F(UsnDeltaExcludedTest, ALinkOutsideItsExcludedFolderAddsTheFile) {
    volume.write(L"Windows\\a", "text");
    enumerate_with_digests();
    volume.link(L"Windows\\a", L"b");
    ASSERT_TRUE(apply());
    expect_true_to(L"b");
    EXPECT_TRUE(changed);
    EXPECT_EQ(statistics.journal_changes, 1u);
}

// ---- files that are gone ------------------------------------------------------------------------

class UsnDeltaGoneTest : public UsnDeltaUnheldTest {
  protected:
    using UsnDeltaUnheldTest::UsnDeltaUnheldTest;

    void SetUp() override { enumerate_two_files(); }

    const std::uint64_t gone = make_reference(700, 9);
};

TEST_F(UsnDeltaGoneTest, AFileThatIsGoneWhenItIsQueriedIsAFailureWhateverItsRecordSays) {
    for (const std::uint32_t reason : usn_reason::repeatable) {
        SCOPED_TRACE(::testing::Message() << std::hex << reason);
        journal_record(gone, root_reference, reason, L"gone");
        ASSERT_TRUE(apply());
        EXPECT_EQ(paths(), (Paths{L"", L"a", L"f", L"f\\b"}));
        EXPECT_EQ(asked_for, Paths{L"gone"});
        EXPECT_EQ(statistics.failures, 1u);
        EXPECT_FALSE(changed);
    }
}

TEST_F(UsnDeltaGoneTest, AFileThatIsDeletedLaterInTheSliceIsNotQueried) {
    for (const std::uint32_t reason : usn_reason::repeatable)
        journal_record(gone, root_reference, reason, L"gone");
    journal_record(gone, root_reference, usn_reason::file_delete | usn_reason::close, L"gone");
    ASSERT_TRUE(apply());
    EXPECT_EQ(paths(), (Paths{L"", L"a", L"f", L"f\\b"}));
    EXPECT_EQ(asked_for, Paths{});
    EXPECT_EQ(statistics.failures, 0u);
}

TEST_F(UsnDeltaGoneTest, AFileWhoseParentIsGoneTooIsNotQueried) {
    for (const std::uint32_t reason : usn_reason::repeatable)
        journal_record(gone, make_reference(701, 3), reason, L"gone");
    ASSERT_TRUE(apply());
    EXPECT_EQ(paths(), (Paths{L"", L"a", L"f", L"f\\b"}));
    EXPECT_EQ(asked_for, Paths{});
    EXPECT_EQ(statistics.failures, 0u);
    EXPECT_FALSE(changed);
}

TEST_F(UsnDeltaGoneTest, AFileInAFolderThatIsDeletedWithItIsNotQueried) {
    volume.journal_reasons(L"f\\b", usn_reason::extended_attribute_change);
    volume.write(L"f\\g\\new", "text");
    volume.journal_reasons(L"f\\g\\new", usn_reason::object_id_change);
    volume.remove_tree(L"f");
    ASSERT_TRUE(apply());
    EXPECT_EQ(asked_for, Paths{});
    EXPECT_EQ(statistics.failures, 0u);
    expect_as_enumerated();
}

// ---- record numbers that are used again ---------------------------------------------------------

TEST_F(UsnDeltaGoneTest, ARecordNumberReusedSeveralTimesInOneSliceBelongsToItsLastFile) {
    const std::uint64_t first = volume.reference_of(L"a");
    volume.remove(L"a");
    for (const wchar_t* name : {L"x", L"y", L"z"}) {
        volume.write(name, "short-lived");
        EXPECT_EQ(record_number(volume.reference_of(name)), record_number(first));
        volume.journal_reasons(name, usn_reason::security_change);
        volume.remove(name);
    }
    volume.write(L"last", "12345");
    EXPECT_EQ(volume.reference_of(L"last"), first + make_reference(0, 4));
    ASSERT_TRUE(apply());
    expect_true_to(L"last");
    EXPECT_EQ(asked_for, Paths{L"last"});
    expect_as_enumerated();
}

TEST_F(UsnDeltaGoneTest, AFolderWithAReusedRecordNumberDoesNotInheritTheOldFoldersFiles) {
    const std::uint64_t folder = volume.reference_of(L"f");
    const std::uint64_t held = volume.reference_of(L"f\\b");
    volume.remove_tree(L"f");
    volume.make_folder(L"n");
    ASSERT_EQ(volume.reference_of(L"n"), folder + make_reference(0, 1));
    volume.write(L"n\\c", "text");
    ASSERT_EQ(volume.reference_of(L"n\\c"), held + make_reference(0, 1));
    // A late record of the old file, whose parent is the old folder.
    journal_record(held, folder, usn_reason::security_change | usn_reason::close, L"b");
    ASSERT_TRUE(apply());
    EXPECT_EQ(paths(), (Paths{L"", L"a", L"n", L"n\\c"}));
    expect_true_to(L"n\\c");
    EXPECT_EQ(statistics.failures, 0u);
    expect_as_enumerated();
}

TEST_F(UsnDeltaGoneTest, AFileMayGetTheRecordOfAFolderAndAFolderThatOfAFile) {
    const std::uint64_t file = volume.reference_of(L"a");
    const std::uint64_t folder = volume.reference_of(L"f");
    volume.remove(L"a");
    volume.make_folder(L"g");
    volume.move(L"f\\b", L"g");
    volume.remove(L"f");
    volume.write(L"g\\c", "text");
    ASSERT_EQ(volume.reference_of(L"g"), file + make_reference(0, 1));
    ASSERT_EQ(volume.reference_of(L"g\\c"), folder + make_reference(0, 1));
    ASSERT_TRUE(apply());
    EXPECT_EQ(paths(), (Paths{L"", L"g", L"g\\b", L"g\\c"}));
    expect_as_enumerated();
}

}  // namespace
}  // namespace larkspine::testing
