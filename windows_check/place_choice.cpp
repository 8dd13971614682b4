#include "place_choice.h"

#include <algorithm>

#include "base/path_forms.h"
#include "console_text.h"
#include "files.h"
#include "rights.h"
#include "system_facts.h"
#include "text.h"
#include "volume_image.h"

namespace larkspine::check {
namespace {

constexpr std::uint64_t journal_size = 32U << 20;

// Windows makes these on every volume, even on an empty one.
bool is_of_the_system(const std::wstring& name) {
    return name == L"System Volume Information" || name == L"$RECYCLE.BIN";
}

bool is_empty(const std::wstring& folder) {
    const auto names = list_folder(folder);
    if (!names)
        throw std::runtime_error("illisible / not readable: " + utf8(folder));
    return std::ranges::all_of(
        *names, [](const ListedName& entry) { return is_of_the_system(entry.name); });
}

// A drive or folder of the user, which is empty before and after.
class EmptyPlace : public ChosenPlace {
  public:
    explicit EmptyPlace(std::wstring root) : root_(std::move(root)), long_root_(long_form(root_)) {
        if (!is_empty(long_root_))
            throw std::runtime_error("n’est pas vide / is not empty: " + utf8(root_));
    }
    ~EmptyPlace() override {
        bool all = true;
        for (const ListedName& entry : names_in(long_root_))
            if (!is_of_the_system(entry.name))
                all = remove_tree(join_path(long_root_, entry.name)) && all;
        if (!all)
            say_error("Reste à effacer / left to delete: " + utf8(root_) + "\n");
    }
    EmptyPlace(const EmptyPlace&) = delete;
    EmptyPlace& operator=(const EmptyPlace&) = delete;

    [[nodiscard]] std::wstring root() const override { return root_; }
    void prepare(RealPlace& place) override {
        // An existing journal may be in use by another program; a step recreates it anyway.
        if (place.root().size() == 3 && !place.journal())
            try {
                place.create_journal(journal_size, journal_size / 4);
            } catch (const std::runtime_error&) {
                return;  // the table says that there is none
            }
    }

  private:
    std::wstring root_;
    std::wstring long_root_;
};

class OwnVolume : public ChosenPlace {
  public:
    explicit OwnVolume(const WorkFolder& work)
        : tools_(make_disk_tools(work.runs())),
          image_(*tools_, strip_long_path_prefix(work.image())) {}

    [[nodiscard]] std::wstring root() const override { return image_.root(); }
    [[nodiscard]] std::function<void(const std::wstring&)> mount() override {
        return [this](const std::wstring& folder) { image_.mount_second(folder); };
    }
    void prepare(RealPlace& place) override {
        place.create_journal(journal_size, journal_size / 4);
    }

  private:
    std::unique_ptr<DiskTools> tools_;
    VolumeImage image_;
};

}  // namespace

std::string description_of(const KitOptions& options) {
    std::string text =
        "Larkspine : vérification sous Windows / check on Windows\n\n"
        "Ce programme crée un dossier larkspine-check-… dans le dossier courant ;\n"
        "This program makes a folder larkspine-check-… in the current folder;\n";
    if (!options.drive.empty())
        text += "il remplit puis vide le lecteur / it fills, then empties the drive " +
                utf8(options.drive) + ",\net recrée son journal / and makes its journal anew.\n";
    else if (!options.folder.empty())
        text += "il remplit puis vide le dossier / it fills, then empties the folder\n  " +
                utf8(options.folder) + "\n";
    else
        text +=
            "il y met un disque virtuel (VHDX, 2 Go au plus) et le retire à la fin.\n"
            "it puts a virtual disk there (VHDX, 2 GB at most) and removes it at the end.\n";
    return text + "Rien d’autre n’est modifié. / Nothing else is changed.\n";
}

std::unique_ptr<ChosenPlace> choose_place(const KitOptions& options, const WorkFolder& work) {
    if (!options.folder.empty())
        return std::make_unique<EmptyPlace>(strip_long_path_prefix(long_form(options.folder)));
    if (!options.drive.empty()) {
        if (!make_disk_tools(work.runs())->drive_answers(options.drive))
            throw std::runtime_error("pas de NTFS / no NTFS: " + utf8(options.drive));
        return std::make_unique<EmptyPlace>(options.drive);
    }
    if (!is_administrator())
        throw std::runtime_error(
            "il faut lancer ce programme en tant qu’administrateur, ou avec --folder DOSSIER / "
            "run this program as administrator, or with --folder FOLDER");
    if (under_wine())
        throw std::runtime_error(
            "Wine n’a pas de disque virtuel / Wine has no virtual disks: --folder, --drive");
    return std::make_unique<OwnVolume>(work);
}

}  // namespace larkspine::check
