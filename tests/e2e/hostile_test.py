"""Hostile input: misleading names, huge sparse files, planted index files and planted libraries."""
import csv
import io
import os
import pathlib
import re
import struct
import unittest

from end_to_end import EndToEnd
from program import required, windows_path

TIB = 1 << 40
HEADER_SIZE = 41
TAIL_SIZE = 135


class HostileNameTest(EndToEnd, unittest.TestCase):
    """Names made to mislead a spreadsheet or a terminal. The files are empty, because Wine lists a file
    whose name Windows forbids, but does not open it."""

    NAMES = ("=1+1", "+1", "-1", "@SUM(A1)", "=cmd|' -C calc'!A0", "a;=1+1;b", "a,=1+1,b", 'a";"b',
             '"', "a\tb", "a\r\nb;c", "\x1b[2J\x1b[31mrouge", "\x1b]0;titre\x07", "gpj\u202eexe.a",
             "a\u2028b", "'=1+1")

    def setUp(self):
        super().setUp()
        for name in self.NAMES:
            self.file(name, b"")

    def test_a_hostile_name_stays_inside_its_field_and_never_begins_it(self):
        run = self.scan()
        self.assertEqual((run.code, run.stderr), (0, b""))
        text = run.report.decode("utf-8-sig")
        rows = list(csv.reader(io.StringIO(text, newline=""), delimiter=";", strict=True))[1:]
        self.assertEqual([(number, size) for number, _, _, size in rows],
                         [("1", "0")] * len(self.NAMES))
        # The drive's letter stands before every name, so no cell begins with a formula's sign.
        self.assertEqual({path for _, _, path, _ in rows},
                         {self.display + "\\" + name for name in self.NAMES})

    def test_no_file_name_reaches_the_console(self):
        run = self.scan("--stats")
        self.assertEqual(run.code, 0)
        self.assert_summary(self.scan(), len(self.NAMES), len(self.NAMES) - 1)
        self.assertNotIn(b"\x1b", run.stdout + run.stderr)
        self.assertNotIn("rouge".encode(), run.stdout)


class SparseFileTest(EndToEnd, unittest.TestCase):
    def sparse(self, name, size, first):
        os.truncate(self.file(name, first), size)

    def test_huge_files_that_differ_at_their_ends_are_not_read_whole(self):
        self.sparse("a", 4 * TIB, b"1")
        self.sparse("b", 4 * TIB, b"2")
        self.sparse("alone", 3 * TIB, b"1")
        run = self.scan()
        self.assert_rows(run)
        self.assert_summary(run, 3, 0)


