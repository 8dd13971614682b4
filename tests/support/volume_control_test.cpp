// The answers of a fake volume to control codes.
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

TEST_F(VolumeControlTest, WithoutAJournalQueriesAndReadsFailAsNotActive) {
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

TEST_F(VolumeControlTest, ASmallBufferCutsAListingBetweenRecords) {
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

TEST_F(VolumeControlTest, RecordsWhoseUsnIsOutsideTheBoundsAreLeftOut) {
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

TEST_F(VolumeControlTest, TheJournalIsReadFromTheRequestedUsn) {
    volume.write(L"a", "1");
    const std::int64_t start = volume.journal().NextUsn;
    volume.rename(L"a", L"b");
    const VolumeAnswer answer = client.read(start, identifier());
    EXPECT_EQ(answer.records(), volume.journalled(start));
    EXPECT_EQ(answer.names(), (Names{L"a", L"b", L"b"}));
    EXPECT_EQ(answer.next(), static_cast<std::uint64_t>(volume.journal().NextUsn));
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

TEST(VolumeControlSettingsTest, TheRootMayBeLeftOutOfTheTable) {
    TempTree tree;
    tree.file(L"a", "1");
    VolumeSettings settings;
    settings.lists_root = false;
    FakeVolume volume(tree, settings);
    EXPECT_EQ(VolumeClient().list(0).names(), (Names{L"a"}));
}

}  // namespace
}  // namespace larkspine::testing
