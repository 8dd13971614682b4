"""Scans of a tree that tree_changer.py changes meanwhile."""
import contextlib
import os
import threading
import unittest

import reference
import tree
from index_file import digests_of, read_index
from end_to_end import EndToEnd
from program import windows_path
from tree_changer import CONTENTS, LENGTHS, Writer

RUNS = 20
SEED = 41
OPTIONS = ((), ("--verify-bytes",), ("-j", "1"), ("--verify-bytes", "-j", "64"),
           ("--rebuild-index", "-j", "8"), ("--verify-bytes", "--rebuild-index", "-j", "2"),
           ("--verify-bytes", "--no-index"))


class WhileFilesChangeTest(EndToEnd, unittest.TestCase):
    def setUp(self):
        super().setUp()
        self.index = self.work.new_folder("index")
        for number in range(60):
            self.file(f"calme/{number % 4}/{number}", b"calme %d" % (number // 3))
        for place in (None, 100_000):
            for copy in "ab":
                data = bytes(200_000)
                self.file(f"calme/grand {copy}{place}",
                          data if place is None else tree.changed_at(data, place))
        self.quiet = reference.scan(self.root, self.display)
        self.writer = Writer(self.root, SEED)
        self.known = {}  # digests by contents
        self.know(CONTENTS)
        # A file that changes between two reads gets the digest of a mixture of both states.
        self.know({first[:cut] + second[cut:] for first in CONTENTS for second in CONTENTS
                   for cut in LENGTHS if cut <= len(first)})

    def know(self, contents):
        self.known.update(digests_of(set(contents) - set(self.known)))

    def run_once(self, *options):
        return self.scan(*options,
                         environment={"LARKSPINE_INDEX_DIRECTORY": windows_path(self.index)})

    def test_runs_during_changes_report_no_wrong_group_and_the_next_quiet_run_is_right(self):
        changes = locks = 0
        for number in range(RUNS):
            options = OPTIONS[number % len(OPTIONS)]
            with self.subTest(seed=SEED, run=number, options=options):
                with self.writer as writer:
                    run = self.run_once(*options)
                changes += writer.changes
                locks += writer.locks
                self.assertEqual((run.code, run.stderr), (0, b""))
                self.check_groups(run)
                if "--no-index" not in options:
                    self.check_index_of_changing_files()
                self.check_in_quiet()
        self.assertGreater(changes, 5 * RUNS)
        self.assertGreater(locks, 0)

    def check_groups(self, run):
        """Unchanged files are in exactly their groups. Every other file was equal to the first of its
        group at some moment."""
        groups = {}
        for row in run.report.decode("utf-8-sig").split("\r\n")[1:-1]:
            number, _, path, size = row.split(";")
            groups.setdefault((int(number), int(size)), []).append(path.strip('"'))
        calm = [(size, tuple(paths)) for (_, size), paths in groups.items()
                if any(path.startswith(f"{self.display}\\calme\\") for path in paths)]
        self.assertEqual(calm, list(self.quiet.groups))
        for (_, size), paths in groups.items():
            if (size, tuple(paths)) not in calm:
                self.check_group(size, [self.held(path) for path in paths], paths)

    def check_group(self, size, held, paths):
        for contents, path in zip(held, paths):
            self.assertIn(size, map(len, contents), path)
            # An empty file is not read, so it need not have been empty at the same moment as the others.
            self.assertTrue(contents & held[0] if size else b"" in contents, paths)

    def held(self, display):
        return self.writer.possible(display.removeprefix(self.display + "\\").replace("\\", "/"))

    def check_index_of_changing_files(self):
        """Each digest is that of contents that the file held, or of a mixture of two of them."""
        for path, entry in self.entries().items():
            held = self.held(path)
            if not held:
                self.assertIn("\\calme\\", path)
                continue
            mixed = {first[:cut] + second[cut:] for first in held for second in held
                     for cut in LENGTHS if cut <= len(first)}
            if entry.sample:
                self.assertIn(entry.sample, {self.known[contents[:entry.size]][0]
                                             for contents in mixed if len(contents) >= entry.size})
            if entry.full:
                self.assertIn(entry.full, {self.known[contents][1] for contents in mixed})

    def check_in_quiet(self):
        run = self.run_once()
        self.assert_reports(run, reference.scan(self.root, self.display))
        contents = {os.path.join(folder, name): (self.root / folder / name).read_bytes()
                    for folder, _, names in os.walk(self.root) for name in names}
        self.know(contents.values())
        entries = self.entries()
        self.assertEqual(set(entries), {windows_path(path) for path in contents})
        for path, data in contents.items():
            entry = entries[windows_path(path)]
            sample, full = self.known[data]
            self.assertEqual(entry.size, len(data))
            self.assertIn((entry.sample, entry.full), {("", ""), (sample, ""), (sample, full)}, path)
        # Each file in a group of files that are not empty has both digests.
        for size, paths in reference.scan(self.root, self.display).groups:
            for path in paths if size else ():
                self.assertTrue(entries[path].sample and entries[path].full, path)

    def entries(self):
        (index,) = self.index.glob("*.lsi")
        return read_index(index)


@contextlib.contextmanager
def moving(folder, away):
    """The folder is moved away and back again until the block ends."""
    stopped = threading.Event()

    def move():
        while not stopped.is_set():
            folder.rename(away)
            stopped.wait(0.002)
            away.rename(folder)
            stopped.wait(0.01)

    thread = threading.Thread(target=move)
    thread.start()
    try:
        yield
    finally:
        stopped.set()
        thread.join()


class WhileTheRootMovesTest(EndToEnd, unittest.TestCase):
    def test_a_run_whose_root_moves_away_succeeds_or_reports_the_root_missing_or_unreadable(self):
        for place in range(30):
            self.file(f"{place % 3}/{place}")
        away = self.work.path / "ailleurs"
        ended = {0: b"", 2: "Impossible d’accéder au dossier sélectionné.\n".encode(),
                 3: "L’analyse n’a pas pu être terminée.\n"
                    "Erreur : root directory is not readable\n".encode()}
        for _ in range(10):
            with moving(self.root, away):
                run = self.scan("--no-index", "--verify-bytes")
            self.assertIn(run.code, ended)
            self.assertEqual(run.stderr, ended[run.code])
            self.assertEqual(len(run.reports), run.code == 0)
        expected = reference.scan(self.root, self.display)
        self.assert_reports(self.scan(), expected)


if __name__ == "__main__":
    unittest.main()
