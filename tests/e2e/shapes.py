"""Small trees, each about one thing, and the steps that make them.

A shape is the contents of a tree. The steps of `before` make an earlier tree from nothing. The steps of
`after` turn that tree into the shape, by every kind of change. Steps are tuples: `follow` takes them in
a real folder, volume_script.py on a fake volume. All paths are below the root, with slashes.

No two names in one folder differ only in case, since the volume takes them for one. No name holds a
double quote, which Windows does not allow. The first name of a file in path order is made first, because
a volume lists a file under its oldest name only.
"""
import dataclasses
import os
import pathlib

import tree

KINDS_OF_CHANGE = 6
SPARE = "de trop"


@dataclasses.dataclass(frozen=True)
class Shape:
    name: str
    files: dict  # contents by path
    links: tuple = ()  # of (existing, added)
    folders: tuple = ()
    local_data: str = ""  # the folder that LOCALAPPDATA names; what is in its Larkspine is excluded

    @property
    def excluded(self):
        return self.local_data and self.local_data + "/Larkspine"


def patterned(size, changed_at=None):
    """Contents with a period of 251, so that swapped blocks show; one byte may differ."""
    contents = (bytes(range(251)) * (size // 251 + 1))[:size]
    return contents if changed_at is None else tree.changed_at(contents, changed_at)


def every_shape():
    """The list that every way of scanning goes through."""
    return (
        Shape("empty", {}),
        Shape("folders alone", {}, folders=("a", "b/c/d", "été")),
        Shape("one file", {"seul": b"contenu"}),
        Shape("empty files", {name: b"" for name in ("vide", "a/vide", "a/b/rien", ".vide", "z")}),
        _hard_links(),
        _case(),
        _names(),
        Shape("boundaries", {f"{size}/{copy}": patterned(size, size // 2 if copy == "c" else None)
                             for size in tree.BOUNDARY_SIZES if size > 1 for copy in "abc"}),
        _middles(),
        Shape("one size", {f"{place % 7}/{place:03}": b"%05d" % (place // 3 if place % 2 else place)
                           for place in range(70)}),
        Shape("deep", {"/".join(f"niveau {level:02}" for level in range(depth)) + f"/{depth}":
                       b"feuille" if depth % 2 else b"%07d" % depth for depth in range(1, 61, 3)}),
        Shape("many groups", {f"{copy}/{group:03}": b"groupe %d" % group + bytes(group % 9)
                              for copy in ("x", "y/z") for group in range(80)}),
        Shape("one group", {f"{place % 13:x}/copie {place}": b"partout" for place in range(130)}),
        _excluded(),
    )


def _hard_links():
    files = {"a/premier": b"lien", "copie du premier": b"lien", "b/seul": b"deux noms, rien de plus",
             "c/m": b"paire", "d/m": b"paire", "vide": b"", "z/vide": b""}
    links = (("a/premier", "b/second"), ("a/premier", "z/autre dossier/second"),
             ("b/seul", "b/seul 2"), ("c/m", "c/n"), ("d/m", "d/n"), ("vide", "vide aussi"))
    return Shape("hard links", files, links)


def _case():
    files = {}
    for place, name in enumerate(("A.txt", "a_", "aZ", "B", "É", "œ", "Ω", "я", "_", "😀", "Ａ")):
        files[f"Haut/{name}"] = b"casse"
        files[f"haut 2/{name.lower() if place % 2 else name.upper()}"] = b"casse"
        files[f"{'h' if place % 2 else 'H'}autre{place}/{name}"] = b"CASSE"
    return Shape("case", files)


def _names():
    names = tree.ODD_NAMES + ("« guillemets »", "“courbes”", "‘simples’", "`grave`", "1;Doublon;'x'",
                              "文件;夹", "ファイル 重复", "é" * 110, "日" * 70)
    files = {f"noms/{name}": b"nom" if place % 3 else b"%03d" % place
             for place, name in enumerate(names)}
    files.update({f"dossier;é {place}/重复 '{place}'": b"autre nom" for place in range(6)})
    return Shape("names", files)


def _middles():
    files = {}
    for size in (131_073, 200_000, 1_048_577):
        for place, name in enumerate("abcdef"):
            # Pairs that differ from each other only between the sampled ends.
            files[f"{size}/{name}"] = patterned(size, (None, 65_536, size // 2)[place // 2])
        files[f"{size}/queue"] = patterned(size, size - 1)
        files[f"{size}/tête"] = patterned(size, 0)
    return Shape("middles", files)


def _excluded():
    files = {f"{folder}/{name}": b"exclu ou non"
             for folder in ("appdata/Larkspine", "appdata/Larkspine/indexes/x", "appdata",
                            "appdata/LarkspineData", "Larkspine", "windows")
             for name in ("un", "deux")}
    files["appdata/Larkspine.txt"] = b"exclu ou non"
    return Shape("excluded", files, local_data="appdata")


def before(shape):
    """The steps to the tree that `after` starts from. A larger shape has a file for every kind of change."""
    early = _Early(shape)
    steps = [("folder", folder) for folder in shape.folders[::2]]
    for place, (path, contents) in enumerate(shape.files.items()):
        earlier = early.contents(place, path)
        if earlier is not None:
            steps.append(("write", early.path(place, path), earlier))
    steps += [("link", early.folder(existing), early.folder(added))
              for existing, added in shape.links]
    some = list(shape.files.values())[:3] or [b"jamais seul"]
    steps += [("write", f"{SPARE}/{number}/{copy}", contents)
              for number, contents in enumerate(some) for copy in "ab"]
    return steps


def after(shape):
    early = _Early(shape)
    steps = [("folder", folder) for folder in shape.folders[1::2]]
    if early.moved:
        steps.append(("rename", early.moved + " avant", early.moved))
    for place, (path, contents) in enumerate(shape.files.items()):
        earlier = early.contents(place, path)
        if early.path(place, path) != early.folder(path):
            steps.append(("rename", early.path(place, path), path))
        elif earlier is None:
            steps.append(("write", path, contents))
        elif len(earlier) < len(contents):
            steps.append(("append", path, contents[len(earlier):]))
        elif len(earlier) > len(contents):
            steps.append(("truncate", path, len(contents)))
        elif earlier != contents:
            steps.append(("write", path, contents))
    steps.append(("remove_tree", SPARE))
    return steps


class _Early:
    """The contents and the path of each file before the changes."""

    def __init__(self, shape):
        self._shape = shape
        self._linked = {path for link in shape.links for path in link}
        # The first folder that holds a file before the changes; they rename it.
        self.moved = next((path.split("/")[0] for place, path in enumerate(shape.files)
                           if "/" in path and self.contents(place, path) is not None
                           and self._kind(place, path) != 2), None)

    def _kind(self, place, path):
        # A file with several names is there from the beginning and stays: only its contents change.
        return 1 if path in self._linked else place % KINDS_OF_CHANGE

    def contents(self, place, path):
        """None when the file was not there."""
        contents = self._shape.files[path]
        kind = self._kind(place, path)
        if kind == 0:
            return None
        if kind == 1:
            return bytes(byte ^ 0x20 for byte in contents)
        if kind == 3:
            return contents[:-1]
        if kind == 4:
            return contents + b"trop long"
        return contents

    def path(self, place, path):
        return f"avant {place}" if self._kind(place, path) == 2 else self.folder(path)

    def folder(self, path):
        if self.moved and path.startswith(self.moved + "/"):
            return self.moved + " avant" + path[len(self.moved):]
        return path


def follow(steps, root):
    """Takes the steps in a real folder."""
    root = pathlib.Path(root)
    for what, name, *more in steps:
        path = root / name
        if what != "folder":
            path.parent.mkdir(parents=True, exist_ok=True)
        {"folder": _make_folder, "write": _write, "append": _append, "truncate": _truncate,
         "rename": lambda path, to: _rename(path, root / to),
         "link": lambda path, added: _link(path, root / added),
         "remove_tree": _remove_tree}[what](path, *more)


def _make_folder(path):
    path.mkdir(parents=True, exist_ok=True)


def _write(path, contents):
    _change(path, "wb", contents)


def _append(path, contents):
    _change(path, "ab", contents)


def _truncate(path, size):
    _change(path, "r+b", b"", size)


def _change(path, mode, contents, size=None):
    earlier = path.stat().st_mtime_ns if path.exists() else None
    with open(path, mode) as file:
        file.write(contents)
        if size is not None:
            file.truncate(size)
    # The clock of the file system may be too coarse to show that something changed.
    if path.stat().st_mtime_ns == earlier:
        os.utime(path, ns=(earlier, earlier + 100))


def _rename(path, to):
    to.parent.mkdir(parents=True, exist_ok=True)
    path.rename(to)


def _link(path, added):
    added.parent.mkdir(parents=True, exist_ok=True)
    added.hardlink_to(path)


def _remove_tree(path):
    for folder, _, names in os.walk(path, topdown=False):
        for name in names:
            os.unlink(os.path.join(folder, name))
        os.rmdir(folder)

