"""A tree of files with everything that a search for duplicates can get wrong.

The same seed gives the same tree. No two names in one folder differ only in case, since Wine takes
them for one. Names have only letters whose upper case is the same in all tables.
"""
import os
import pathlib
import random

# Empty; one byte; the edges of one sampled region, of both together, and of one read request.
BOUNDARY_SIZES = (0, 1, 65535, 65536, 65537, 131071, 131072, 131073, 1048575, 1048576, 1048577)
SAMPLED = 65536

BULK_FOLDERS = 120
BULK_FILES = 1800
BULK_CONTENTS = 600

ALPHABETS = ("abcdefghijklmnopqrstuvwxyz0123456789", "ABCDEFGHIJ_-", "àâçéèêëîïôùûüÿœæ",
             "ÀÉÊÎÔÛŒ", "αβγδΣΦΩ", "жщюяБГД", "文件夹重复的副本", "ファイル", "한국어",
             "😀🎉𝄞𠀀", " .;',=+&()[]{}!@#$%^~`")

ODD_NAMES = (
    "accent é", "accent è", "accent ê", "cœur", "Ångström", "naïve façade.txt", "日本語.txt", "重复",
    "한국어 파일", "😀", "😀😁", "𝄞 clef", "a;b;c", ";", "l'été", "'", "''", " devant", "au  milieu",
    ".caché", "..deux", "...trois", "rapport.csv", ".csv", "Fennick_Resultats.csv", "copie1",
    "copie2", "copie3", "copié1", "point.", "espace ", "con", "nul.txt", "aux", "100%", "%TEMP%",
    "a,b", "[crochets]", "{accolades}", "~tilde~1", "$argent", "LONGNA~1", "a&b", "=1+1", "-tiret",
    "--stats",
)

# Names that show the order of code units: '_' lies between 'Z' and 'a'; ' ', '-' and '[' lie before the
# separator, ']' and '_' after it; and characters beyond U+FFFF come before U+FF21, although their
# code points are greater.
ORDER_NAMES = ("a_", "aZ", "ab", "Ac", "aé", "aÉa", "B", "_", "é", "Éb", "œ", "Ω", "я", "Ａ", "😀",
               "\ue000")
ORDER_FOLDERS = ("dossier", "dossier 2", "dossier-2", "dossier[2", "dossier]2", "dossier_2",
                 "Dossiers", "dossierZ")


def generate(root, outside, seed=20):
    """Fills the empty folder `root`; `outside` is an empty folder that links lead to."""
    Generator(pathlib.Path(root), pathlib.Path(outside), seed).generate()


