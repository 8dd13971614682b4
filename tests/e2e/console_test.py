"""What a person sees: the progress block, the messages below it, and the closing pause."""
import os
import unittest

from end_to_end import EndToEnd, RestrictedPrefix
from program import BANNER_END, summary, windows_path
from terminal import BLOCK, Terminal, block_row, percentage

PAUSE = "Appuyez sur Entrée pour fermer Larkspine..."
MIB = 1 << 20


class ConsoleCase(EndToEnd):
    def terminal(self, *arguments, **settings):
        terminal = Terminal(self.work, *arguments, **settings)
        self.addCleanup(terminal.close)
        return terminal

    def assert_block(self, rows, documents=None, duplicates=None):
        """Exactly one block is on the screen, and its bar agrees with its percentage."""
        self.assertEqual(sum(row.startswith("Analyse : [") for row in rows), 1, rows)
        at = block_row(rows)
        lines = [pattern.fullmatch(row.rstrip()) for pattern, row in zip(BLOCK, rows[at:])]
        self.assertTrue(len(lines) == 4 and all(lines), rows)
        full, empty, percent = lines[0].groups()
        self.assertEqual((len(full), len(empty)),
                         (int(percent) // 5, 20 - int(percent) // 5), rows)
        if documents is not None:
            self.assertEqual((int(lines[2].group(1)), int(lines[3].group(1))),
                             (documents, duplicates), rows)
        return at

    def assert_pauses(self, terminal, code):
        """The program waits with a visible cursor after its prompt, and Enter ends it."""
        self.assertEqual(terminal.code, None)
        terminal.judge(lambda rows: self.assertEqual(rows[-1].rstrip(), PAUSE))
        terminal.judge(lambda rows: self.assertEqual(
            terminal.cursor(), (len(PAUSE), len(rows) - 1, True)))
        self.assertEqual(terminal.press_enter_until_the_end(), code)


class ProgressTest(ConsoleCase, unittest.TestCase):
    """A scan that takes some seconds: twelve large files, all of whose bytes must be read."""

    PAIRS, SIZE = 6, 128 * MIB

    def setUp(self):
        super().setUp()
        for pair in range(self.PAIRS):
            for name in ("original", "copie"):
                path = self.root / f"{name} {pair}.bin"
                path.touch()
                os.truncate(path, self.SIZE + pair)  # all zeros, which take no room on the disk

    def test_the_block_is_redrawn_in_place_and_ends_full_above_the_summary(self):
        terminal = self.terminal(self.display, "-j", "1", "--no-index")

        terminal.wait_until(lambda: 20 <= percentage(terminal.rows()) <= 60)
        place = terminal.judge(self.assert_block)
        self.assertFalse(terminal.cursor()[2], "the cursor is visible while the scan runs")
        earlier = percentage(terminal.rows())
        terminal.wait_until(lambda: percentage(terminal.rows()) > earlier)
        self.assertEqual(terminal.judge(self.assert_block), place)

        terminal.wait_for_text(PAUSE)
        terminal.judge(lambda rows: self.assert_finished(terminal, rows, place))
        self.assert_pauses(terminal, 0)

    def assert_finished(self, terminal, rows, place):
        self.assertEqual(percentage(rows), 100)
        self.assertEqual(self.assert_block(rows, 2 * self.PAIRS, self.PAIRS), place)
        self.assertTrue("\n".join(rows[:place]).endswith(BANNER_END.decode().rstrip("\n") + "\n"))
        report, = terminal.folder.glob("*.csv")
        below = summary(2 * self.PAIRS, self.PAIRS, windows_path(report)).decode().split("\n")
        # A path longer than a row continues in the next one.
        shown = "\n".join(row.rstrip() for row in rows[place + 4:])
        self.assertEqual(shown.replace("\n", ""), "".join(below) + PAUSE)
        self.assertTrue(shown.startswith("\n".join(below[:4])), rows)
        self.assertTrue(shown.endswith("\n\n" + PAUSE), rows)


class PauseTest(ConsoleCase, unittest.TestCase):
    """When the program waits before its console window closes, and when it does not."""

    def test_a_refused_run_in_its_own_console_waits_for_enter(self):
        for arguments, code, message in (
                (("-x",), 1, "Les paramètres fournis ne sont pas valides."),
                ((self.display + "\\absent",), 2, "Impossible d’accéder au dossier sélectionné.")):
            with self.subTest(arguments=arguments):
                terminal = self.terminal(*arguments)
                terminal.wait_for_text(PAUSE)
                terminal.judge(lambda rows, message=message: self.assertEqual(
                    [row.rstrip() for row in rows[-3:]], [message, "", PAUSE]))
                self.assertEqual(block_row(terminal.rows()), None)
                self.assert_pauses(terminal, code)

    def test_in_a_console_shared_with_a_command_prompt_the_program_does_not_wait(self):
        self.file("a")
        terminal = self.terminal(self.display, "--no-index", through=("cmd", "/c"))
        self.assertEqual(terminal.wait_for_end(), 0)
        terminal.judge(lambda rows: self.assert_block(rows, 1, 0))
        self.assertNotIn("Appuyez", "\n".join(terminal.rows()))
        self.assertTrue(terminal.cursor()[2])

    def test_with_its_output_in_a_file_the_program_neither_draws_nor_waits(self):
        self.file("a")
        terminal = self.terminal(self.display, "--no-index", redirection=">out")
        self.assertEqual(terminal.wait_for_end(), 0)
        report, = terminal.folder.glob("*.csv")
        said = (terminal.folder / "out").read_bytes()
        self.assertEqual(said[said.index(BANNER_END) + len(BANNER_END):],
                         summary(1, 0, windows_path(report)))
        self.assertNotIn("Analyse", "\n".join(terminal.rows()))

    def test_with_its_input_from_a_file_the_program_draws_but_does_not_wait(self):
        self.file("a")
        terminal = self.terminal(self.display, "--no-index", redirection="</dev/null")
        self.assertEqual(terminal.wait_for_end(), 0)
        terminal.judge(lambda rows: self.assert_block(rows, 1, 0))
        self.assertNotIn("Appuyez", "\n".join(terminal.rows()))


class FailedScanTest(RestrictedPrefix, ConsoleCase, unittest.TestCase):
    def test_the_error_message_stands_below_the_block(self):
        self.root.chmod(0)
        terminal = self.terminal(self.display, "--no-index", prefix=self.prefix)
        terminal.wait_for_text(PAUSE)

        def judgement(rows):
            place = self.assert_block(rows, 0, 0)
            self.assertEqual([row.rstrip() for row in rows[place + 4:]],
                             ["L’analyse n’a pas pu être terminée.",
                              "Erreur : root directory is not readable", "", PAUSE])
        terminal.judge(judgement)
        self.assert_pauses(terminal, 3)
