// What every run guarantees its user, whatever fails.
#include <algorithm>
#include <cstddef>
#include <span>

#include "app/run.h"
#include "app/run_fixture.h"
#include "app/run_sweep.h"
#include "index/index_file.h"
#include "index/index_format.h"
#include "support/real_files.h"

namespace larkspine::testing {
namespace {

std::string utf8(const wchar_t* text) {
    std::string bytes;
    for (; *text != L'\0'; ++text) {
        const auto unit = static_cast<unsigned>(*text);
        if (unit < 0x80) {
            bytes += static_cast<char>(unit);
        } else if (unit < 0x800) {
            bytes += static_cast<char>(0xC0 | (unit >> 6));
            bytes += static_cast<char>(0x80 | (unit & 0x3F));
        } else {
            bytes += static_cast<char>(0xE0 | (unit >> 12));
            bytes += static_cast<char>(0x80 | ((unit >> 6) & 0x3F));
            bytes += static_cast<char>(0x80 | (unit & 0x3F));
        }
    }
    return bytes;
}

// Calls whose failure may cost the summary itself, but nothing else.
bool carries_the_summary(std::string_view call) {
    return call == "WriteFile fails" || call == "WriteFile writes nothing" ||
           call.starts_with("GetStdHandle") || call.starts_with("WideCharToMultiByte") ||
           call == "WriteConsoleW fails" || call == "WriteConsoleW writes nothing";
}

// The groups with their first empty path, if any, replaced by the path that `truth` has there.
PathGroups with_path_filled_in(PathGroups found, const PathGroups& truth) {
    for (std::size_t i = 0; i < found.size() && i < truth.size(); ++i)
        for (std::size_t j = 0; j < found[i].size() && j < truth[i].size(); ++j)
            if (found[i][j].empty()) {
                found[i][j] = truth[i][j];
                return found;
            }
    return found;
}

// Whether every group of `found` is part of a group of `whole`. The paths of each are sorted.
bool is_part_of(const PathGroups& found, const PathGroups& whole) {
    return std::all_of(found.begin(), found.end(), [&](const auto& group) {
        return group.size() >= 2 && std::any_of(whole.begin(), whole.end(), [&](const auto& other) {
                   return std::includes(other.begin(), other.end(), group.begin(), group.end());
               });
    });
}

void check_entry(const detail::FileCandidate& entry, const detail::FileCandidate& complete) {
    EXPECT_EQ(entry.size, complete.size);
    EXPECT_EQ(entry.creation_time, complete.creation_time);
    EXPECT_EQ(entry.last_write_time, complete.last_write_time);
    EXPECT_EQ(entry.attributes & detail::attribute_directory,
              complete.attributes & detail::attribute_directory);
    if (entry.has_file_id && complete.has_file_id) {
        EXPECT_EQ(entry.file_id, complete.file_id);
    }
    if (entry.has_sample_digest && complete.has_sample_digest) {
        EXPECT_EQ(entry.sample_digest, complete.sample_digest);
    }
    if (entry.has_full_digest && complete.has_full_digest) {
        EXPECT_EQ(entry.full_digest, complete.full_digest);
    }
}

}  // namespace

void RunSweep::check(const Outcome& outcome, const Cost& cost, std::string_view call,
                     const std::wstring& subject) const {
    EXPECT_FALSE(outcome.escaped);
    EXPECT_EQ(outcome.code, cost.code) << outcome.errors;
    EXPECT_EQ(faults.open_handles(), 0u);
    EXPECT_TRUE(streams.cursor_visible());
    if (swept_.whole_program) {
        check_texts(outcome, cost.code, call);
        check_report_file(cost.code, call == "allocation");
    }
    check_index_files(call.starts_with("DeleteFileW"));
    if (cost.old_index) {
        EXPECT_EQ(index_bytes(), old_index_);
    }
    if (cost.code != 0)
        return;
    check_groups(outcome, cost, subject);
    check_failures(outcome, cost);
}

void RunSweep::check_quiet(const Outcome& outcome) const {
    SCOPED_TRACE("run without a fault");
    check(outcome, {}, "", L"");
    EXPECT_EQ(outcome.failures, 0u);
    if (complete_.empty())
        return;
    const auto snapshot = detail::load_index(swept_.root);
    ASSERT_TRUE(snapshot.has_value());
    EXPECT_EQ(snapshot->entries.size(), complete_.size());
    for (const detail::FileCandidate& entry : snapshot->entries) {
        const auto place = complete_.find(strip_long_path_prefix(entry.path));
        ASSERT_NE(place, complete_.end());
        EXPECT_GE(entry.has_sample_digest, place->second.has_sample_digest);
        EXPECT_GE(entry.has_full_digest, place->second.has_full_digest);
    }
}

void RunSweep::check_texts(const Outcome& outcome, int code, std::string_view call) const {
    const std::string_view errors = outcome.errors;
    switch (code) {
        case exit_success:
            EXPECT_EQ(errors, "");
            if (!carries_the_summary(call)) {
                EXPECT_NE(outcome.output.find(utf8(L"Résultats enregistrés dans :\n")),
                          std::string::npos);
            }
            return;
        case exit_folder_not_accessible:
            EXPECT_EQ(errors, utf8(not_accessible));
            return;
        case exit_report_not_written:
            EXPECT_EQ(errors, utf8(not_saved));
            return;
        default:
            EXPECT_TRUE(errors.starts_with(utf8(unfinished_scan) + "Erreur : ") ||
                        errors.starts_with(utf8(unfinished_run) + "Erreur : "))
                << errors;
            EXPECT_TRUE(errors.ends_with('\n')) << errors;
    }
}

// A report that was begun stays as it is.
void RunSweep::check_report_file(int code, bool at_any_time) const {
    if (code == exit_success) {
        EXPECT_TRUE(file_exists(report_));
    } else if (code == exit_report_not_written || at_any_time) {
        EXPECT_TRUE(!file_exists(report_) || true_report_.starts_with(read_file(report_)));
    } else {
        EXPECT_FALSE(file_exists(report_));
    }
}

void RunSweep::check_groups(const Outcome& outcome, const Cost& cost,
                            const std::wstring& subject) const {
    ASSERT_TRUE(outcome.groups.has_value());
    const PathGroups& found = *outcome.groups;
    if (found == truth_ || (cost.shows_link && found == truth_with_link()))
        return;
    switch (cost.loss) {
        case Loss::nothing:
            EXPECT_EQ(found, truth_);
            return;
        case Loss::file:
            EXPECT_EQ(found, truth_without(subject));
            if (!swept_.whole_program) {
                EXPECT_EQ(outcome.failures, 1u);
            }
            return;
        case Loss::some_file:
            EXPECT_TRUE(
                std::any_of(swept_.files.begin(), swept_.files.end(),
                            [&](const std::wstring& file) { return found == truth_without(file); }))
                << ::testing::PrintToString(found);
            return;
        case Loss::listing: {
            std::vector<std::wstring> listed;
            const auto snapshot = detail::load_index(swept_.root);
            if (complete_.empty()) {
                EXPECT_TRUE(is_part_of(found, truth_with_link()))
                    << "no index shows which files the run listed";
                return;
            }
            ASSERT_TRUE(snapshot.has_value());
            for (const detail::FileCandidate& entry : snapshot->entries)
                listed.push_back(entry.path);
            EXPECT_EQ(found, reference_groups(listed));
            return;
        }
        case Loss::path_field:
            EXPECT_EQ(with_path_filled_in(found, truth_), truth_);
            return;
    }
}

void RunSweep::check_failures(const Outcome& outcome, const Cost& cost) const {
    if (swept_.whole_program)
        return;
    EXPECT_GE(outcome.failures, cost.least_failures);
    EXPECT_LE(outcome.failures, cost.most_failures);
}

void RunSweep::check_index_files(bool may_leave_temporary) const {
    for (const std::wstring& folder : index_folders())
        for (const real::ListedName& file : real::list_folder(folder)) {
            if (file.name.ends_with(L".lsi"))
                check_index_file(folder + L"\\" + file.name);
            else
                EXPECT_TRUE(may_leave_temporary && file.name.find(L".tmp-") != std::wstring::npos)
                    << ::testing::PrintToString(file.name);
        }
}

// The file is the old index, or it loads whole and every entry is true.
void RunSweep::check_index_file(const std::wstring& path) const {
    const std::string bytes = read_file(path);
    if (bytes == old_index_)
        return;
    const auto contents = std::as_bytes(std::span(bytes));
    std::optional<detail::IndexSnapshot> snapshot = detail::decode_index(contents, swept_.root);
    if (!snapshot)
        snapshot = detail::decode_index(contents, swept_.folder);
    ASSERT_TRUE(snapshot.has_value()) << "not whole: " << ::testing::PrintToString(path);
    if (complete_.empty())
        return;
    for (const detail::FileCandidate& entry : snapshot->entries) {
        SCOPED_TRACE(::testing::PrintToString(entry.path));
        const auto place = complete_.find(strip_long_path_prefix(entry.path));
        ASSERT_NE(place, complete_.end());
        check_entry(entry, place->second);
    }
}

PathGroups RunSweep::truth_without(const std::wstring& lost) const {
    const std::wstring display = strip_long_path_prefix(lost);
    PathGroups groups;
    for (std::vector<std::wstring> group : truth_) {
        std::erase(group, display);
        if (group.size() >= 2)
            groups.push_back(std::move(group));
    }
    std::sort(groups.begin(), groups.end());
    return groups;
}

// The groups with the hard link as a file of its own, in the group that has its contents.
PathGroups RunSweep::truth_with_link() const {
    if (swept_.link.empty())
        return truth_;
    PathGroups groups = truth_;
    const std::string contents = read_file(swept_.link);
    for (std::vector<std::wstring>& group : groups)
        if (read_file(group.front()) == contents) {
            group.push_back(strip_long_path_prefix(swept_.link));
            std::sort(group.begin(), group.end());
        }
    return groups;
}

}  // namespace larkspine::testing