class Generator:
    def __init__(self, root, outside, seed):
        self.root = root
        self.outside = outside
        self.random = random.Random(seed)

    def generate(self):
        self.boundaries()
        self.hard_links()
        self.empty_files()
        self.odd_names()
        self.order_traps()
        self.deep_folders()
        self.bulk()
        self.symbolic_links()

    def write(self, name, contents):
        path = self.root / name
        path.parent.mkdir(parents=True, exist_ok=True)
        path.write_bytes(contents)
        return path

    def bytes(self, size):
        return self.random.randbytes(size)

    def boundaries(self):
        """Of each size: two equal files, and near duplicates that differ in one byte, one of them
        with a copy. Bytes at the edges of the sampled regions are among those that differ."""
        for size in BOUNDARY_SIZES:
            contents = self.bytes(size)
            folder = f"tailles/{size}"
            self.write(f"{folder}/original", contents)
            self.write(f"{folder}/sous/copie", contents)
            places = {0, size // 2, size - 1, SAMPLED - 1, SAMPLED, size - SAMPLED - 1,
                      size - SAMPLED}
            for place in sorted(place for place in places if 0 <= place < size):
                self.write(f"{folder}/octet {place}", changed_at(contents, place))
            if size:
                self.write(f"{folder}/sous/octet {size // 2}", changed_at(contents, size // 2))

    def hard_links(self):
        for case, (names, copies) in enumerate([(2, 0), (2, 1), (3, 0), (3, 1), (3, 2), (2, 1)]):
            folder = f"liens/{case}"
            first = self.write(f"{folder}/m0", self.bytes(5000 + case))
            contents = first.read_bytes()
            for name in range(1, names):
                # Some sort before the name that was made first, some in another folder.
                other = self.root / folder / ("a" if name == 1 else "zz/b")
                other.parent.mkdir(exist_ok=True)
                os.link(first, other)
            for copy in range(copies):
                self.write(f"{folder}/{'b' if case % 2 else 'z'}{copy}", contents)
        # Two physical files with the same contents, two names each.
        contents = self.bytes(7000)
        for file in range(2):
            first = self.write(f"liens/paires/{file}", contents)
            os.link(first, first.with_name(f"{file}b"))

    def empty_files(self):
        for name in ("vide", "VIDES/un", "VIDES/deux.txt", "z/y/x/w/rien", ".vide"):
            self.write(name, b"")
        os.link(self.root / "vide", self.root / "aussi vide")

    def odd_names(self):
        same = self.bytes(321)
        for place, name in enumerate(ODD_NAMES):
            self.write(f"noms/{name}", same if place % 3 else self.bytes(321))
        for name in ("dossier.csv", "dossier;points", "été 日本 😀", " autre", "l'art"):
            self.write(f"noms/{name}/fichier", same)
        long_names = ("long" * 55, "x" * 255, "日" * 70, "é" * 110, "😀" * 55)
        for name in long_names:  # and one that differs by one letter only
            self.write(f"longs/{name}", same)
            self.write(f"longs/{name[:-1]}", same)
            self.write(f"longs/sous/{name}/{name}", self.bytes(321))

    def order_traps(self):
        same = self.bytes(77)
        for name in ORDER_NAMES:
            self.write(f"ordre/{name}", same)
        for folder in ORDER_FOLDERS:
            for name in ("m", "N"):
                self.write(f"ordre/{folder}/{name}", same)
        # Groups whose order is decided by their first paths alone.
        for name in ORDER_NAMES:
            contents = self.bytes(50)
            self.write(f"ordre/groupes/{name}", contents)
            self.write(f"ordre/groupes/zz/{name}", contents)

    def deep_folders(self):
        """Full paths from below 260 characters to far beyond."""
        folder = "profond"
        same = self.bytes(999)
        for level in range(30):
            folder += f"/niveau {level:02} " + "abcdé日"[level % 6] * 30
            self.write(f"{folder}/feuille", same if level % 2 else self.bytes(999))
            self.write(f"{folder}/unique {level}", self.bytes(level + 1))

    def bulk(self):
        """Small files, many of one size. Some contents occur once, some a few times, some often."""
        contents = []
        while len(contents) < BULK_CONTENTS:
            common = self.random.choice((1, 2, 10, 100, 1000, 4096))
            block = self.bytes(self.random.choice((common, self.random.randrange(1, 6000))))
            contents.append(block)
            # Every third has a near duplicate of the same size.
            if len(contents) % 3 == 0:
                contents.append(changed_at(block, self.random.randrange(len(block))))
        folders = ["masse"]
        while len(folders) < BULK_FOLDERS:
            parent = self.random.choice(folders)
            if parent.count("/") < 5:
                folders.append(f"{parent}/{self.name()}")
        taken = {folded(folder) for folder in folders}
        for _ in range(BULK_FILES):
            path = None
            while path is None or folded(path) in taken:
                path = f"{self.random.choice(folders)}/{self.name()}"
            taken.add(folded(path))
            # Early contents are chosen far more often than late ones.
            chosen = contents[int(len(contents) * self.random.random() ** 2)]
            self.write(path, chosen)

    def name(self):
        letters = "".join(self.random.choice(self.random.choice(ALPHABETS))
                          for _ in range(self.random.randrange(3, 9)))
        ending = self.random.choice(("", ".txt", ".csv", ".JPG"))
        return f"{self.random.randrange(1000)}{letters}z{ending}"

    def symbolic_links(self):
        """Links to a folder must not be followed; for links to files see the reference."""
        inside = self.write("symboliques/cible", self.bytes(3333))
        only_name = self.write("symboliques/copie de dehors", self.bytes(4444))
        (self.outside / "même contenu").write_bytes(only_name.read_bytes())
        (self.outside / "seul").write_bytes(self.bytes(5555))
        (self.outside / "dossier").mkdir()
        (self.outside / "dossier" / "ne pas lister").write_bytes(only_name.read_bytes())
        links = self.root / "symboliques"
        (links / "vers cible").symlink_to(inside)
        (links / "vers dehors").symlink_to(self.outside / "même contenu")
        (links / "vers seul").symlink_to(self.outside / "seul")
        (links / "brisé").symlink_to(self.outside / "absent")
        (links / "dossier dehors").symlink_to(self.outside / "dossier", target_is_directory=True)
        (links / "vers la racine").symlink_to(self.root, target_is_directory=True)
        (self.root / "racine relative").symlink_to(".", target_is_directory=True)


def changed_at(contents, place):
    return contents[:place] + bytes([contents[place] ^ 0x55]) + contents[place + 1:]


def folded(path):
    return path.upper().lower()
