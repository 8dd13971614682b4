"""The report that a scan must give, found by a method that shares nothing with the program.

Files of one size are compared byte by byte, all of them whole; no digest is involved. Names of one
physical file are recognised by device and inode.

Links, as Wine shows them: a symbolic link to a folder is a reparse point and is not followed. A
symbolic link to a file is resolved before the program can see it: it is listed as an ordinary file
with the size and the identity of its target, so here it is one more name of its target. (On Windows
it would be a reparse point and be left out; Wine cannot show that.) A broken one is not listed.
"""
import dataclasses
import os
import pathlib
import struct

HEADER = b"\xef\xbb\xbfGroupe;Statut;Chemin complet;Taille en octets\r\n"


@dataclasses.dataclass(frozen=True)
class Expected:
    documents: int  # files listed, all names counted
    groups: tuple  # of (size, sorted display paths), sorted by first path

    @property
    def duplicates(self):
        return sum(len(paths) - 1 for _, paths in self.groups)

    @property
    def rows(self):
        return [
            f'{number};{"Doublon" if place else "Original"};"{path}";{size}'
            for number, (size, paths) in enumerate(self.groups, start=1)
            for place, path in enumerate(paths)
        ]

    @property
    def csv(self):
        return HEADER + "".join(row + "\r\n" for row in self.rows).encode()


def scan(root, display_root, without=(), locked=()):
    """What a scan of `root` must find. `display_root` is the root as the report writes it.

    Paths in `without` are not listed. Files in `locked` cannot be opened. Those with contents drop out
    of their group. Empty ones stay in it, because there is nothing to read; each name counts as a
    separate file, because its identity cannot be queried.
    """
    without = {pathlib.Path(path) for path in without}
    locked = {pathlib.Path(path) for path in locked}
    names = list(_files_below(pathlib.Path(root), display_root.rstrip("\\"), without))
    by_size = {}
    for path, display in names:
        status = path.stat()
        if path not in locked:
            identity = (status.st_dev, status.st_ino)
        elif status.st_size == 0:
            identity = path
        else:
            continue
        by_size.setdefault(status.st_size, {}).setdefault(identity, []).append((display, path))
    groups = []
    for size, identities in by_size.items():
        files = sorted((min(names_of, key=_by_display) for names_of in identities.values()),
                       key=_by_display)
        if len(files) >= 2:
            groups.extend((size, tuple(display for display, _ in same))
                          for same in _same_contents(files, size) if len(same) >= 2)
    groups.sort(key=lambda group: order(group[1][0]))
    return Expected(len(names), tuple(groups))


def order(text):
    """Sort key: the UTF-16 code units, each in upper case; then the code units themselves.

    Upper case by Python's tables, which agree with the system's on every letter that the tests use.
    """
    return tuple(map(_upper_unit, _units(text))), _units(text)


def _by_display(name):
    return order(name[0])


def _units(text):
    encoded = text.encode("utf-16-le", "surrogatepass")
    return struct.unpack(f"<{len(encoded) // 2}H", encoded)


def _upper_unit(unit):
    if 0xD800 <= unit <= 0xDFFF:
        return unit
    upper = chr(unit).upper()
    return ord(upper) if len(upper) == 1 and ord(upper) <= 0xFFFF else unit


def _files_below(folder, display, without):
    if folder in without:
        return
    for entry in os.scandir(folder):
        path = folder / entry.name
        entry_display = display + "\\" + entry.name
        if path in without:
            continue
        if entry.is_dir(follow_symlinks=False):
            yield from _files_below(path, entry_display, without)
        elif entry.is_file():  # a link to a file too, see above
            yield path, entry_display


def _same_contents(files, size):
    """Partitions files of one size into classes of equal bytes."""
    if size == 0:
        return [files]
    classes = []  # of (contents, files)
    for name in files:
        contents = name[1].read_bytes()
        for known, members in classes:
            if known == contents:
                members.append(name)
                break
        else:
            classes.append((contents, [name]))
    return [members for _, members in classes]
