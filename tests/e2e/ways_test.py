"""Every shape of tree, scanned in every way, gives the same report, byte for byte.

First a real folder is scanned, before and after the changes that lead to the shape: with an index,
without one, and with one that is rebuilt. Then a fake volume is scanned: by its file table, the fast
path for an unchanged volume, the journal's delta, and the walk when the volume stops being NTFS. The
number of workers and the comparison of bytes are independent of both and rotate: each shape and each
way meets each combination of them at least once.
"""
import os
import unittest

import reference
from end_to_end import EndToEnd
from program import exe, summary, windows_path
from shapes import after, before, every_shape, follow
from volume_script import VolumeScript

# Name, step of the volume before it, options; whether an index is loaded, the fast path taken, a
# delta applied; and whether the entries are those of a file table.
FOLDER_WAYS = (
    ("walk after changes", (), ("oui", "non", "non")),
    ("walk again", (), ("oui", "non", "non")),
    ("rebuild", ("--rebuild-index",), ("non", "non", "non")),
    ("walk after rebuild", (), ("oui", "non", "non")),
    ("no index", ("--no-index",), ("non", "non", "non")),
    ("first walk", (), ("non", "non", "non")),
)
VOLUME_WAYS = (
    ("delta", None, (), ("oui", "non", "oui"), True),
    ("unchanged", None, (), ("oui", "oui", "non"), True),
    ("volume without index", None, ("--no-index",), ("non", "non", "non"), True),
    ("rebuilt table", None, ("--rebuild-index",), ("non", "non", "non"), True),
    ("unchanged after rebuild", None, (), ("oui", "oui", "non"), True),
    ("table after a new journal", ("new_journal",), (), ("oui", "non", "non"), True),
    ("walk after a table", ("file_system", "FAT32"), (), ("oui", "non", "non"), False),
    ("walk of a drive again", None, (), ("oui", "non", "non"), False),
    ("table after a walk", ("file_system", "NTFS"), (), ("oui", "non", "non"), True),
)
WAYS = tuple(way[0] for way in FOLDER_WAYS + VOLUME_WAYS)
COMBINATIONS = tuple((workers, verify) for verify in (False, True) for workers in (1, 2, 3, 8, 64))


def options_of(shape_number, way):
    workers, verify = combination(shape_number, way)
    return ("--stats", "--workers", str(workers)) + (("--verify-bytes",) if verify else ())


def combination(shape_number, way):
    return COMBINATIONS[(shape_number + WAYS.index(way)) % len(COMBINATIONS)]


class CoverageTest(unittest.TestCase):
    """What the matrix below covers; without these tests it could shrink unnoticed."""

    def test_every_shape_and_every_way_meets_every_combination(self):
        shapes = range(len(every_shape()))
        for shape in shapes:
            self.assertEqual({combination(shape, way) for way in WAYS}, set(COMBINATIONS))
        for way in WAYS:
            self.assertEqual({combination(shape, way) for shape in shapes}, set(COMBINATIONS))

    def test_every_kind_of_change_leads_to_some_shape(self):
        steps = {step[0] for shape in every_shape() for step in after(shape)}
        self.assertEqual(steps, {"folder", "rename", "write", "append", "truncate", "remove_tree"})

    def test_there_are_at_least_13_shapes_with_distinct_names(self):
        self.assertEqual(len({shape.name for shape in every_shape()}), len(every_shape()))
        self.assertGreaterEqual(len(every_shape()), 13)


