"""The kit for a real Windows, tested as far as Wine allows: everything but the journal, the file
table and the disk in a file. The kit's table says what only Windows can check."""
import pathlib
import re
import shutil
import time
import unittest
import zipfile

from end_to_end import EndToEnd
from prefix import Prefix, restricted_launcher
from program import exe, required, windows_path
from terminal import Terminal

# Wine does not support these, or does not deny the superuser anything.
NOT_UNDER_WINE = {
    "jonction", "lien symbolique vers un dossier", "lien symbolique vers un fichier",
    "volume monté dans un dossier", "fichier compressé", "dossier sensible à la casse",
    "demi-codet isolé", "chemin de plus de 4 000", "fichier sans droit de lecture",
    "dossier illisible"}
LONGEST = 400  # seconds; the whole kit takes 15 on an idle machine
RIGHT, DIFFERS, NOT_POSSIBLE = "juste/right", "DIFFÈRE/DIFFERS", "impossible/not possible"


def kit():
    return windows_path(required("LARKSPINE_WINDOWS_CHECK_EXE"))


class Table:
    def __init__(self, text):
        self.text = text
        self.rows = []
        for line in text.splitlines():
            cells = [cell.strip() for cell in line.split(" | ")]
            if cells[0] in (RIGHT, DIFFERS, NOT_POSSIBLE):
                verdict, step, what, *detail = cells
                self.rows.append((verdict, step.split(" / ")[0], what.split("/")[0],
                                  " | ".join(detail)))

    def steps(self, verdict):
        return {step for found, step, _, _ in self.rows if found == verdict}

    def row(self, step, what):
        found = [row for row in self.rows if row[1] == step and row[2] == what]
        if len(found) != 1:
            raise AssertionError(f"{len(found)} rows {step}, {what} in:\n{self.text}")
        return found[0]


class KitCase(EndToEnd):
    def setUp(self):
        super().setUp()
        self.place = self.work.new_folder("place")

    def check(self, *options, place=None, **settings):
        """A run on the place, and its table."""
        place = ("--folder", windows_path(self.place)) if place is None else place
        run = self.work.run("--yes", *place, *options,
                            command=[kit(), "--program", exe()], time_limit=LONGEST, **settings)
        return run, Table((run.stdout + run.stderr).decode())

    def check_planted(self, fault, part):
        state = self.work.new_folder("state")
        run = self.work.run(
            "--yes", "--folder", windows_path(self.place), "--part", part,
            command=[kit(), "--program", windows_path(required("LARKSPINE_PLANTED_PROGRAM_EXE"))],
            environment={"PLANTED_FAULT": fault, "PLANTED_PROGRAM": exe(),
                         "PLANTED_STATE": windows_path(state)}, time_limit=LONGEST)
        return run, Table((run.stdout + run.stderr).decode())

    def assert_nothing_stays(self, run_folder, but=()):
        """The place is empty again, and the kit's own folder holds only the result."""
        self.assertEqual(sorted(str(path.relative_to(self.place))
                                for path in self.place.rglob("*")), sorted(but))
        own, = run_folder.glob("larkspine-check-*")
        self.assertEqual(sorted(path.name for path in own.iterdir()),
                         ["resultat-result.zip", "table.txt"])
        return own


class FolderTest(KitCase, unittest.TestCase):
    def test_in_a_folder_every_row_that_needs_no_volume_is_right(self):
        run, table = self.check()
        self.assertEqual((run.code, table.steps(DIFFERS)), (0, set()), table.text)
        without_way = {(step, what) for verdict, step, what, _ in table.rows
                       if verdict == NOT_POSSIBLE and what != "voie"}
        self.assertEqual({step for step, _ in without_way} - {"démarrages"}, NOT_UNDER_WINE)
        self.assertEqual({detail for verdict, _, what, detail in table.rows
                          if verdict == NOT_POSSIBLE and what == "voie"},
                         {"un dossier n’a pas de journal / a folder has no journal"})
        self.assertGreater(len(table.rows), 170)
        own = self.assert_nothing_stays(run.folder)
        self.assert_result(own, table)

    def assert_result(self, own, table):
        with zipfile.ZipFile(own / "resultat-result.zip") as archive:
            self.assertIsNone(archive.testzip())
            names = archive.namelist()
            text = archive.read("table.txt").decode("utf-8-sig")
        self.assertEqual(text.encode("utf-8-sig"), (own / "table.txt").read_bytes())
        self.assertEqual(Table(text).rows, table.rows)
        self.assertRegex(text, r"^Windows 10\.0\.\d+, UBR")
        self.assertIn("Wine 8", text)
        kinds = {re.sub(r"^runs/[^/]*/", "", name) for name in names}
        self.assertEqual({"index" if name.endswith(".lsi") else "report"
                          if name.startswith("Fennick_Resultats_") else name for name in kinds},
                         {"table.txt", "journal.txt", "stdout.txt", "stderr.txt", "screen.txt",
                          "index", "report"})
        reports = [name for name in names if name.endswith(".csv")]
        self.assertGreater(len(reports), 60)

    def test_without_read_rights_the_rows_about_access_rights_are_right(self):
        prefix = Prefix(self.work, launcher=restricted_launcher(self.work))
        self.addCleanup(prefix.close)
        # Wine deletes no file that it may not read; Windows needs only the right to delete.
        for part, step, what, stays in (
                ("listing", "fichier sans droit de lecture", "rapport",
                 ["special", "special/interdit.bin"]),
                ("refusals", "dossier illisible", "code", ["fermé"])):
            run, table = self.check("--part", part, prefix=prefix)
            self.assertEqual((run.code, table.steps(DIFFERS)), (0, set()), table.text)
            self.assertIn((RIGHT, step, what), {row[:3] for row in table.rows}, table.text)
            self.assert_nothing_stays(run.folder, stays)
            self.assertIn("Reste à effacer / left to delete: ", table.text)
            shutil.rmtree(self.place / "special", ignore_errors=True)

    def test_on_a_drive_without_a_journal_the_table_says_why(self):
        folder = self.work.new_folder("drive")
        prefix = Prefix(self.work, drives={"x": folder})
        self.addCleanup(prefix.close)
        run, table = self.check("--part", "listing", place=("--drive", "x:"), prefix=prefix)
        self.assertEqual((run.code, table.steps(DIFFERS)), (0, set()), table.text)
        self.assertEqual(table.row("deuxième exécution", "voie")[0::3],
                         (NOT_POSSIBLE, "pas de journal / no journal: 50"))
        self.assertEqual(list(folder.iterdir()), [])
        self.assertIn("il remplit puis vide le lecteur", run.stdout.decode())


