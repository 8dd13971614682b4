#include "ordinary_tree.h"

#include "text.h"

namespace larkspine::check {
namespace {

constexpr std::size_t long_size = 400'000;  // more than any sample of the contents

}  // namespace

std::string small_contents() {
    return patterned(5'000, 1);
}

std::string long_contents() {
    return patterned(long_size, 2);
}

std::string other_long_contents() {
    std::string contents = long_contents();
    // Far from both ends, and from the middle of the file.
    contents[130'001] = static_cast<char>(~contents[130'001]);
    return contents;
}

void make_ordinary_tree(Place& place) {
    place.write(L"docs\\original.bin", small_contents());
    place.write(L"docs\\copie.bin", small_contents());
    place.write(L"docs\\autre.bin", patterned(5'000, 3));
    place.write(L"docs\\trio1.bin", long_contents());
    place.write(L"docs\\trio2.bin", long_contents());
    place.write(L"docs\\trio3.bin", other_long_contents());
    place.write(L"photos\\été\\œuvre d’art.txt", "un texte");
    place.write(L"photos\\Noël.txt", "un texte");
    place.write(L"vides\\a", "");
    place.write(L"vides\\b", "");
    place.write(L"dossier\\sous\\profond\\un.bin", patterned(70'000, 4));
    place.write(L"dossier\\deux.bin", patterned(70'000, 4));
    place.write(L"noms\\a;b, c = d.txt", "encore un texte");
    place.write(L"noms\\100 % & (1).txt", "encore un texte");
    place.write(L"seul.txt", "unique");
    place.link(L"docs\\copie.bin", L"docs\\même fichier que copie.bin");
}

}  // namespace larkspine::check
