"""How runs end: every exit code with its exact messages, and what does not end a run."""
import os
import unittest

import reference
from end_to_end import EndToEnd, RestrictedPrefix
from mounts import mount, unmount
from prefix import Prefix
from program import exe, windows_path

INVALID = "Les paramètres fournis ne sont pas valides."
NOT_ACCESSIBLE = "Impossible d’accéder au dossier sélectionné."
UNFINISHED = "L’analyse n’a pas pu être terminée."
NOT_READABLE = "Erreur : root directory is not readable"
NOT_SAVED = "Impossible d’enregistrer les résultats."


class ParameterTest(EndToEnd, unittest.TestCase):
    """Code 1."""

    def assert_invalid(self, *arguments):
        with self.subTest(arguments=arguments):
            self.assert_refused(self.work.run(*arguments), 1, INVALID)

    def test_an_invalid_argument_of_each_kind_is_refused(self):
        self.assert_invalid(self.display, "-j", "")
        self.assert_invalid(self.display, "--no-index", "--rebuild-index")
        self.assert_invalid(self.display, self.display)

    def test_a_wrong_option_is_reported_before_a_missing_folder(self):
        self.assert_invalid(self.display + "\\absent", "--bogus")


class FolderTest(EndToEnd, unittest.TestCase):
    """Code 2."""

    def assert_not_accessible(self, folder):
        with self.subTest(folder=folder):
            self.assert_refused(self.work.run(folder), 2, NOT_ACCESSIBLE)

    def test_a_missing_folder_is_refused(self):
        self.assert_not_accessible(self.display + "\\absent")
        self.assert_not_accessible(self.display + "\\absent\\encore")
        self.assert_not_accessible("\\\\?\\" + self.display + "\\absent")
        self.assert_not_accessible("absent")

    def test_a_file_is_refused(self):
        self.file("fichier")
        self.assert_not_accessible(self.display + "\\fichier")
        self.assert_not_accessible(self.display + "\\fichier\\dessous")

    def test_a_missing_drive_is_refused(self):
        self.assert_not_accessible("Q:\\")

    def test_a_folder_name_with_accents_is_found(self):
        (self.root / "été 日本 😀").mkdir()
        self.assertEqual(self.work.run(self.display + "\\été 日本 😀").code, 0)
        self.assert_not_accessible(self.display + "\\été 日本")


class PermissionTest(RestrictedPrefix, EndToEnd, unittest.TestCase):
    """Codes 3 and 4 under file permissions, and scans that permissions do not stop."""

    def scan(self, *options, **settings):
        return super().scan(*options, prefix=self.prefix, **settings)

    def test_a_root_that_cannot_be_listed_ends_the_run_with_3(self):
        self.file("a")
        self.root.chmod(0)
        for options in ((), ("--verify-bytes",), ("--no-index",), ("-j", "64")):
            self.assert_refused(self.scan(*options), 3, UNFINISHED, NOT_READABLE)

    def test_an_inner_folder_that_cannot_be_listed_does_not_stop_the_scan(self):
        for folder in ("a", "fermé", "z"):
            self.file(f"{folder}/copie")
        (self.root / "fermé").chmod(0)
        run = self.scan()
        self.assert_rows(run, (1, "Original", "a\\copie", 7), (1, "Doublon", "z\\copie", 7))
        self.assert_summary(run, 2, 1)

    def test_a_file_that_cannot_be_read_drops_out_of_its_group(self):
        for name in ("a", "b", "c"):
            self.file(name)
        (self.root / "a").chmod(0)
        run = self.scan()
        self.assert_rows(run, (1, "Original", "b", 7), (1, "Doublon", "c", 7))
        self.assert_summary(run, 3, 1)

    def test_a_read_only_current_directory_ends_the_run_with_4(self):
        self.file("a")
        self.file("b")
        folder = self.work.new_folder("en lecture seule")
        folder.chmod(0o555)
        self.assert_refused(self.scan(folder=folder), 4, NOT_SAVED)


