// Files that change while they are scanned. A scan makes calls for a file and for the folders and
// the volume that hold it; before each of these calls in turn the file is changed once. At every
// moment this holds:
//   - no group is reported that was never a group;
//   - a file that drops out is counted;
//   - the next scan, undisturbed, is right, and no digest in its index is another file's or an
//     earlier state's.
#include "base/win32_api.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <gtest/gtest.h>
#include <map>
#include <ostream>
#include <set>
#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "base/win32_handle.h"
#include "support/import_replacement.h"
#include "support/scanned_volume.h"

namespace larkspine::testing {
namespace {

enum class Change : std::uint8_t {
    rewritten,   // with other bytes, of the same size
    made_equal,  // to the files of another group of the same size
    longer,
    shorter,
    emptied,
    removed,
    renamed,
    replaced,  // by a file that another program made beside it
    made_a_folder,
    swapped,  // with another file of the same size
    locked,
};
constexpr Change every_change[] = {Change::rewritten,     Change::made_equal, Change::longer,
                                   Change::shorter,       Change::emptied,    Change::removed,
                                   Change::renamed,       Change::replaced,   Change::swapped,
                                   Change::made_a_folder, Change::locked};

struct Case {
    const char* name;
    Way way;
    bool with_index;
    bool verify_bytes;
    const wchar_t* victim;
    const wchar_t* other;  // of the same size, in another group
};
void PrintTo(const Case& tested, std::ostream* out) {
    *out << tested.name;
}

using Contents = std::map<std::wstring, std::string>;

const Contents small_files = {
    {L"a", "same"}, {L"b", "same"}, {L"f\\c", "same"}, {L"d", "SAME"}, {L"f\\e", "SAME"}};
// Sampled at their ends, which are the same.
const Contents large_files = {{L"large", patterned_bytes(140'000)},
                              {L"f\\large", patterned_bytes(140'000)},
                              {L"near", patterned_bytes(140'000, 70'000)},
                              {L"f\\near", patterned_bytes(140'000, 70'000)}};

class ChangesDuringScanTest : public ScannedVolumeTest, public ::testing::WithParamInterface<Case> {
  protected:
    ChangesDuringScanTest() {
        options.workers = 1;  // so that the calls come in one order
        options.verify_bytes = GetParam().verify_bytes;
        if (GetParam().way == Way::walk)
            volume.set_file_system(L"FAT32");
        make_files();
        (void)run(IndexMode::rebuild);
    }

    // Also restores everything after a change: the same files, all written anew.
    void make_files() {
        for (const std::wstring& file : volume.files())
            if (!base.contains(file))
                volume.remove(file);
        const std::vector<std::wstring> folders = volume.folders();
        if (std::find(folders.begin(), folders.end(), GetParam().victim) != folders.end())
            volume.remove(GetParam().victim);
        for (const auto& [file, contents] : base) {
            volume.write(file, contents);
            // No two states share a write time: the clock of NTFS is fine enough to tell them
            // apart.
            volume.set_write_time(file, ++time);
        }
    }

    void happen(Change change) {
        const std::wstring victim = GetParam().victim;
        const std::string contents = base.at(victim);
        const std::size_t size = contents.size();
        switch (change) {
            case Change::rewritten:
                return volume.overwrite(victim, size / 2, "!");
            case Change::made_equal:
                return volume.write(victim, base.at(GetParam().other));
            case Change::longer:
                return volume.append(victim, "more");
            case Change::shorter:
                return volume.truncate(victim, size / 2);
            case Change::emptied:
                return volume.truncate(victim, 0);
            case Change::removed:
                return volume.remove(victim);
            case Change::renamed:
                return volume.rename(victim, L"zz");
            case Change::replaced:
                volume.write(L"made beside", base.at(GetParam().other));
                return volume.rename(L"made beside", victim);
            case Change::made_a_folder:
                volume.remove(victim);
                return volume.make_folder(victim);
            case Change::swapped:
                volume.rename(victim, L"zz");
                volume.rename(GetParam().other, victim);
                return volume.rename(L"zz", GetParam().other);
            case Change::locked:
                lock = own_handle(real_imports().CreateFileW(volume.real_path(victim).c_str(),
                                                             GENERIC_READ, 0, nullptr,
                                                             OPEN_EXISTING, 0, nullptr));
        }
    }
    // The system may refuse the change: the scan may hold that file open.
    void try_to(Change change) {
        try {
            happen(change);
        } catch (const std::runtime_error&) {
            ++refused;
        }
    }

    ScanResult scan_as_told() {
        return run(GetParam().with_index ? IndexMode::use : IndexMode::rebuild);
    }

    // The calls that reveal something about the victim, counted by kind and path.
    std::map<std::pair<Request, std::wstring>, std::size_t> telling_calls() {
        (void)scan_as_told();
        std::map<std::pair<Request, std::wstring>, std::size_t> found;
        for (const VolumeCall& call : volume.calls()) {
            const bool of_folder = call.request == Request::list_folder || call.path.empty();
            if (of_folder || call.path == GetParam().victim)
                ++found[{call.request, call.path}];
        }
        return found;
    }

    // The contents that each file may have had when it was read.
    [[nodiscard]] std::map<std::wstring, std::set<std::string>> possible() const {
        std::map<std::wstring, std::set<std::string>> found;
        for (const auto& [file, contents] : base)
            found[volume.path(file).substr(4)].insert(contents);
        for (const std::wstring& file : volume.files())
            found[volume.path(file).substr(4)].insert(read_file(volume.path(file)));
        return found;
    }

    void expect_possible(const ScanResult& result) const {
        const auto held = possible();
        for (const std::vector<std::wstring>& group : groups_of(result)) {
            std::set<std::string> common = held.at(group.front());
            for (const std::wstring& path : group)
                std::erase_if(common, [&](const std::string& contents) {
                    return !held.at(path).contains(contents);
                });
            EXPECT_FALSE(common.empty()) << ::testing::PrintToString(group);
        }
    }

    // A victim that was listed as a file and is in no reported group counts as one failure.
    void expect_counted(const ScanResult& result) const {
        const std::wstring victim = volume.path(GetParam().victim);
        for (const std::vector<std::wstring>& group : groups_of(result))
            if (std::find(group.begin(), group.end(), victim.substr(4)) != group.end())
                return;
        const detail::IndexSnapshot index = stored();
        const bool listed = std::any_of(
            index.entries.begin(), index.entries.end(), [&](const detail::FileCandidate& entry) {
                return entry.path == victim && (entry.attributes & FILE_ATTRIBUTE_DIRECTORY) == 0;
            });
        if (listed) {
            EXPECT_EQ(result.failures, 1u);
        }
    }

    void expect_right_in_quiet() {
        const ScanResult result = run();
        EXPECT_EQ(result.failures, 0u);
        EXPECT_EQ(groups_of(result), expected());
        EXPECT_EQ(result.statistics.files, volume.files().size());
        checked_digests += expect_stored_digests_right();
    }

    void go_through(Change change, const Fault& moment) {
        SCOPED_TRACE("change " + std::to_string(static_cast<int>(change)) + " before call " +
                     std::to_string(moment.call) + " of kind " +
                     std::to_string(static_cast<int>(moment.request)));
        make_files();
        volume.plant(moment);
        const ScanResult result = scan_as_told();
        lock.reset();
        EXPECT_EQ(volume.faults_left(), 0u);
        EXPECT_EQ(way_of(result), GetParam().way);
        expect_possible(result);
        if (!options.verify_bytes && (change == Change::removed || change == Change::locked))
            expect_counted(result);
        expect_right_in_quiet();
        ++cases;
    }

    void go_through_every_call() {
        make_files();
        for (const auto& [what, count] : telling_calls())
            for (std::size_t call = 0; call < count && !HasFailure(); ++call)
                for (const Change change : every_change) {
                    // Table and delta know files by their references. A file that is read by its
                    // name while another file has that name keeps the other's digest: see
                    // docs/limits.md.
                    if (change == Change::swapped && GetParam().way != Way::walk)
                        continue;
                    Fault moment = doing_at(what.first, what.second, [&] { try_to(change); });
                    moment.call = call;
                    go_through(change, moment);
                }
        EXPECT_GE(cases, 5 * std::size(every_change));
        EXPECT_GT(checked_digests, cases);
        EXPECT_LT(refused * 4, cases) << "most changes happened";
    }

    const Contents base = std::wstring_view(GetParam().victim) == L"b" ? small_files : large_files;
    unique_handle lock;
    std::uint64_t time = 0x01DA'0000'0000'0000;
    std::size_t cases = 0;
    std::size_t refused = 0;
    std::size_t checked_digests = 0;
};

TEST_P(ChangesDuringScanTest, AChangeBeforeAnyCallMakesNoWrongGroupAndTheNextScanIsRight) {
    go_through_every_call();
}

INSTANTIATE_TEST_SUITE_P(
    Ways, ChangesDuringScanTest,
    ::testing::Values(Case{"Walk", Way::walk, false, false, L"b", L"d"},
                      Case{"WalkComparingBytes", Way::walk, false, true, L"large", L"near"},
                      Case{"WalkWithIndex", Way::walk, true, false, L"large", L"near"},
                      Case{"Table", Way::table, false, false, L"large", L"near"},
                      Case{"Delta", Way::delta, true, false, L"b", L"d"},
                      Case{"DeltaComparingBytes", Way::delta, true, true, L"b", L"d"}),
    [](const auto& tested) { return std::string(tested.param.name); });

}  // namespace
}  // namespace larkspine::testing
