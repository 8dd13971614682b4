"""Runs with an index: the work that it saves the next run, and the errors that it must never cause."""
import os
import struct
import unittest

import reference
import tree
from end_to_end import EndToEnd
from program import windows_path

MAGIC = b"LRKIDX01"

class IndexCase(EndToEnd):
    """Scans with one index folder that all runs of a test share."""

    def setUp(self):
        super().setUp()
        self.index_folder = self.work.new_folder("index-kept")

    def scan(self, *options, **settings):
        environment = {"LARKSPINE_INDEX_DIRECTORY": windows_path(self.index_folder)}
        environment.update(settings.pop("environment", {}))
        return super().scan(*options, environment=environment, **settings)

    def index_files(self):
        return sorted(path.name for path in self.index_folder.iterdir())

    def index_path(self):
        (name,) = self.index_files()
        self.assertRegex(name, r"^index-[0-9a-f]{16}\.lsi$")
        return self.index_folder / name

    def pair(self):
        self.file("a", b"same contents")
        self.file("b", b"same contents")
        self.file("c", b"alone")
        return ((1, "Original", "a", 13), (1, "Doublon", "b", 13))

class SecondRunTest(IndexCase, unittest.TestCase):
    def test_the_second_run_opens_no_unchanged_file_and_reports_the_same(self):
        tree.generate(self.root, self.work.new_folder("outside"))
        expected = reference.scan(self.root, self.display)
        first = self.scan()
        self.assert_reports(first, expected)
        # The files are locked: a candidate that the run opened would drop out of its group.
        candidates = [path.removeprefix(self.display + "\\").replace("\\", "/")
                      for _, paths in expected.groups for path in paths][::7]
        with self.locked(*candidates):
            second = self.scan()
        self.assert_reports(second, expected)
        self.assertEqual(second.report, first.report)

    def test_a_rewritten_file_is_hashed_again(self):
        rows = self.pair()
        self.assert_rows(self.scan(), *rows)
        self.file("b", b"SAME CONTENTS")
        self.assert_rows(self.scan())
        self.file("b", b"same contents")
        self.assert_rows(self.scan(), *rows)

    def test_a_moved_file_is_recognised_by_its_identity(self):
        self.pair()
        self.scan()
        (self.root / "sub").mkdir()
        os.rename(self.root / "a", self.root / "sub" / "moved")
        before = self.index_path().read_bytes()
        self.assert_rows(self.scan(), (1, "Original", "b", 13), (1, "Doublon", "sub\\moved", 13))
        after = self.index_path().read_bytes()
        self.assertNotEqual(before, after)
        # Now that the new path is known, nothing needs to be opened.
        with self.locked("b", "sub/moved"):
            self.assert_rows(self.scan(), (1, "Original", "b", 13),
                             (1, "Doublon", "sub\\moved", 13))

    def test_a_new_copy_and_a_deleted_one_change_the_report(self):
        self.pair()
        self.scan()
        self.file("d", b"same contents")
        os.unlink(self.root / "a")
        self.assert_rows(self.scan(), (1, "Original", "b", 13), (1, "Doublon", "d", 13))

class IndexFileTest(IndexCase, unittest.TestCase):
    def test_a_run_leaves_one_index_that_names_its_root_and_entries(self):
        self.pair()
        self.scan()
        stored = self.index_path().read_bytes()
        root = "\\\\?\\" + self.display
        self.assertEqual(stored[:8], MAGIC)
        version, journal_valid, journal, usn, count, length = struct.unpack_from("<IBQqQI", stored, 8)
        self.assertEqual((version, journal_valid, journal, usn, count, length),
                         (1, 0, 0, 0, 3, len(root)))
        self.assertEqual(stored[41:41 + 2 * length].decode("utf-16le"), root)

    def test_the_index_is_named_by_the_hash_of_the_folded_root(self):
        self.pair()
        self.scan()
        value = 0xcbf29ce484222325
        key = "\\\\?\\" + self.display
        key = "".join(unit.lower() if unit.isascii() else unit for unit in key)
        for byte in key.encode("utf-16le"):
            value = (value ^ byte) * 0x100000001b3 % 2**64
        self.assertEqual(self.index_path().name, f"index-{value:016x}.lsi")

    def test_the_no_index_option_makes_no_index_and_leaves_an_old_one_unchanged(self):
        rows = self.pair()
        self.assert_rows(self.scan("--no-index"), *rows)
        self.assertEqual(self.index_files(), [])
        self.scan()
        kept = self.index_path().read_bytes()
        self.file("d", b"alone too")
        self.assert_rows(self.scan("--no-index"), *rows)
        self.assertEqual(self.index_path().read_bytes(), kept)

    def test_rebuilding_reads_every_candidate_again_and_saves(self):
        rows = self.pair()
        self.scan()
        self.assert_rows(self.scan("--rebuild-index"), *rows)
        with self.locked("a"):
            self.assert_rows(self.scan("--rebuild-index"))
        self.assert_rows(self.scan(), *rows)

    def test_a_damaged_foreign_truncated_or_future_index_is_ignored_and_replaced(self):
        rows = self.pair()
        self.scan()
        path = self.index_path()
        good = path.read_bytes()
        for name, damaged in {
                "empty": b"", "seven bytes": good[:7], "foreign": b"PK\3\4" + good[4:],
                "future": good[:8] + struct.pack("<I", 2) + good[12:], "cut": good[:-1],
                "extended": good + b"\0", "count": good[:29] + struct.pack("<Q", 99_999_999) + good[37:],
                "too large a count": good[:29] + struct.pack("<Q", 100_000_001) + good[37:],
                "root length": good[:37] + struct.pack("<I", 32_769) + good[41:],
                "noise": bytes(range(256)) * 40}.items():
            with self.subTest(name):
                path.write_bytes(damaged)
                self.assert_rows(self.scan(), *rows)
                self.assertEqual(path.read_bytes()[:41], good[:41])

    def test_an_index_below_the_root_is_not_scanned_however_its_path_is_spelled(self):
        (self.root / "Éric" / "Œuvres").mkdir(parents=True)
        self.file("Éric/a")
        for spelling in ("Éric\\Œuvres", "éric\\œuvres", "éRIC/ŒUVRES/"):
            with self.subTest(spelling=spelling):
                index = {"LARKSPINE_INDEX_DIRECTORY": f"{self.display}\\{spelling}"}
                for _ in range(2):
                    run = self.scan(root=self.display + "\\éric", environment=index)
                    self.assertEqual((run.code, run.stderr), (0, b""))
                    self.assert_summary(run, 1, 0)


if __name__ == "__main__":
    unittest.main()
