#include "support/planted_faults.h"

#include <gtest/gtest.h>
#include <map>
#include <ostream>

#include "fs/volume.h"
#include "support/fake_volume.h"
#include "support/volume_client.h"

namespace larkspine::testing {
namespace {

using Names = std::vector<std::wstring>;

// Three records of 64 bytes in the table (the root and two files), six in the journal.
class PlantedFaultsTest : public ::testing::Test {
  protected:
    PlantedFaultsTest() {
        volume.write(L"a", "1");
        volume.write(L"b", "1");
        volume.forget_calls();
    }

    VolumeAnswer read() {
        return client.read(volume.journal().FirstUsn, volume.journal().UsnJournalID);
    }

    TempTree tree;
    FakeVolume volume{tree};
    VolumeClient client;
};

TEST_F(PlantedFaultsTest, TheNthCallFromThePlantingFailsAndNoOther) {
    (void)client.list(0);
    volume.plant(failing(Request::list_table, 1, ERROR_IO_DEVICE));
    EXPECT_EQ(client.list(0).error, 0u);
    EXPECT_EQ(read().error, 0u);
    EXPECT_EQ(volume.faults_left(), 1u);
    const VolumeAnswer failed = client.list(0);
    EXPECT_EQ(failed.error, DWORD{ERROR_IO_DEVICE});
    EXPECT_EQ(failed.returned, 0u);
    EXPECT_EQ(volume.faults_left(), 0u);
    EXPECT_EQ(client.list(0).error, 0u);
    EXPECT_EQ(volume.calls(Request::list_table).at(2).error, DWORD{ERROR_IO_DEVICE});
}

TEST_F(PlantedFaultsTest, EveryCallMayFailUntilTheFaultsAreCleared) {
    volume.plant(failing(Request::query_journal, every_call, ERROR_JOURNAL_DELETE_IN_PROGRESS));
    for (int i = 0; i < 3; ++i)
        EXPECT_EQ(client.query().error, DWORD{ERROR_JOURNAL_DELETE_IN_PROGRESS});
    volume.clear_faults();
    EXPECT_EQ(client.query().error, 0u);
}

TEST_F(PlantedFaultsTest, EveryKindOfCallCanFail) {
    volume.plant(failing(Request::open_volume, 0, ERROR_ACCESS_DENIED));
    EXPECT_FALSE(VolumeClient().opened());
    EXPECT_EQ(GetLastError(), DWORD{ERROR_ACCESS_DENIED});
    volume.plant(failing(Request::volume_information, 0, ERROR_NOT_READY));
    EXPECT_FALSE(is_ntfs_drive_root(volume.root()));
    EXPECT_EQ(GetLastError(), DWORD{ERROR_NOT_READY});
    volume.plant(failing(Request::open_file, 0, ERROR_SHARING_VIOLATION));
    EXPECT_EQ(file_reference_of(volume.root()), std::nullopt);
    volume.plant(failing(Request::identify_file, 0, ERROR_NOT_SUPPORTED));
    EXPECT_EQ(file_reference_of(volume.root()), std::nullopt);
    volume.plant(failing(Request::read_file, 0, ERROR_CRC));
    EXPECT_THROW((void)read_file(volume.path(L"a")), std::runtime_error);
    volume.plant(failing(Request::list_folder, 0, ERROR_ACCESS_DENIED));
    WIN32_FIND_DATAW found = {};
    EXPECT_EQ(FindFirstFileExW((volume.root() + L"*").c_str(), FindExInfoBasic, &found,
                               FindExSearchNameMatch, nullptr, 0),
              INVALID_HANDLE_VALUE);
    EXPECT_EQ(GetLastError(), DWORD{ERROR_ACCESS_DENIED});
    EXPECT_EQ(volume.faults_left(), 0u);
    EXPECT_EQ(volume.open_handles(), 1u);
}

TEST_F(PlantedFaultsTest, CallsForOnePathFailAndThoseForOthersDoNot) {
    volume.plant(failing_at(Request::query_attributes, L"a", ERROR_ACCESS_DENIED));
    EXPECT_TRUE(file_exists(volume.path(L"b")));
    EXPECT_FALSE(file_exists(volume.path(L"a")));
    EXPECT_FALSE(file_exists(volume.path(L"a")));
    EXPECT_TRUE(file_exists(volume.real_path(L"a")));
}

TEST_F(PlantedFaultsTest, AnAnswerMayClaimAnyNumberOfBytes) {
    for (const DWORD bytes : {0u, 1u, 7u, 8u, 65'537u, 1'048'577u, 0xFFFF'FFFFu}) {
        volume.plant(claiming(Request::list_table, 0, bytes));
        volume.plant(claiming(Request::read_journal, 0, bytes));
        EXPECT_EQ(client.list(0).returned, bytes);
        EXPECT_EQ(read().returned, bytes);
    }
    volume.plant(claiming(Request::query_journal, 0, 55));
    EXPECT_FALSE(query_usn_journal(client.handle()).has_value());
    EXPECT_TRUE(query_usn_journal(client.handle()).has_value());
}

TEST_F(PlantedFaultsTest, ThePlaceToGoOnMayStayFallOrBeAnything) {
    const auto first = static_cast<std::uint64_t>(volume.journal().FirstUsn);
    volume.plant(not_rising(Request::list_table, 0));
    EXPECT_EQ(client.list(24).next(), 24u);
    volume.plant(falling(Request::list_table, 0));
    EXPECT_EQ(client.list(24).next(), 16u);
    volume.plant(falling(Request::list_table, 0));
    EXPECT_EQ(client.list(0).next(), 0u);
    volume.plant(not_rising(Request::read_journal, 0));
    EXPECT_EQ(read().next(), first);
    volume.plant(falling(Request::read_journal, 0));
    EXPECT_EQ(read().next(), first - 8);
    volume.plant(going_on_at(Request::read_journal, 0, UINT64_MAX));
    EXPECT_EQ(read().next(), UINT64_MAX);
    EXPECT_EQ(read().names().size(), 6u);
}

// What each damage leaves in the record: length, version, length and offset of the name. The record
// has 64 bytes, the name 2 at 60.
struct Damaged {
    std::uint64_t length = 64;
    std::uint64_t version = 2;
    std::uint64_t name_length = 2;
    std::uint64_t name_offset = 60;