class FullDiskTest(EndToEnd, unittest.TestCase):
    """Code 4 where the report can be created but not written."""

    PAGE = os.sysconf("SC_PAGE_SIZE")

    def setUp(self):
        super().setUp()
        self.disk = self.work.new_folder("disque")
        self.addCleanup(unmount, self.disk)
        mount(self.disk, "mount", "-t", "tmpfs", "-o", f"size={self.PAGE}", "tmpfs", self.disk)

    def assert_not_saved(self, run, written):
        self.assertEqual((run.code, run.stderr.decode(), run.after_banner, run.report),
                         (4, NOT_SAVED + "\n", b"", written))

    def test_a_full_disk_ends_the_run_with_4(self):
        self.file("a")
        self.file("b")
        (self.disk / "plein").write_bytes(bytes(self.PAGE))
        self.assert_not_saved(self.scan(folder=self.disk), b"")

    def test_a_disk_that_fills_up_ends_the_run_with_4_and_keeps_the_written_part(self):
        for name in range(100):
            self.file(f"copie {name}")
        whole = reference.scan(self.root, self.display).csv
        self.assertGreater(len(whole), self.PAGE)
        self.assert_not_saved(self.scan(folder=self.disk), whole[:self.PAGE])

    def test_a_report_that_just_fits_the_disk_is_written(self):
        self.file("a")
        self.file("b")
        run = self.scan(folder=self.disk)
        self.assert_rows(run, (1, "Original", "a", 7), (1, "Doublon", "b", 7))


class LockedFileTest(EndToEnd, unittest.TestCase):
    """Files that another program holds open without sharing."""

    def test_a_locked_file_drops_out_of_its_group(self):
        for name in ("a", "b", "c"):
            self.file(name)
        with self.locked("a"):
            for options in ((), ("--verify-bytes",), ("-j", "1")):
                run = self.scan(*options)
                self.assert_rows(run, (1, "Original", "b", 7), (1, "Doublon", "c", 7))
                self.assert_summary(run, 3, 1)
        self.assertEqual(len(reference.scan(self.root, self.display).groups[0][1]), 3)

    def test_a_pair_with_a_locked_file_is_no_group_until_the_file_is_released(self):
        self.file("a")
        self.file("b")
        index = {"LARKSPINE_INDEX_DIRECTORY": windows_path(self.work.new_folder("kept-index"))}
        with self.locked("b"):
            self.assert_rows(self.scan(environment=index))
        self.assert_rows(self.scan(environment=index), (1, "Original", "a", 7),
                         (1, "Doublon", "b", 7))

    def test_a_locked_empty_file_stays_in_its_group(self):
        self.file("a", b"")
        self.file("b", b"")
        with self.locked("b"):
            self.assert_rows(self.scan(), (1, "Original", "a", 0), (1, "Doublon", "b", 0))

    def test_locked_files_do_not_change_the_other_rows_of_the_report(self):
        for name in ("a", "b", "c", "d"):
            self.file(name)
            self.file(f"vide {name}", b"")
        self.link("vide lien", "vide b")
        self.link("e", "c")
        names = ("a", "c", "e", "vide b", "vide lien")
        with self.locked("a", "c", "vide b"):
            expected = reference.scan(self.root, self.display,
                                      locked=[self.root / name for name in names])
            self.assert_reports(self.scan(), expected)


