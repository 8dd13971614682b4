"""The report and the summary of the finished program against an independent reference."""
import time
import unittest

import reference
import tree
from end_to_end import EndToEnd
from program import REPORT_NAME, REPORT_TIME, Workspace, summary, windows_path


class Corpus:
    """The generated tree and what must be found in it; made once, only read."""

    def __init__(self, workspace):
        self.root = workspace.new_folder("arbre")
        tree.generate(self.root, workspace.new_folder("dehors"))
        self.expected = reference.scan(self.root, windows_path(self.root))


def setUpModule():
    global shared, corpus
    shared = Workspace()
    unittest.addModuleCleanup(shared.close)
    corpus = Corpus(shared)


class CorpusTest(unittest.TestCase):
    """The tree is worth scanning: without these tests an empty one would pass every comparison."""

    def test_the_tree_has_many_groups_every_boundary_size_long_paths_and_rare_characters(self):
        paths = [path for _, paths in corpus.expected.groups for path in paths]
        sizes = {size for size, _ in corpus.expected.groups}
        self.assertGreaterEqual(corpus.expected.documents, 2000)
        self.assertGreaterEqual(len(corpus.expected.groups), 300)
        self.assertGreaterEqual(corpus.expected.duplicates, 1000)
        self.assertLessEqual(set(tree.BOUNDARY_SIZES), sizes)
        self.assertGreater(max(map(len, paths)), 800)
        self.assertTrue(any(ord(character) > 0xFFFF for path in paths for character in path))

    def test_the_report_is_longer_than_the_buffer_of_its_writer(self):
        self.assertGreater(len(corpus.expected.csv), 262_144)

    def test_the_reference_folds_case_by_code_unit_before_it_compares(self):
        names = ["Z:\\b", "Z:\\A_", "Z:\\az", "Z:\\aA", "Z:\\Ａ", "Z:\\😀", "Z:\\a\\x", "Z:\\a b",
                 "Z:\\É", "Z:\\éa"]
        self.assertEqual(sorted(names, key=reference.order),
                         ["Z:\\a b", "Z:\\aA", "Z:\\az", "Z:\\a\\x", "Z:\\A_", "Z:\\b", "Z:\\É",
                          "Z:\\éa", "Z:\\😀", "Z:\\Ａ"])


class ReportTest(EndToEnd, unittest.TestCase):
    def scan_corpus(self, *options, **settings):
        run = self.work.run(windows_path(corpus.root), *options, **settings)
        self.assert_reports(run, corpus.expected)

    def test_two_workers_find_what_the_reference_finds(self):
        self.scan_corpus("-j", "2")

    def test_64_workers_comparing_bytes_find_what_the_reference_finds(self):
        self.scan_corpus("-j", "64", "--verify-bytes")

    def test_a_run_without_an_index_finds_what_the_reference_finds(self):
        self.scan_corpus("--no-index")

    def test_a_second_run_with_the_index_of_the_first_finds_what_the_reference_finds(self):
        index = {"LARKSPINE_INDEX_DIRECTORY": windows_path(self.work.new_folder("kept-index"))}
        self.scan_corpus("--rebuild-index", environment=index)
        self.scan_corpus(environment=index)


class SmallTreeTest(EndToEnd, unittest.TestCase):
    """Trees so small that the expected rows are written by hand."""

    def test_an_empty_folder_gives_a_report_of_the_header_alone(self):
        run = self.scan()
        self.assertEqual((run.code, len(run.report), run.report), (0, 50, reference.HEADER))
        self.assert_summary(run, 0, 0)

    def test_without_duplicates_the_summary_says_so_and_the_report_is_the_header_alone(self):
        self.file("un", b"1")
        self.file("deux", b"2")
        run = self.scan()
        self.assertEqual(run.report, reference.HEADER)
        self.assert_summary(run, 2, 0)

    def test_three_names_and_a_copy_report_the_copy_and_the_first_name(self):
        self.file("c")
        self.link("b", "c")
        self.link("d", "c")
        self.file("a copie")
        self.assert_rows(self.scan(), (1, "Original", "a copie", 7), (1, "Doublon", "b", 7))

    def test_empty_files_are_one_group_also_when_bytes_are_compared(self):
        for name in ("a", "b/c", "d"):
            self.file(name, b"")
        run = self.scan("--verify-bytes")
        self.assert_rows(run, (1, "Original", "a", 0), (1, "Doublon", "b\\c", 0),
                         (1, "Doublon", "d", 0))

    def test_a_link_to_the_root_is_not_followed(self):
        self.file("a")
        (self.root / "boucle").symlink_to(self.root, target_is_directory=True)
        run = self.scan()
        self.assert_rows(run)
        self.assert_summary(run, 1, 0)

    def test_names_that_differ_only_in_case_are_separate_files(self):
        # Windows has case-sensitive folders; here every folder is one.
        for name in ("b.txt", "a.txt", "A.txt", "B/x", "b/x"):
            self.file(name)
        self.file("a.TXT", b"CONTENU")
        run = self.scan()
        self.assert_rows(run, (1, "Original", "A.txt", 7), (1, "Doublon", "a.txt", 7),
                         (1, "Doublon", "b.txt", 7), (1, "Doublon", "B\\x", 7),
                         (1, "Doublon", "b\\x", 7))
        self.assert_summary(run, 6, 4)

    def test_double_quotes_in_a_name_are_doubled(self):
        # Windows does not allow such names. Wine lists them and opens none of them: files with
        # contents drop out, empty ones need not be read.
        for name in ('"', 'dit "vide"', "rien"):
            self.file(name, b"")
        for name in ('dit "plein"', "plein", "plein aussi"):
            self.file(name)
        run = self.scan()
        self.assert_rows(run, (1, "Original", '""', 0), (1, "Doublon", 'dit ""vide""', 0),
                         (1, "Doublon", "rien", 0), (2, "Original", "plein", 7),
                         (2, "Doublon", "plein aussi", 7))
        self.assert_summary(run, 6, 3)

    def test_an_index_from_before_a_change_does_not_hide_the_change(self):
        index = {"LARKSPINE_INDEX_DIRECTORY": windows_path(self.work.new_folder("kept-index"))}
        for name in ("a", "b", "c", "d"):
            self.file(name)
        self.scan(environment=index)
        self.file("b", b"CONTENU")  # the same size
        (self.root / "c").unlink()
        (self.root / "d").rename(self.root / "e")
        self.file("f")
        self.assert_rows(self.scan(environment=index), (1, "Original", "a", 7),
                         (1, "Doublon", "e", 7), (1, "Doublon", "f", 7))


