// What the control codes of a fake volume answer.
#include <algorithm>
#include <gtest/gtest.h>

#include "support/fake_volume.h"
#include "support/volume_client.h"

namespace larkspine::testing {
namespace {

using Names = std::vector<std::wstring>;

class VolumeControlTest : public ::testing::Test {
  protected:
    Names listed(std::size_t room = 65536) {
        Names found;
        for (const UsnRecordFields& record : client.list_all(room))
            found.push_back(record.name);
        return found;
    }
    std::uint64_t identifier() { return volume.journal().UsnJournalID; }

    TempTree tree;
    FakeVolume volume{tree};
    VolumeClient client;
};

TEST_F(VolumeControlTest, TheJournalIsDescribedInFiftySixBytes) {
    volume.write(L"a", "1");
    const VolumeAnswer answer = client.query(80);
    EXPECT_EQ(answer.error, 0u);
    EXPECT_EQ(answer.returned, 56u);
    EXPECT_EQ(answer.field(0, 8), 0x01DA'7C3E'5512'9F04u);
    EXPECT_EQ(answer.field(8, 8), 0x1'4000'0000u);
    EXPECT_EQ(answer.field(16, 8), 0x1'4000'0000u + 3 * 64);
    EXPECT_EQ(answer.field(24, 8), 0u);
    EXPECT_EQ(answer.field(32, 8), 0x7FFF'FFFF'FFFF'0000u);
    EXPECT_EQ(answer.field(40, 8), 0x200'0000u);
    EXPECT_EQ(answer.field(48, 8), 0x40'0000u);
    EXPECT_EQ(client.query(55).error, DWORD{ERROR_INSUFFICIENT_BUFFER});
}

TEST_F(VolumeControlTest, AVolumeWithoutAJournalSaysSo) {
    volume.delete_journal();
    EXPECT_EQ(client.query().error, DWORD{ERROR_JOURNAL_NOT_ACTIVE});
    EXPECT_EQ(client.read(0, identifier()).error, DWORD{ERROR_JOURNAL_NOT_ACTIVE});
    volume.create_journal();
    EXPECT_EQ(client.query().error, 0u);
}

TEST_F(VolumeControlTest, TheTableIsListedInRecordOrder) {
    volume.write(L"z\\b", "1");
    volume.write(L"a", "1");
    const std::vector<UsnRecordFields> records = client.list_all();
    ASSERT_EQ(records.size(), 4u);
    EXPECT_EQ(listed(), (Names{L".", L"z", L"b", L"a"}));
    EXPECT_TRUE(std::is_sorted(records.begin(), records.end(), [](const auto& a, const auto& b) {
        return record_number(a.reference) < record_number(b.reference);
    }));
    EXPECT_EQ(records[2].reference, volume.reference_of(L"z\\b"));
    EXPECT_EQ(records[2].parent, volume.reference_of(L"z"));
    EXPECT_EQ(records[2].usn, volume.usn_of(L"z\\b"));
    EXPECT_EQ(records[2].reason, 0u);
    EXPECT_EQ(records[2].time_stamp, 0u);
    EXPECT_EQ(records[2].attributes, DWORD{FILE_ATTRIBUTE_ARCHIVE});
    EXPECT_EQ(records[1].attributes & FILE_ATTRIBUTE_DIRECTORY, 0x10u);
}

TEST_F(VolumeControlTest, AListingEndsWithTheEndOfFile) {
    const VolumeAnswer first = client.list(0);
    EXPECT_EQ(first.error, 0u);
    EXPECT_EQ(first.next(), 24u);
    const VolumeAnswer second = client.list(first.next());
    EXPECT_EQ(second.error, DWORD{ERROR_HANDLE_EOF});
    EXPECT_EQ(second.returned, 0u);
}

TEST_F(VolumeControlTest, AListingStartsAtTheRequestedRecordWhateverItsSequenceNumber) {
    volume.write(L"a", "1");
    volume.write(L"b", "1");
    EXPECT_EQ(client.list(25).names(), (Names{L"b"}));
    EXPECT_EQ(client.list(make_reference(25, 9)).names(), (Names{L"b"}));
    EXPECT_EQ(client.list(26).error, DWORD{ERROR_HANDLE_EOF});
}

TEST_F(VolumeControlTest, AListingIsCutAtARecordByTheCallersBuffer) {
    for (const wchar_t* name : {L"a", L"b", L"c", L"d"})
        volume.write(name, "1");
    const VolumeAnswer answer = client.list(0, INT64_MAX, 8 + 3 * 64 + 63);
    EXPECT_EQ(answer.names(), (Names{L".", L"a", L"b"}));
    EXPECT_EQ(answer.returned, 8u + 3 * 64);
    EXPECT_EQ(answer.next(), 26u);
    EXPECT_EQ(listed(8 + 64), (Names{L".", L"a", L"b", L"c", L"d"}));
    EXPECT_EQ(client.list(0, INT64_MAX, 8 + 63).error, DWORD{ERROR_INSUFFICIENT_BUFFER});
    EXPECT_EQ(client.list(0, INT64_MAX, 7).error, DWORD{ERROR_INSUFFICIENT_BUFFER});
}

TEST_F(VolumeControlTest, RecordsThatChangedBeyondTheUpperBoundAreLeftOut) {
    volume.write(L"a", "1");
    volume.write(L"b", "1");
    const std::int64_t of_b = volume.usn_of(L"b");
    EXPECT_EQ(client.list(0, of_b).names(), (Names{L".", L"a", L"b"}));
    EXPECT_EQ(client.list(0, of_b - 1).names(), (Names{L".", L"a"}));
    volume.append(L"a", "2");
    EXPECT_EQ(client.list(0, of_b).names(), (Names{L".", L"b"}));
    EXPECT_EQ(client.list(0, INT64_MAX, 4096, of_b).names(), (Names{L"a", L"b"}));
    EXPECT_EQ(client.list(24, 0).error, DWORD{ERROR_HANDLE_EOF});
}

TEST_F(VolumeControlTest, ADeletedRecordIsNotListedAndAReusedOneHasANewReference) {
    volume.write(L"a", "1");
    volume.write(L"b", "1");
    volume.remove(L"a");
    EXPECT_EQ(listed(), (Names{L".", L"b"}));
    volume.write(L"c", "1");
    EXPECT_EQ(listed(), (Names{L".", L"c", L"b"}));
    EXPECT_EQ(client.list(24).records().at(0).reference, make_reference(24, 2));
}

TEST_F(VolumeControlTest, AHardLinkedFileIsListedOnceUnderItsOldestName) {
    volume.write(L"a", "1");
    volume.link(L"a", L"b");
    EXPECT_EQ(listed(), (Names{L".", L"a"}));
    volume.remove(L"a");
    EXPECT_EQ(listed(), (Names{L".", L"b"}));
}

TEST_F(VolumeControlTest, PlantedRecordsAreListedAtTheirNumbers) {
    volume.write(L"a", "1");
    UsnRecordFields record;
    record.reference = make_reference(24, 1);
    record.parent = root_reference;
    record.name = L"again";
    volume.plant_record(record);
    record.reference = make_reference(40, 1);
    record.name = L"later";
    volume.plant_record(record);
    EXPECT_EQ(listed(), (Names{L".", L"a", L"again", L"later"}));
    EXPECT_EQ(client.list(0).next(), 41u);
    volume.write(L"b", "1");
    EXPECT_EQ(volume.reference_of(L"b"), make_reference(25, 1));
}

TEST_F(VolumeControlTest, AnOrphansParentIsInNoRecord) {
    const std::uint64_t orphan = volume.plant_orphan(L"lost");
    const auto records = client.list(24).records();
    ASSERT_EQ(records.size(), 1u);
    EXPECT_EQ(records[0].reference, orphan);
    EXPECT_EQ(client.list(record_number(records[0].parent)).error, DWORD{ERROR_HANDLE_EOF});
}

TEST_F(VolumeControlTest, ALoopIsTwoFoldersInEachOther) {
    const auto [one, other] = volume.plant_loop(L"x", L"y");
    const std::uint64_t child = volume.plant_child(other, L"z");
    const auto records = client.list(24).records();
    ASSERT_EQ(records.size(), 3u);
    EXPECT_EQ(records[0].reference, one);
    EXPECT_EQ(records[0].parent, other);
    EXPECT_EQ(records[1].reference, other);
    EXPECT_EQ(records[1].parent, one);
    EXPECT_EQ(records[2].reference, child);
    EXPECT_EQ(records[2].parent, other);
}

TEST_F(VolumeControlTest, TheJournalIsReadFromAUsnOn) {
    volume.write(L"a", "1");
    const std::int64_t start = volume.journal().NextUsn;
    volume.rename(L"a", L"b");
    const VolumeAnswer answer = client.read(start, identifier());
    EXPECT_EQ(answer.records(), volume.journalled(start));
    EXPECT_EQ(answer.names(), (Names{L"a", L"b", L"b"}));
    EXPECT_EQ(answer.next(), static_cast<std::uint64_t>(volume.journal().NextUsn));
}

TEST_F(VolumeControlTest, RecordsAppendedByHandAreGivenUsnAndTime) {
    UsnRecordFields record;
    record.reference = make_reference(900, 1);
    record.usn = 5;
    record.name = L"x";
    const std::int64_t usn = volume.append_to_journal(record);
    EXPECT_EQ(usn, 0x1'4000'0000);
    EXPECT_EQ(client.read(usn, identifier()).records().at(0).usn, usn);
    EXPECT_EQ(client.read(usn, identifier()).records().at(0).reference, record.reference);
}

TEST_F(VolumeControlTest, APurgedStartIsRefused) {
    const std::int64_t start = volume.journal().NextUsn;
    volume.write(L"a", "1");
    volume.purge_journal();
    EXPECT_EQ(client.read(start, identifier()).error, DWORD{ERROR_JOURNAL_ENTRY_DELETED});
    EXPECT_EQ(volume.journal().FirstUsn, volume.journal().NextUsn);
}

TEST_F(VolumeControlTest, AnotherIdentifierIsRefused) {
    volume.write(L"a", "1");
    const std::uint64_t before = identifier();
    const std::int64_t start = volume.journal().FirstUsn;
    volume.restamp_journal();
    EXPECT_EQ(client.read(start, before).error, DWORD{ERROR_INVALID_PARAMETER});
    EXPECT_EQ(client.read(start, identifier()).error, 0u);
}

TEST_F(VolumeControlTest, ShortRequestsAndOtherCodesAreRefused) {
    char request[40] = {};
    EXPECT_EQ(client.control(FSCTL_ENUM_USN_DATA, request, 23, 64).error,
              DWORD{ERROR_INVALID_PARAMETER});
    EXPECT_EQ(client.control(FSCTL_READ_USN_JOURNAL, request, 39, 64).error,
              DWORD{ERROR_INVALID_PARAMETER});
    EXPECT_EQ(client.control(FSCTL_GET_COMPRESSION, request, 40, 64).error,
              DWORD{ERROR_INVALID_FUNCTION});
}

TEST_F(VolumeControlTest, RequestsAreNotedWithTheirFields) {
    volume.forget_calls();
    (void)client.list(7, 9, 100, 8);
    (void)client.read(16, identifier(), 200, 0x177, true);
    const VolumeCall table = volume.calls(Request::list_table).at(0);
    EXPECT_EQ(table.code, 0x000900B3u);
    EXPECT_EQ(table.table.StartFileReferenceNumber, 7u);
    EXPECT_EQ(table.table.LowUsn, 8);
    EXPECT_EQ(table.table.HighUsn, 9);
    EXPECT_EQ(table.input_size, 24u);
    EXPECT_EQ(table.output_size, 100u);
    EXPECT_EQ(table.error, DWORD{ERROR_HANDLE_EOF});
    const VolumeCall journal = volume.calls(Request::read_journal).at(0);
    EXPECT_EQ(journal.code, 0x000900BBu);
    EXPECT_EQ(journal.journal.StartUsn, 16);
    EXPECT_EQ(journal.journal.ReasonMask, 0x177u);
    EXPECT_EQ(journal.journal.ReturnOnlyOnClose, 1u);
    EXPECT_EQ(journal.journal.UsnJournalID, identifier());
    EXPECT_EQ(journal.input_size, 40u);
    EXPECT_EQ(journal.output_size, 200u);
}

TEST(VolumeControlSettingsTest, TheRootMayBeLeftOutOfTheTable) {
    TempTree tree;
    tree.file(L"a", "1");
    VolumeSettings settings;
    settings.lists_root = false;
    FakeVolume volume(tree, settings);
    EXPECT_EQ(VolumeClient().list(0).names(), (Names{L"a"}));
}

TEST(VolumeControlSettingsTest, ASmallJournalLosesItsOldestRecords) {
    TempTree tree;
    VolumeSettings settings;
    settings.journal.maximum_size = 8192;
    settings.journal.allocation_delta = 4096;
    FakeVolume volume(tree, settings);
    const std::int64_t start = volume.journal().NextUsn;
    for (int i = 0; i < 65; ++i)  // 192 bytes each
        volume.write(L"a", "1");
    EXPECT_EQ(volume.journal().FirstUsn, start + 8192);
    EXPECT_EQ(VolumeClient().read(start, volume.journal().UsnJournalID).error,
              DWORD{ERROR_JOURNAL_ENTRY_DELETED});
}

}  // namespace
}  // namespace larkspine::testing