class ExclusionTest(EndToEnd, unittest.TestCase):
    """Folders that are never scanned."""

    def assert_only_outside(self, run, *without):
        expected = reference.scan(self.root, self.display, without=without)
        self.assertEqual(expected.duplicates, 1)
        self.assert_reports(run, expected)

    def fill(self, *folders):
        for folder in folders:
            self.file(f"{folder}/copie")
        self.file("a")
        self.file("z")

    def test_the_chosen_index_folder_is_not_scanned(self):
        self.fill("index", "index/dessous")
        for written in ("\\index", "\\INDEX", "/index/"):
            environment = {"LARKSPINE_INDEX_DIRECTORY": self.display + written}
            self.assert_only_outside(self.scan(environment=environment), self.root / "index")

    def test_a_folder_whose_name_begins_with_the_index_folders_name_is_scanned(self):
        self.file("index/copie")
        self.file("index2/copie")
        self.file("z")
        environment = {"LARKSPINE_INDEX_DIRECTORY": self.display + "\\index"}
        self.assert_rows(self.scan(environment=environment), (1, "Original", "index2\\copie", 7),
                         (1, "Doublon", "z", 7))

    def test_a_root_inside_the_index_folder_is_not_scanned(self):
        self.fill("dessous")
        run = self.scan(environment={"LARKSPINE_INDEX_DIRECTORY": windows_path(self.root.parent)})
        self.assert_rows(run)
        self.assert_summary(run, 0, 0)

    def scan_with_local_data(self, value, **environment):
        # Wine sets LOCALAPPDATA itself when the first program starts, so a shell has to change it.
        command = f"set LOCALAPPDATA={value}&& {exe()} {self.display}"
        return self.work.run("/c", command, command=["cmd"], environment=environment)

    def test_the_applications_folder_is_not_scanned(self):
        self.fill("Larkspine", "Larkspine/indexes", "Larkspine/autre")
        for value in (self.display, self.display + "\\"):
            run = self.scan_with_local_data(value, LARKSPINE_INDEX_DIRECTORY=None)
            self.assert_only_outside(run, self.root / "Larkspine")

    def test_with_the_index_elsewhere_neither_its_folder_nor_the_applications_folder_is_scanned(self):
        self.fill("Larkspine", "index")
        run = self.scan_with_local_data(
            self.display, LARKSPINE_INDEX_DIRECTORY=self.display + "\\index")
        self.assert_only_outside(run, self.root / "Larkspine", self.root / "index")


class DefaultFolderTest(EndToEnd, unittest.TestCase):
    """Without a folder argument, drive C: is scanned except its Windows folder. Runs on a prefix with a
    small drive C:."""

    def setUp(self):
        super().setUp()
        self.prefix = Prefix(self.work)
        self.addCleanup(self.prefix.close)
        self.root = self.prefix.drive_c
        self.display = "C:"
        for folder in ("windows", "windows/dessous", "Windows.old", "Win", "z"):
            self.file(f"{folder}/copie")

    def test_drive_c_is_scanned_but_its_windows_folder_is_not(self):
        for arguments in ((), ("C:\\",), ("c:/", "-j", "2"), ("\\\\?\\C:\\",)):
            run = self.work.run(*arguments, prefix=self.prefix)
            display = "c:" if arguments[:1] == ("c:/",) else "C:"
            expected = reference.scan(self.root, display, without=[self.root / "windows"])
            self.assertEqual([len(paths) for size, paths in expected.groups if size == 7], [3])
            self.assert_reports(run, expected)

    def test_the_windows_folder_as_the_root_is_not_scanned(self):
        run = self.work.run("C:\\Windows\\dessous", prefix=self.prefix)
        self.assert_rows(run)
        self.assert_summary(run, 0, 0)

    def test_the_default_index_folder_is_not_scanned(self):
        variables = self.work.new_folder("variables")
        self.work.run("/c", "echo %LOCALAPPDATA%>valeur", command=["cmd"], folder=variables,
                      prefix=self.prefix)
        local_data = self.prefix.linux_path((variables / "valeur").read_text().strip())
        indexes = local_data / "Larkspine" / "indexes"
        indexes.mkdir(parents=True)
        (indexes / "copie").write_bytes(b"contenu")
        run = self.work.run(prefix=self.prefix, environment={"LARKSPINE_INDEX_DIRECTORY": None})
        self.assert_reports(run, reference.scan(
            self.root, "C:", without=[self.root / "windows", local_data / "Larkspine"]))


class ThreadTest(EndToEnd, unittest.TestCase):
    def test_repeated_runs_with_64_workers_always_give_the_expected_report(self):
        for name in range(40):
            self.file(f"copie {name:02}")
        expected = reference.scan(self.root, self.display)
        for _ in range(8):
            self.assert_reports(self.scan("-j", "64"), expected)
