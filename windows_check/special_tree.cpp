#include "special_tree.h"

#include <algorithm>

#include "base/path_forms.h"
#include "files.h"
#include "interruption.h"
#include "report_reader.h"
#include "rights.h"
#include "special_files.h"
#include "system_error.h"
#include "text.h"

namespace larkspine::check {
namespace {

constexpr std::uint64_t sparse_size = 2U << 20;

std::string shared_contents() {
    return patterned(3'000, 9);
}

// Makes nested folders until the path below the root is longer than `length` units.
std::wstring long_name(std::size_t length) {
    std::wstring name;
    while (name.size() < length)
        name += std::wstring(200, L'p') + L'\\';
    return name + L"au fond.bin";
}

}  // namespace

SpecialTree::SpecialTree(Judge& judge, RealPlace& place, const std::wstring& elsewhere,
                         const std::function<void(const std::wstring&)>& mount)
    : judge_(judge), place_(place) {
    place_.make_folder(folder);
    write_file(path(L"témoin 1.bin"), shared_contents());
    write_file(path(L"témoin 2.bin"), shared_contents());
    write_file(join_path(elsewhere, L"dehors.bin"), shared_contents());
    add_links(elsewhere);
    add("volume monté dans un dossier / mounted volume", Expected::unlisted, {L"monte"}, [&] {
        if (!mount)
            throw std::runtime_error("il faut l’image du kit / takes the kit’s own image");
        make_folders(path(L"monte"));
        mount(path(L"monte"));
        write_file(path(L"monte\\sur l’autre volume.bin"), shared_contents());
    });
    add_contents();
    add_names();
    add_access();
}

std::wstring SpecialTree::path(std::wstring_view name) const {
    return join_path(place_.path(folder), name);
}

void SpecialTree::add(const char* title, Expected expected, std::vector<std::wstring> names,
                      const std::function<void()>& make) {
    try {
        make();
        items_.push_back({title, expected, std::move(names)});
    } catch (const Interrupted&) {
        throw;
    } catch (const std::runtime_error& error) {
        judge_.verdicts().not_possible(title, "création/making", error.what());
    }
}

void SpecialTree::add_links(const std::wstring& elsewhere) {
    add("jonction / junction", Expected::unlisted, {L"jonction"},
        [&] { make_junction(path(L"jonction"), elsewhere); });
    add("lien symbolique vers un dossier / symbolic link to a folder", Expected::unlisted,
        {L"lien de dossier"},
        [&] { make_symbolic_link(path(L"lien de dossier"), elsewhere, true); });
    add("lien symbolique vers un fichier / symbolic link to a file", Expected::unlisted,
        {L"lien.bin"},
        [&] { make_symbolic_link(path(L"lien.bin"), join_path(elsewhere, L"dehors.bin"), false); });
    add("plusieurs noms d’un fichier / several names of a file", Expected::listed, {L"nom 1.bin"},
        [&] {
            write_file(path(L"nom 1.bin"), patterned(3'000, 10));
            write_file(path(L"autre que nom 1.bin"), patterned(3'000, 10));
            link_file(path(L"nom 1.bin"), path(L"nom 2.bin"));
            link_file(path(L"nom 1.bin"), path(L"nom 3.bin"));
        });
}

void SpecialTree::add_contents() {
    add("flux secondaire / alternate stream", Expected::listed, {L"flux.bin"}, [&] {
        write_file(path(L"flux.bin"), shared_contents());
        write_stream(path(L"flux.bin"), L"caché", "other bytes");
    });
    add("fichier creux / sparse file", Expected::listed, {L"creux.bin", L"plein.bin"}, [&] {
        make_sparse_file(path(L"creux.bin"), sparse_size);
        write_file(path(L"plein.bin"), std::string(sparse_size, '\0'));
    });
    add("fichier compressé / compressed file", Expected::listed, {L"compressé.bin"}, [&] {
        write_file(path(L"compressé.bin"), shared_contents());
        compress_file(path(L"compressé.bin"));
    });
}

void SpecialTree::add_names() {
    add("dossier sensible à la casse / case-sensitive folder", Expected::listed,
        {L"casse\\nom.bin", L"casse\\NOM.bin"}, [&] {
            make_case_sensitive_folder(path(L"casse"));
            write_exact_name(path(L"casse"), L"nom.bin", shared_contents());
            write_exact_name(path(L"casse"), L"NOM.bin", shared_contents());
        });
    const auto add_name = [&](const char* title, const std::wstring& name) {
        add(title, Expected::listed, {L"noms\\" + name},
            [&] { write_exact_name(path(L"noms"), name, shared_contents()); });
    };
    add_name("demi-codet isolé / unpaired surrogate", L"demi\xD800.bin");
    add_name("point final / trailing dot", L"point.");
    add_name("espace finale / trailing space", L"espace ");
    add_name("nom réservé CON / reserved name CON", L"con");
    add_name("nom réservé NUL.txt / reserved name NUL.txt", L"nul.txt");
    add_name("nom de 255 unités / name of 255 units", std::wstring(255, L'n'));
    for (const std::size_t length : {std::size_t{300}, std::size_t{4'100}}) {
        const std::wstring name = long_name(length);
        const char* title = length < 1'000 ? "chemin de plus de 260 / path beyond 260"
                                           : "chemin de plus de 4 000 / path beyond 4,000";
        add(title, Expected::listed, {name}, [&] {
            make_folders(parent_of(path(name)));
            write_file(path(name), shared_contents());
        });
    }
}

void SpecialTree::add_access() {
    add("fichier sans droit de lecture / file without read rights", Expected::unlisted,
        {L"interdit.bin"}, [&] {
            const std::wstring denied = path(L"interdit.bin");
            write_file(denied, shared_contents());
            deny_reading(denied);
            if (open_for_reading(denied, 0))
                throw std::runtime_error("le système laisse lire / the system lets it be read");
        });
    add("fichier ouvert en écriture / file held open for writing", Expected::listed,
        {L"ouvert.bin"}, [&] {
            write_file(path(L"ouvert.bin"), shared_contents());
            held_.push_back(open_file(path(L"ouvert.bin"), GENERIC_WRITE, OPEN_EXISTING));
        });
    add("fichier verrouillé / locked file", Expected::unlisted, {L"verrouillé.bin"}, [&] {
        const std::wstring locked = path(L"verrouillé.bin");
        write_file(locked, shared_contents());
        held_.push_back(own_handle(CreateFileW(locked.c_str(), GENERIC_READ | GENERIC_WRITE, 0,
                                               nullptr, OPEN_EXISTING, 0, nullptr)));
        if (!held_.back())
            fail("CreateFileW", locked);
    });
}

void SpecialTree::judge_listing(const RunOutcome& outcome) {
    const auto rows = read_report(outcome.report()).value_or(std::vector<ReportRow>{});
    const std::wstring root = join_path(place_.root(), folder);
    for (const Item& item : items_) {
        bool right = !rows.empty();
        for (const std::wstring& name : item.names) {
            const std::wstring shown = join_path(root, name);
            const bool nameless = strict_utf8(name).empty();
            const bool listed = std::ranges::any_of(rows, [&](const ReportRow& row) {
                return nameless ? row.path.empty()
                                : row.path == shown || starts_with(row.path, shown + L'\\');
            });
            // The table lists a file under any one of its names.
            const bool links = item.expected == Expected::listed && name == L"nom 1.bin" &&
                               std::ranges::any_of(rows, [&](const ReportRow& row) {
                                   return starts_with(row.path, join_path(root, L"nom "));
                               });
            right = right && (listed || links) == (item.expected == Expected::listed);
        }
        judge_.verdicts().judge(
            right, item.title, "rapport/report",
            item.expected == Expected::listed ? "y est / listed" : "n’y est pas / not listed");
    }
}

void SpecialTree::judge_walk() {
    const std::string step = "un dossier, par parcours / a folder, walked";
    const std::wstring shown = join_path(place_.root(), folder);
    const RunOutcome outcome = judge_.run_exactly(step, L"dossier", {shown, L"--stats"});
    judge_.judge_code(step, outcome, 0);
    judge_.judge_way(step, outcome, Way::walk);
    judge_.judge_groups(step, outcome, make_reference(walk_files(path(L""), shown)), Names::least);
    judge_listing(outcome);
}

}  // namespace larkspine::check
