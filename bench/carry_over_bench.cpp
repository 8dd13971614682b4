// What does carrying identities and digests over from the last run cost?
//
// Snapshots of made_snapshot.h, seed 1, with paths of 80 code units: the loaded one has identities
// and digests, the fresh one is as a walk leaves it. A query of a file's identity is answered at
// once. SIZE is the number of entries.
//
// carry-over      the same files in the same order; beside: a map of all entries by path, and one
//                 by identity from the first path that is not found; both are made in each round
//                 and searched for each file
// carry-over-1    one file in a hundred has another name
// carry-over-all  every folder has another name, so each file is found by its identity
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "base/file_identity.h"
#include "base/fnv1a.h"
#include "base/path_forms.h"
#include "fs/digest_carry_over.h"
#include "made_snapshot.h"
#include "rounds.h"

namespace {

using namespace larkspine;
using namespace larkspine::bench;
using detail::FileCandidate;
using detail::IdentityAnswer;
using detail::IndexSnapshot;

using Entries = std::vector<FileCandidate>;

// The identity that made_snapshot gave the file at that place.
struct Identify {
    const Entries& fresh;
    IdentityAnswer operator()(FileCandidate& entry) const {
        fill_identity(entry, static_cast<std::size_t>(&entry - fresh.data()));
        return IdentityAnswer::read;
    }
};

struct ComparisonHash {
    std::size_t operator()(const ComparisonForm& path) const noexcept {
        std::uint64_t hash = fnv1a_offset_basis;
        for (std::size_t i = 0; i < path.size(); ++i)
            hash = (hash ^ static_cast<std::uint16_t>(path.at(i))) * fnv1a_prime;
        return hash;
    }
};

// No two entries here have the same comparison form, so a map with one entry a path is enough.
using PathMap = std::unordered_map<ComparisonForm, const FileCandidate*, ComparisonHash>;
using IdentityMap =
    std::unordered_map<detail::FileIdentity, const FileCandidate*, detail::FileIdentityHash>;

// As carry_over_digests does it, so that the two ways differ only in how they find an entry.
void inherit(FileCandidate& entry, const FileCandidate& previous) {
    if (entry.size != previous.size || entry.creation_time != previous.creation_time ||
        entry.last_write_time != previous.last_write_time)
        return;
    entry.volume_serial = previous.volume_serial;
    entry.file_id = previous.file_id;
    entry.has_file_id = previous.has_file_id;
    entry.sample_digest = previous.sample_digest;
    entry.full_digest = previous.full_digest;
    entry.has_sample_digest = previous.has_sample_digest;
    entry.has_full_digest = previous.has_full_digest;
}

void carry_over_by_maps(Entries& fresh, const IndexSnapshot& loaded) {
    PathMap by_path;
    by_path.reserve(loaded.entries.size());
    for (const FileCandidate& entry : loaded.entries)
        require(by_path.emplace(ComparisonForm(entry.path), &entry).second, "one entry a path");
    std::optional<IdentityMap> by_identity;
    const Identify identify{fresh};
    for (FileCandidate& entry : fresh) {
        const auto known = by_path.find(ComparisonForm(entry.path));
        if (known != by_path.end()) {
            inherit(entry, *known->second);
            continue;
        }
        if (identify(entry) != IdentityAnswer::read)
            continue;
        if (!by_identity) {
            by_identity.emplace();
            for (const FileCandidate& one : loaded.entries)
                by_identity->emplace(identity_of(one), &one);
        }
        const auto same_file = by_identity->find(identity_of(entry));
        if (same_file != by_identity->end())
            inherit(entry, *same_file->second);
    }
}

Entries as_walked(const IndexSnapshot& loaded) {
    Entries fresh = loaded.entries;
    for (FileCandidate& entry : fresh) {
        entry.file_id = {};
        entry.volume_serial = 0;
        entry.has_file_id = entry.has_sample_digest = entry.has_full_digest = false;
        entry.sample_digest = entry.full_digest = {};
    }
    return fresh;
}

bool all_inherited(const Entries& fresh) {
    for (const FileCandidate& entry : fresh)
        if (!entry.has_full_digest || !entry.has_file_id)
            return false;
    return true;
}

Ask ask(std::shared_ptr<const IndexSnapshot> loaded, Entries walked) {
    auto fresh = std::make_shared<Entries>();
    return [loaded, fresh, walked = std::make_shared<const Entries>(std::move(walked))] {
        Round round;
        *fresh = *walked;
        round.ours = seconds_for([&] { carry_over_digests(*fresh, *loaded, Identify{*fresh}); });
        require(all_inherited(*fresh), "carrying over");
        *fresh = *walked;
        round.beside = seconds_for([&] { carry_over_by_maps(*fresh, *loaded); });
        require(all_inherited(*fresh), "carrying over by maps");
        return round;
    };
}

Ask unchanged(std::uint64_t size) {
    auto loaded = std::make_shared<const IndexSnapshot>(made_snapshot(size));
    return ask(loaded, as_walked(*loaded));
}

Ask one_in_a_hundred(std::uint64_t size) {
    auto loaded = std::make_shared<const IndexSnapshot>(made_snapshot(size));
    Entries walked = as_walked(*loaded);
    for (std::size_t i = 50; i < walked.size(); i += 100)
        walked[i].path.back() = L'X';
    return ask(loaded, std::move(walked));
}

Ask everything(std::uint64_t size) {
    auto loaded = std::make_shared<const IndexSnapshot>(made_snapshot(size));
    Entries walked = as_walked(*loaded);
    for (FileCandidate& entry : walked)
        entry.path[entry.path.rfind(L'\\') - 1] = L'X';
    return ask(loaded, std::move(walked));
}

constexpr Row rows[] = {{L"carry-over", unchanged},
                        {L"carry-over-1", one_in_a_hundred},
                        {L"carry-over-all", everything}};

}  // namespace

int wmain(int count, wchar_t** arguments) {
    return answer(count, arguments, rows);
}
