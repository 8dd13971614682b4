// Chains of folders that are too deep for one lookup. Which folders are found depends on the order
// in which the records are visited, because each path that is found shortens later lookups.
#include "base/win32_api.h"

#include <algorithm>
#include <cstdint>
#include <gtest/gtest.h>
#include <map>
#include <numeric>
#include <optional>
#include <random>
#include <string>
#include <utility>
#include <vector>

#include "base/win32_handle.h"
#include "fs/volume.h"
#include "support/enumerated_volume.h"

namespace larkspine::testing {
namespace {

using detail::enumerate_usn_records;
using detail::MftRecord;
using detail::MftRecordMap;

constexpr std::size_t chain_length = 300;

class MftChainOrderTest : public EnumeratedVolumeTest {
  protected:
    // Folders inside each other, the first in the root, with these record numbers.
    void plant_chain(const std::vector<std::uint64_t>& numbers) {
        std::uint64_t parent = root_reference;
        for (const std::uint64_t number : numbers) {
            UsnRecordFields folder;
            folder.reference = make_reference(number, 1);
            folder.parent = std::exchange(parent, folder.reference);
            folder.attributes = FILE_ATTRIBUTE_DIRECTORY;
            folder.name = L"d" + std::to_wstring(number);
            volume.plant_record(folder);
        }
    }
    static std::vector<std::uint64_t> numbers_from(std::uint64_t first, std::size_t count) {
        std::vector<std::uint64_t> numbers(count);
        std::iota(numbers.begin(), numbers.end(), first);
        return numbers;
    }

    // The rule in its plainest form: the records are visited in the order of the map, a lookup
    // follows up to 257 records that have no path yet, and every path that is found is kept.
    struct Rule {
        const std::wstring& root;
        const MftRecordMap& records;
        std::map<std::uint64_t, std::wstring> known{{root_reference, root}};

        std::optional<std::wstring> path_of(std::uint64_t reference, int depth = 0) {
            if (known.contains(reference))
                return known.at(reference);
            if (depth > 256 || !records.contains(reference))
                return std::nullopt;
            const MftRecord& record = records.at(reference);
            const auto parent = path_of(record.parent_reference, depth + 1);
            if (!parent)
                return std::nullopt;
            return known[reference] =
                       *parent + (parent->back() == L'\\' ? L"" : L"\\") + record.name;
        }
    };

    struct Found {
        Paths paths;
        std::uint64_t failures = 0;
        friend bool operator==(const Found&, const Found&) = default;
    };

    Found by_the_rule() {
        const unique_handle device = own_handle(open_volume(volume.root()));
        const auto journal = query_usn_journal(device.get());
        MftRecordMap records;
        EXPECT_TRUE(enumerate_usn_records(device.get(), journal.value(), records, progress));
        const std::wstring root = volume.root();
        Rule rule{root, records};
        Found found;
        for (const auto& [reference, record] : records) {
            const auto path = rule.path_of(reference);
            if (!path)
                ++found.failures;
            else
                found.paths.push_back(path->substr(root.size()));
        }
        std::sort(found.paths.begin(), found.paths.end());
        return found;
    }
};

TEST_F(MftChainOrderTest, EachRecordIsFollowedInTheOrderOfTheMap) {
    constexpr std::uint32_t chains = 12;
    for (std::uint32_t seed = 1; seed <= chains; ++seed) {
        std::vector<std::uint64_t> numbers = numbers_from(chain_length * (seed + 1), chain_length);
        std::shuffle(numbers.begin(), numbers.end(), std::minstd_rand(seed));
        plant_chain(numbers);
    }
    const Found expected = by_the_rule();
    ASSERT_TRUE(enumerate());
    EXPECT_EQ((Found{paths(), statistics.failures}), expected);
    // A chain that is first visited in its middle is found whole; one that is first visited at its
    // end is not.
    const auto lost = expected.failures;
    EXPECT_GT(lost, 0u);
    EXPECT_LT(lost, chains * (chain_length - 257));
}

// The chain is first visited at its end, before any folder above has its path.
TEST_F(MftChainOrderTest, AChainOf258FoldersVisitedFromItsEndLosesOneFolder) {
    constexpr std::uint64_t first = 1000;
    MftRecordMap met;
    met[root_reference];
    for (const std::uint64_t number : numbers_from(first, 258))
        met[make_reference(number, 1)];
    std::vector<std::uint64_t> numbers;
    for (const auto& [reference, record] : met)
        if (reference != root_reference)
            numbers.push_back(record_number(reference));
    std::reverse(numbers.begin(), numbers.end());
    plant_chain(numbers);
    const Found expected = by_the_rule();
    ASSERT_EQ(expected.failures, 1u);
    ASSERT_TRUE(enumerate());
    EXPECT_EQ((Found{paths(), statistics.failures}), expected);
}

}  // namespace
}  // namespace larkspine::testing