    friend bool operator==(const Damaged&, const Damaged&) = default;
};
void PrintTo(const Damaged& damaged, std::ostream* out) {
    *out << damaged.length << ' ' << damaged.version << ' ' << damaged.name_length << ' '
         << damaged.name_offset;
}

TEST_F(PlantedFaultsTest, EveryDamageChangesItsFieldAlone) {
    const std::map<RecordDamage, Damaged> expected = {
        {RecordDamage::version_1, {.version = 1}},
        {RecordDamage::version_3, {.version = 3}},
        {RecordDamage::length_zero, {.length = 0}},
        {RecordDamage::length_7, {.length = 7}},
        {RecordDamage::length_8, {.length = 8}},
        {RecordDamage::length_56, {.length = 56}},
        {RecordDamage::length_59, {.length = 59}},
        {RecordDamage::length_beyond_output, {.length = 2 * 64 + 8}},
        {RecordDamage::length_huge, {.length = 0xFFFF'FFFF}},
        {RecordDamage::odd_name_length, {.name_length = 1}},
        {RecordDamage::odd_name_offset, {.name_offset = 61}},
        {RecordDamage::name_offset_58, {.name_offset = 58}},
        {RecordDamage::name_offset_zero, {.name_offset = 0}},
        {RecordDamage::name_offset_beyond_record, {.name_offset = 66}},
        {RecordDamage::name_beyond_record, {.name_length = 6}},
        {RecordDamage::name_length_huge, {.name_length = 0xFFFE}},
    };
    ASSERT_EQ(every_record_damage().size(), expected.size());
    const VolumeAnswer sound = client.list(0);
    for (const RecordDamage damage : every_record_damage()) {
        volume.plant(damaging(Request::list_table, 0, damage, 1));
        VolumeAnswer answer = client.list(0);
        const std::size_t at = 8 + 64;
        EXPECT_EQ((Damaged{answer.field(at, 4), answer.field(at + 4, 2), answer.field(at + 56, 2),
                           answer.field(at + 58, 2)}),
                  expected.at(damage));
        EXPECT_EQ(answer.returned, sound.returned);
        for (const std::size_t field : {0, 1, 2, 3, 4, 5, 56, 57, 58, 59})
            answer.bytes[at + field] = sound.bytes[at + field];
        EXPECT_EQ(answer.bytes, sound.bytes) << static_cast<int>(damage);
    }
    EXPECT_EQ(volume.faults_left(), 0u);
}

TEST_F(PlantedFaultsTest, TheLastRecordOfAnAnswerCanBeDamaged) {
    volume.plant(damaging(Request::read_journal, 0, RecordDamage::version_3, last_record));
    const VolumeAnswer answer = read();
    EXPECT_EQ(answer.field(8 + 4, 2), 2u);
    EXPECT_EQ(answer.field(8 + 5 * 64 + 4, 2), 3u);
    volume.plant(damaging(Request::list_table, 0, RecordDamage::length_beyond_output, last_record));
    EXPECT_EQ(client.list(0).field(8 + 2 * 64, 4), 64u + 8);
}

TEST_F(PlantedFaultsTest, AFaultThatHadNothingToChangeIsLeft) {
    volume.plant(damaging(Request::list_table, 0, RecordDamage::length_zero, 3));
    EXPECT_EQ(client.list(0).names(), (Names{L".", L"a", L"b"}));
    EXPECT_EQ(volume.faults_left(), 1u);
    volume.plant(claiming(Request::list_table, 0, 7));
    EXPECT_EQ(client.list(26).error, DWORD{ERROR_HANDLE_EOF});
    EXPECT_EQ(volume.faults_left(), 2u);
}

TEST_F(PlantedFaultsTest, SomethingMayHappenToTheVolumeBeforeACallIsAnswered) {
    volume.plant(doing(Request::list_table, 1, [this] { volume.rename(L"a", L"c"); }));
    EXPECT_EQ(client.list(0).names(), (Names{L".", L"a", L"b"}));
    EXPECT_EQ(client.list(0).names(), (Names{L".", L"c", L"b"}));
    EXPECT_EQ(client.list(0).names(), (Names{L".", L"c", L"b"}));
    EXPECT_EQ(volume.faults_left(), 0u);
}

TEST_F(PlantedFaultsTest, AFileVanishesWhenItsAttributesAreAskedFor) {
    volume.plant_vanishing(L"a");
    EXPECT_EQ(client.list(0).names(), (Names{L".", L"a", L"b"}));
    EXPECT_FALSE(file_exists(volume.path(L"a")));
    EXPECT_EQ(volume.calls(Request::query_attributes).at(0).error, DWORD{ERROR_FILE_NOT_FOUND});
    EXPECT_EQ(volume.files(), (Names{L"b"}));
    EXPECT_EQ(volume.journalled().back().reason, 0x80000200u);
}

TEST_F(PlantedFaultsTest, AFileBecomesAFolderWhenItsAttributesAreAskedFor) {
    const std::uint64_t file = volume.reference_of(L"a");
    volume.plant_becoming_a_folder(L"a");
    EXPECT_EQ(GetFileAttributesW(volume.path(L"a").c_str()) & FILE_ATTRIBUTE_DIRECTORY, 0x10u);
    EXPECT_EQ(volume.folders(), (Names{L"a"}));
    EXPECT_EQ(volume.reference_of(L"a"), file + make_reference(0, 1));
    EXPECT_EQ(volume.faults_left(), 0u);
}

}  // namespace
}  // namespace larkspine::testing