class RefusalTest(KitCase, unittest.TestCase):
    """Nothing is made without agreement, and nothing in a folder that is not empty."""

    def assert_untouched(self, run, kept=()):
        self.assertEqual(run.code, 2)
        self.assertEqual({path.name for path in self.place.iterdir()}, set(kept))

    def test_without_agreement_nothing_is_made(self):
        run = self.work.run("--folder", windows_path(self.place),
                            command=[kit(), "--program", exe()])
        self.assert_untouched(run)
        self.assertIn("Continuer ?", run.stdout.decode())
        self.assertEqual(list(run.folder.iterdir()), [])

    def test_a_folder_that_is_not_empty_is_left_alone(self):
        (self.place / "mine").write_bytes(b"mine")
        run, _ = self.check()
        self.assert_untouched(run, ["mine"])
        self.assertIn("n’est pas vide / is not empty", run.stderr.decode())

    def test_a_missing_program_or_an_unknown_option_is_refused_with_a_message(self):
        run = self.work.run("--yes", command=[kit()])
        if (pathlib.Path(required("LARKSPINE_WINDOWS_CHECK_EXE")).parent / "larkspine.exe").exists():
            run = self.work.run("--yes", "--program", "absent.exe", command=[kit()])
        self.assert_untouched(run)
        self.assertIn("missing beside this program", run.stderr.decode())
        run = self.work.run("--autre", command=[kit()])
        self.assert_untouched(run)
        self.assertIn("windows_check.exe [--yes]", run.stderr.decode())

    def test_a_place_that_cannot_be_made_leaves_only_the_result(self):
        run, table = self.check(place=())
        self.assertEqual((run.code, table.rows), (2, []))
        self.assertIn("Wine has no virtual disks", run.stderr.decode())
        self.assert_nothing_stays(run.folder)

    @staticmethod
    def interrupted(terminal):
        """Presses Ctrl+C. A key may be lost to Wine's terminal, so it is pressed again."""
        terminal.press_ctrl_c()
        time.sleep(0.5)
        return "Arrêt / stopped" in "\n".join(terminal.rows())

    def test_ctrl_c_stops_the_kit_and_leaves_nothing_behind(self):
        terminal = Terminal(self.work, through=(kit(), "--yes", "--folder",
                                                windows_path(self.place), "--program"))
        self.addCleanup(terminal.close)
        terminal.wait_for_text("première exécution")
        terminal.wait_until(lambda: self.interrupted(terminal))
        self.assertEqual(terminal.press_enter_until_the_end(), 2)
        terminal.judge(lambda rows: self.assertIn(
            "Arrêt / stopped: interrompu / interrupted", "\n".join(rows)))
        self.assert_nothing_stays(terminal.folder)


class PlantedFaultTest(KitCase, unittest.TestCase):
    """Each fault of the program under test is reported in its row of the table."""

    def assert_named(self, fault, part, step, what, detail):
        run, table = self.check_planted(fault, part)
        self.assertEqual(run.code, 1, table.text)
        verdict, _, _, found = table.row(step, what)
        self.assertEqual(verdict, DIFFERS, table.text)
        self.assertRegex(found, detail)
        self.assert_nothing_stays(run.folder)
        return table

    def test_without_a_planted_fault_every_row_is_right(self):
        run, table = self.check_planted("", "options")
        self.assertEqual((run.code, table.steps(DIFFERS)), (0, set()), table.text)

    def test_a_wrong_group_is_reported(self):
        self.assert_named("wrong_group", "listing", "première exécution", "groupes",
                          "contenus différents dans un groupe / different contents in one group: ")

    def test_a_stale_digest_and_a_missed_rename_are_reported(self):
        run, table = self.check_planted("stale_digest,missed_rename", "changes")
        self.assertEqual(run.code, 1)
        for step, named in (("écrire dans un fichier", "empreinte ou entrée périmée de l’index / "
                             "stale digest or entry of the index: "),
                            ("renommer un fichier", "renommage ou suppression manqués / missed "
                             "rename or deletion: ")):
            with self.subTest(step=step):
                verdict, _, _, detail = table.row(step, "groupes")
                self.assertEqual(verdict, DIFFERS, table.text)
                self.assertTrue(detail.startswith(named), detail)
                self.assertEqual(table.row(step, "--rebuild-index")[0], RIGHT)

    def test_a_touched_index_is_reported(self):
        self.assert_named("touched_index", "options", "--no-index", "index",
                          "the index was touched")

    def test_a_hidden_cursor_is_reported(self):
        self.assert_named("hidden_cursor", "screen", "écran 850", "curseur",
                          "invisible à la fin / hidden at the end")

    def test_a_wrong_exit_code_is_reported(self):
        self.assert_named("wrong_code", "refusals", "rapport impossible à écrire", "code",
                          "^5, attendu / expected: 4")


if __name__ == "__main__":
    unittest.main()