class WaysTest(EndToEnd, unittest.TestCase):
    maxDiff = 4000

    def test_every_way_of_scanning_every_shape_gives_the_same_report(self):
        for number, shape in enumerate(every_shape()):
            with self.subTest(shape=shape.name):
                self.root = self.work.new_folder("forme")
                self.take_every_way(number, shape)

    def take_every_way(self, number, shape):
        reports = {}
        for report in (self.folder_ways(number, shape), self.volume_ways(number, shape)):
            reports.update(report)
        self.assertEqual(tuple(reports), WAYS)
        self.assertEqual(len(set(reports.values())), 1, "reports differ beyond their roots")

    def folder_ways(self, number, shape):
        self.display = windows_path(self.root)
        index = self.work.new_folder("index")
        follow(before(shape), self.root)
        self.check(self.scan_folder(shape, index), shape)
        follow(after(shape), self.root)
        self.assertEqual(self.contents_of_root(), shape.files | {
            added: shape.files[existing] for existing, added in shape.links})
        reports = {}
        for way, options, flags in FOLDER_WAYS:
            if way == "first walk":
                index = self.work.new_folder("index")
            with self.subTest(way=way):
                run = self.scan_folder(shape, index, *options, *options_of(number, way))
                expected = self.check(run, shape)
                self.assert_statistics(run.stdout.decode(), flags, expected.documents,
                                       expected.documents)
                reports[way] = without_root(run.report, self.display)
        return reports

    def scan_folder(self, shape, index, *options):
        command = None
        if shape.local_data:  # Wine sets LOCALAPPDATA anew for every program from Linux
            command = ["cmd", "/c", "set",
                       f"LOCALAPPDATA={self.display}\\{shape.local_data}&&", exe()]
        return self.scan(*options, command=command,
                         environment={"LARKSPINE_INDEX_DIRECTORY": windows_path(index)})

    def check(self, run, shape):
        expected = self.expected(shape, self.display)
        self.assertEqual((run.code, run.stderr), (0, b""))
        self.assert_report_lines(run, expected.rows)
        said = summary(expected.documents, expected.duplicates, run.shown_report)
        self.assertEqual(run.after_banner[:len(said)], said)
        return expected

    def expected(self, shape, display):
        return reference.scan(self.root, display, without=self.excluded(shape))

    def excluded(self, shape):
        return [self.root / shape.excluded] if shape.excluded else []

    def volume_ways(self, number, shape):
        script = VolumeScript(self.work)
        if shape.local_data:
            script.system("local_data", "Q:\\" + shape.local_data)
        script.follow(before(shape))
        script.run("--stats")
        script.follow(after(shape))
        runs = {}
        flags_of = {way: flags for way, _, _, flags, _ in VOLUME_WAYS}
        for way, step, options, _, _ in VOLUME_WAYS:
            if step:
                script.system(*step)
            if way == "walk after a table" and shape.links:
                # An index from a table has one name of each file, and half of the volume's number.
                # A walk must not use it; see docs/limits.md.
                options, flags_of[way] = ("--rebuild-index",), ("non", "non", "non")
            runs[way] = script.run(*options, *options_of(number, way))
        told = script.go()
        expected = self.expected(shape, "Q:")
        names, of_table, folders = self.counts(shape)
        reports = {}
        for way, _, _, _, by_table in VOLUME_WAYS:
            with self.subTest(way=way):
                report, text = told[runs[way]]
                self.assertEqual(report.decode("utf-8-sig").split("\r\n")[1:-1], expected.rows)
                self.assertEqual(report, expected.csv)
                self.assert_statistics(text, flags_of[way], *((of_table, of_table + folders) if by_table
                                                      else (names, names)))
                reports[way] = without_root(report, "Q:")
        return reports

    def assert_statistics(self, text, flags, files, entries):
        loaded, unchanged, delta = flags
        self.assertIn(f"\n  Index chargé : {loaded}\n  Fast path inchangé : {unchanged}\n"
                      f"  Delta USN appliqué : {delta}\n", text)
        self.assertRegex(text, rf"\n  Fichiers : {files}, candidats : \d+, "
                               rf"entrées index : {entries}\n")

    def contents_of_root(self):
        return {os.path.relpath(os.path.join(folder, name), self.root):
                (self.root / folder / name).read_bytes()
                for folder, _, names in os.walk(self.root) for name in names}

    def counts(self, shape):
        """How many file names, files and folders (with the root) are not excluded."""
        names, files, folders = 0, set(), 0
        for folder, _, listed in os.walk(self.root):
            if not shape.excluded or not (folder + "/").startswith(
                    f"{self.root}/{shape.excluded}/"):
                names += len(listed)
                files.update(os.stat(os.path.join(folder, name)).st_ino for name in listed)
                folders += 1
        return names, len(files), folders


def without_root(report, display):
    return report.replace(b';"' + display.encode() + b"\\", b';"')


if __name__ == "__main__":
    unittest.main()
