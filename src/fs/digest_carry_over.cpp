#include "fs/digest_carry_over.h"

#include "base/file_identity.h"
#include "fs/previous_entries.h"

namespace larkspine::detail {
namespace {

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

}  // namespace

void carry_over_digests(std::vector<FileCandidate>& fresh_entries,
                        const IndexSnapshot& loaded_snapshot,
                        const std::function<IdentityAnswer(FileCandidate&)>& identify) {
    PreviousEntries previous(loaded_snapshot.entries);
    for (FileCandidate& entry : fresh_entries) {
        const FileCandidate* before = previous.at(entry.path);
        if (before == nullptr && identify(entry) == IdentityAnswer::read)
            before = previous.of_file(identity_of(entry));
        if (before != nullptr)
            inherit(entry, *before);
    }
}

}  // namespace larkspine::detail
