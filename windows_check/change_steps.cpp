#include "change_steps.h"

#include <algorithm>

#include "base/path_forms.h"
#include "ordinary_tree.h"
#include "text.h"

namespace larkspine::check {
namespace {

std::vector<ChangeStep> make_steps() {
    std::vector<ChangeStep> steps;
    const auto add = [&](const char* title, void (*change)(Place&)) -> ChangeStep& {
        return steps.emplace_back(ChangeStep{title, change});
    };
    add("créer un fichier / create a file",
        [](Place& place) { place.write(L"docs\\nouveau.bin", small_contents()); });
    add("écrire dans un fichier / overwrite inside a file",
        [](Place& place) { place.overwrite(L"docs\\copie.bin", 2'500, "other bytes"); });
    add("récrire un fichier / rewrite a file",
        [](Place& place) { place.write(L"docs\\autre.bin", small_contents()); });
    add("allonger un fichier / append to a file",
        [](Place& place) { place.append(L"docs\\nouveau.bin", "plus"); });
    add("tronquer un fichier / truncate a file",
        [](Place& place) { place.truncate(L"docs\\nouveau.bin", small_contents().size()); });
    add("renommer un fichier / rename a file",
        [](Place& place) { place.rename(L"docs\\original.bin", L"docs\\Renommé.bin"); });
    add("changer la casse d’un nom / change the case of a name",
        [](Place& place) { place.rename(L"photos\\Noël.txt", L"photos\\NOËL.txt"); });
    add("déplacer un fichier / move a file",
        [](Place& place) { place.rename(L"docs\\autre.bin", L"photos\\autre.bin"); });
    add("renommer un dossier / rename a folder",
        [](Place& place) { place.rename(L"dossier", L"classeur"); });
    add("déplacer un dossier / move a folder",
        [](Place& place) { place.rename(L"classeur\\sous", L"photos\\sous"); });
    add("supprimer un fichier / delete a file", [](Place& place) { place.remove(L"vides\\b"); });
    add("supprimer un dossier / delete a folder", [](Place& place) { place.remove_tree(L"noms"); });
    add("supprimer et recréer sous le même nom / delete, create under the same name",
        [](Place& place) {
            place.remove(L"docs\\trio2.bin");
            place.write(L"docs\\trio2.bin", other_long_contents());
        });
    add("remplacer par renommage / replace by a rename", [](Place& place) {
        place.write(L"docs\\trio1.tmp", other_long_contents());
        place.rename(L"docs\\trio1.tmp", L"docs\\trio1.bin");
    });
    add("attributs / attributes", [](Place& place) {
        place.set_attributes(L"photos\\NOËL.txt", FILE_ATTRIBUTE_HIDDEN | FILE_ATTRIBUTE_READONLY);
    });
    add("dates / times", [](Place& place) { place.touch(L"docs\\Renommé.bin"); });
    add("dossier arrivé d’ailleurs / folder copied in", [](Place& place) {
        place.write(L"venu\\sous\\un.bin", patterned(70'000, 4));
        place.write(L"venu\\deux.bin", small_contents());
    });
    add("dossier parti ailleurs / folder moved away",
        [](Place& place) { place.remove_tree(L"venu"); });
    add("dossier entré dans un dossier exclu / folder moved into one never scanned",
        [](Place& place) { place.rename(L"photos\\sous", L"profil\\Larkspine\\sous"); });
    add("ajouter un lien / add a link",
        [](Place& place) { place.link(L"docs\\Renommé.bin", L"liens\\ajouté.bin"); });
    // The journal names the removed link, and the entry keeps that path.
    ChangeStep& unlinked = add("retirer un lien / remove a link",
                               [](Place& place) { place.remove(L"liens\\ajouté.bin"); });
    unlinked.former = L"liens\\ajouté.bin";
    unlinked.present = L"docs\\Renommé.bin";
    unlinked.renews = true;
    // No journal record lists the contents of the folder.
    ChangeStep& came_out =
        add("dossier sorti d’un dossier exclu / folder moved out of one never scanned",
            [](Place& place) { place.rename(L"profil\\Larkspine\\sous", L"sorti"); });
    came_out.unseen = L"sorti";
    came_out.renews = true;
    // The journal names the file by the link.
    ChangeStep& linked_away =
        add("lien dans un dossier exclu / link made in a folder never scanned",
            [](Place& place) { place.link(L"docs\\Renommé.bin", L"profil\\Larkspine\\lien.bin"); });
    linked_away.unseen = L"docs\\Renommé.bin";
    linked_away.compares_rebuilt = false;
    ChangeStep& linked_back = add("ce lien retiré / that link removed", [](Place& place) {
        place.remove(L"profil\\Larkspine\\lien.bin");
    });
    linked_back.unseen = L"docs\\Renommé.bin";
    linked_back.renews = true;
    return steps;
}

// Names the fault of the index, given that the same run without an index is right.
std::string named(const std::vector<Difference>& differences) {
    const bool gone = std::ranges::any_of(
        differences, [](const Difference& one) { return one.kind == Wrong::gone_path; });
    return gone ? "renommage ou suppression manqués / missed rename or deletion"
                : "empreinte ou entrée périmée de l’index / stale digest or entry of the index";
}

}  // namespace

const std::vector<ChangeStep>& change_steps() {
    static const std::vector<ChangeStep> steps = make_steps();
    return steps;
}

void take_step(Judge& judge, const ChangeStep& step) {
    const std::string title = step.title;
    Verdicts& verdicts = judge.verdicts();
    step.change(judge.place());
    const bool on_volume = judge.place().journal().has_value();
    const std::wstring root = judge.place().root();
    const Reference reference = judge.reference();

    const RunOutcome updated = judge.run(title);
    const RunOutcome rebuilt =
        judge.run_with_index(title + " --rebuild-index", L"neuf", {L"--rebuild-index"});
    judge.judge_code(title, updated, 0);
    judge.judge_way(title, updated, Way::delta);

    Reference known = reference;
    if (on_volume && step.former != nullptr)
        known.add_former_name(join_path(root, step.former), join_path(root, step.present));
    if (on_volume && step.unseen != nullptr)
        known.leave_out(join_path(root, step.unseen));
    const auto differences = judge.compare(updated, known, judge.names());
    const auto differences_rebuilt = judge.compare(rebuilt, reference, judge.names());
    std::string detail = told(differences);
    if (!differences.empty())
        detail = (differences_rebuilt.empty() ? named(differences) : "groupe faux / wrong group") +
                 ": " + detail;
    else if (on_volume && (step.former != nullptr || step.unseen != nullptr))
        detail = "comme docs/limits.md le dit / as docs/limits.md says";
    verdicts.judge(differences.empty(), title, "groupes/groups", detail);
    if (step.compares_rebuilt)
        verdicts.judge(rebuilt.code == 0 && differences_rebuilt.empty(), title, "--rebuild-index",
                       told(differences_rebuilt));
    if (step.renews)
        judge.run(title + " (nouvel index)", {L"--rebuild-index"});
}

}  // namespace larkspine::check