class RootFormTest(EndToEnd, unittest.TestCase):
    """However the root is written, the report names the same paths."""

    def setUp(self):
        super().setUp()
        tree.Generator(self.root, self.work.new_folder("dehors"), seed=3).odd_names()
        self.expected = reference.scan(self.root, self.display)

    def assert_found_as(self, root, **settings):
        self.assert_reports(self.scan(root=root, **settings), self.expected)

    def test_a_trailing_backslash_changes_nothing(self):
        self.assert_found_as(self.display)
        self.assert_found_as(self.display + "\\")

    def test_forward_slashes_change_nothing(self):
        self.assert_found_as(self.display.replace("\\", "/"))
        self.assert_found_as(self.display.replace("\\", "/") + "/")

    def test_the_long_form_is_shown_without_its_prefix(self):
        self.assert_found_as("\\\\?\\" + self.display)
        self.assert_found_as("\\\\?\\" + self.display + "\\")

    def test_a_relative_folder_is_taken_from_the_current_directory(self):
        self.assert_found_as(self.root.name, folder=self.work.path)

    def test_the_current_directory_itself_is_scanned_before_the_report_is_written_into_it(self):
        self.assert_found_as(".", folder=self.root)

    def test_a_root_longer_than_260_characters_is_scanned(self):
        deep = self.root
        while len(str(deep)) < 300:
            deep = deep / ("profond" * 6)
        deep.mkdir(parents=True)
        for name in ("a", "b"):
            (deep / name).write_bytes(b"x")
        self.display = windows_path(deep)
        self.assert_rows(self.scan(), (1, "Original", "a", 1), (1, "Doublon", "b", 1))


class OutputTest(EndToEnd, unittest.TestCase):
    def test_the_banner_is_an_empty_line_a_drawing_and_the_fixed_lines(self):
        lines = self.scan().banner.decode().split("\n")
        drawing = lines[1:lines.index("Version 0.0.5")]
        self.assertEqual(lines[0], "")
        self.assertGreater(len(drawing), 1)
        self.assertEqual(lines[1 + len(drawing):],
                         ["Version 0.0.5", "Auteur : Pelvane", "Entreprise : Ostrell", "-" * 40,
                          "", ""])

    def test_the_report_is_named_after_the_local_time(self):
        before = time.strftime(REPORT_TIME)
        run = self.scan()
        after = time.strftime(REPORT_TIME)
        written = REPORT_NAME.fullmatch(run.report_path.name).group(1)
        self.assertLessEqual(before, written)
        self.assertLessEqual(written, after)

    def test_the_summary_names_a_report_in_a_folder_with_accents(self):
        run = self.scan(folder=self.work.new_folder("rapports été 日本 😀"))
        self.assert_reports(run, reference.Expected(0, ()))

    def test_a_report_of_the_same_second_is_replaced_whole(self):
        folder = self.work.new_folder("rapports")
        now = time.time()
        for second in range(60):
            moment = time.strftime(REPORT_TIME, time.localtime(now + second))
            (folder / f"Fennick_Resultats_{moment}.csv").write_bytes(bytes(1000))
        run = self.scan(folder=folder)
        shown = run.after_banner.decode().splitlines()[-1]
        report = folder / shown.rpartition("\\")[2]
        self.assertEqual((shown, run.reports), (windows_path(report), ()))
        self.assertEqual(report.read_bytes(), reference.HEADER)

    def test_the_summary_comes_before_the_statistics(self):
        self.file("a")
        self.file("b")
        run = self.scan("--stats")
        expected = summary(2, 1, run.shown_report)
        self.assert_rows(run, (1, "Original", "a", 7), (1, "Doublon", "b", 7))
        self.assertEqual(run.after_banner[:len(expected)], expected)