class PlantedIndexTest(EndToEnd, unittest.TestCase):
    """Somebody else writes to the folder of the index."""

    def setUp(self):
        super().setUp()
        self.index_folder = self.work.new_folder("index-kept")
        self.environment = {"LARKSPINE_INDEX_DIRECTORY": windows_path(self.index_folder)}

    def scan(self, *options, **settings):
        return super().scan(*options, environment=self.environment, **settings)

    def index_path(self):
        path, = self.index_folder.iterdir()
        return path

    def claim_one_digest(self):
        """Gives every entry of the index the digests of the last entry."""
        stored = bytearray(self.index_path().read_bytes())
        root_length, = struct.unpack_from("<I", stored, 37)
        count, = struct.unpack_from("<Q", stored, 29)
        at, tails = HEADER_SIZE + 2 * root_length, []
        for _ in range(count):
            for _ in ("path", "name"):
                length, = struct.unpack_from("<I", stored, at)
                at += 4 + 2 * length
            tails.append(at)
            at += TAIL_SIZE
        for tail in tails:
            stored[tail + 69:tail + TAIL_SIZE] = stored[tails[-1] + 69:tails[-1] + TAIL_SIZE]
        self.index_path().write_bytes(stored)

    def test_forged_digests_count_until_bytes_are_compared_or_the_index_is_rebuilt(self):
        self.file("a", b"un contenu")
        self.file("b", b"un autre !")
        self.assert_rows(self.scan())
        self.claim_one_digest()
        # The first scan computed no full digests. Equal samples only make this one compute them, and they
        # differ.
        self.assert_rows(self.scan())
        self.claim_one_digest()
        believed = ((1, "Original", "a", 10), (1, "Doublon", "b", 10))
        self.assert_rows(self.scan(), *believed)
        self.assert_rows(self.scan("--verify-bytes"))
        self.assert_rows(self.scan(), *believed)
        self.assert_rows(self.scan("--rebuild-index"))
        self.assert_rows(self.scan())

    def test_a_hard_link_to_the_index_keeps_the_old_contents(self):
        rows = ((1, "Original", "a", 7), (1, "Doublon", "b", 7))
        self.file("a")
        self.file("b")
        self.scan()
        other = self.work.path / "autre nom"
        other.hardlink_to(self.index_path())
        before = other.read_bytes()
        self.file("c", b"x")
        self.assert_rows(self.scan(), *rows)
        self.assertNotEqual(self.index_path().read_bytes(), before)
        self.assertEqual(other.read_bytes(), before)

    def test_a_symbolic_link_as_the_index_is_replaced_and_its_target_stays(self):
        self.file("a")
        self.scan()
        path, target = self.index_path(), self.work.path / "ailleurs"
        path.rename(target)
        path.symlink_to(target)
        before = target.read_bytes()
        self.file("b", b"x")
        self.assert_rows(self.scan())
        self.assertFalse(path.is_symlink())
        self.assertEqual(target.read_bytes(), before)

    def test_a_file_in_place_of_the_index_folder_stays_and_costs_only_the_index(self):
        self.file("a")
        self.file("b")
        taken = self.work.path / "pas un dossier"
        taken.write_bytes(b"intact")
        self.environment["LARKSPINE_INDEX_DIRECTORY"] = windows_path(taken)
        self.assert_rows(self.scan(), (1, "Original", "a", 7), (1, "Doublon", "b", 7))
        self.assertEqual(taken.read_bytes(), b"intact")


class ImportTest(unittest.TestCase):
    """A library planted in the current or the program's own folder must not be loaded."""

    # Windows loads these from its own folder, whatever lies elsewhere. The runtime would load advapi32
    # for random numbers, which the program never uses. ntdll is in every process from the beginning;
    # the program looks it up there and does not load it.
    IMPORTED = {"kernel32.dll", "msvcrt.dll"}
    KNOWN = IMPORTED | {"advapi32.dll", "ntdll.dll"}

    def setUp(self):
        self.image = pathlib.Path(required("LARKSPINE_EXE")).read_bytes()

    def test_the_program_imports_two_known_libraries(self):
        self.assertEqual(imported_libraries(self.image), self.IMPORTED)

    def test_the_program_names_no_other_library_that_it_could_load(self):
        named = {name.replace(b"\0", b"").decode().lower()
                 for name in re.findall(rb"(?i)\w+\.dll\b|(?:\w\0)+\.\0d\0l\0l\0", self.image)}
        self.assertEqual(named, self.KNOWN)


def imported_libraries(image):
    """The libraries that a 64-bit program imports, in lower case. Delayed imports are an error."""
    header, = struct.unpack_from("<I", image, 0x3C)
    sections, optional_size = struct.unpack_from("<H12xH", image, header + 6)
    table = header + 24 + optional_size
    places = [struct.unpack_from("<IIII", image, table + 40 * i + 8) for i in range(sections)]

    def at(address):
        for virtual_size, virtual, raw_size, raw in places:
            if virtual <= address < virtual + max(virtual_size, raw_size):
                return raw + address - virtual
        raise ValueError(hex(address))

    directories = header + 24 + 112
    imports, = struct.unpack_from("<I", image, directories + 8)
    late, = struct.unpack_from("<I", image, directories + 8 * 13)
    if late:
        raise ValueError("the program has delayed imports")
    found = set()
    place = at(imports)
    while (library := struct.unpack_from("<I", image, place + 12)[0]) != 0:
        name = at(library)
        found.add(image[name:image.index(b"\0", name)].decode().lower())
        place += 20
    return found


if __name__ == "__main__":
    unittest.main()
