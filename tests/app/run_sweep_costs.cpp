// What each failing call may cost.
#include <algorithm>
#include <iterator>

#include "app/run.h"
#include "app/run_fixture.h"
#include "app/run_sweep.h"

namespace larkspine::testing {
namespace {

// What a failing call was for.
enum class Role : std::uint8_t { any, file, folder, root, index, temporary, report };

struct Rule {
    std::string_view call;  // how its name begins
    Role role;
    Cost cost;
};

constexpr Cost ends_with(int code, bool old_index) {
    return {code, Loss::nothing, old_index, false, false, 0, 0};
}
constexpr Cost not_indexed = {0, Loss::nothing, true, false, false, 1, 1};
constexpr Cost lost_file = {0, Loss::file, false, false, false, 0, 1};
constexpr Cost lost_listing = {0, Loss::listing, false, false, false, 1, 1};

// The first rule that matches applies. A call without a rule costs nothing: the run has another way
// to the same result, or does not need it.
constexpr Rule rules[] = {
    {"GetFileAttributesW", Role::any, ends_with(exit_folder_not_accessible, true)},
    {"thread", Role::any, ends_with(exit_exception, true)},
    {"allocation", Role::any, ends_with(exit_exception, false)},
    {"FlsSetValue", Role::any, ends_with(exit_exception, true)},
    {"FindFirstFileExW", Role::root, ends_with(exit_exception, true)},
    {"FindFirstFileExW", Role::folder, lost_listing},
    {"FindNextFileW", Role::any, lost_listing},
    {"GetCurrentDirectoryW", Role::any, ends_with(exit_report_not_written, false)},
    {"CreateFileW", Role::report, ends_with(exit_report_not_written, false)},
    {"WriteFile fails", Role::report, ends_with(exit_report_not_written, false)},
    {"WriteFile writes nothing", Role::report, ends_with(exit_report_not_written, false)},
    {"CreateFileW", Role::temporary, not_indexed},
    {"WriteFile fails", Role::temporary, not_indexed},
    {"WriteFile writes nothing", Role::temporary, not_indexed},
    {"FlushFileBuffers", Role::any, not_indexed},
    {"MoveFileExW", Role::any, not_indexed},
    {"DeleteFileW", Role::any, not_indexed},
    // A failure at the load alone does not count: the save makes a new index.
    {"CreateDirectoryW", Role::any, {0, Loss::nothing, false, false, false, 0, 1}},
    {"CreateFileW", Role::file, {0, Loss::file, false, false, true, 0, 1}},
    {"GetFileInformationByHandleEx", Role::any, {0, Loss::nothing, false, false, true, 0, 0}},
    // The snapshot of a volume lacks the file, and the journal does not mention the file until it
    // changes.
    {"GetFileAttributesExW", Role::any, {0, Loss::file, false, true, false, 1, 1}},
    {"ReadFile fails", Role::file, lost_file},
    {"SetFilePointerEx", Role::file, lost_file},
    {"WideCharToMultiByte", Role::any, {0, Loss::path_field, false, false, false, 0, 0}},
};

Role role_of(std::wstring_view subject, std::wstring_view root, std::wstring_view folder) {
    if (subject.find(L".tmp-") != std::wstring_view::npos)
        return Role::temporary;
    if (subject.ends_with(L".lsi"))
        return Role::index;
    if (subject.ends_with(report_name))
        return Role::report;
    const bool listing = subject.ends_with(L"\\*");
    if (listing)
        subject.remove_suffix(2);
    while (root.ends_with(L'\\'))
        root.remove_suffix(1);
    while (folder.ends_with(L'\\'))
        folder.remove_suffix(1);
    if (subject == root || subject == folder || subject.substr(0, subject.size() - 1) == root)
        return Role::root;
    if (!subject.starts_with(root) && !subject.starts_with(folder))
        return Role::any;
    return listing ? Role::folder : Role::file;
}

}  // namespace

Cost RunSweep::cost_of(std::string_view call, std::wstring_view subject) const {
    const Role role = role_of(subject, swept_.root, swept_.folder);
    const auto rule = std::find_if(std::begin(rules), std::end(rules), [&](const Rule& each) {
        return call.starts_with(each.call) && (each.role == Role::any || each.role == role);
    });
    Cost cost = rule == std::end(rules) ? Cost{} : rule->cost;
    // A comparison that fails, or reads less of one file than of the other, separates the two. This
    // is not counted as a failure.
    const bool verifies = std::find(swept_.options.begin(), swept_.options.end(),
                                    L"--verify-bytes") != swept_.options.end();
    if (verifies && role == Role::file && (cost.loss == Loss::file || call == "ReadFile is short"))
        cost.loss = Loss::some_file;
    return cost;
}

}  // namespace larkspine::testing
