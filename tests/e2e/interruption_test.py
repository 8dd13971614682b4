"""Ctrl+C on a console: what is kept, which message is shown, and how the next run continues."""
import os
import re
import unittest

from end_to_end import EndToEnd
from program import windows_path
from terminal import Terminal, percentage

MIB = 1 << 20
KEPT = "Analyse interrompue : les empreintes déjà calculées sont conservées dans l’index."
PLAIN = "Analyse interrompue."
CODE = 0xC000013A & 0xFF  # the byte of it that the shell sees
HASHES = re.compile(rb"Hash complets .*: (\d+)/(\d+)\n")


class InterruptionTest(EndToEnd, unittest.TestCase):
    """A scan that takes some seconds: pairs of large files, all of whose bytes must be read."""

    PAIRS, SIZE = 8, 128 * MIB

    def setUp(self):
        super().setUp()
        self.index = self.work.new_folder("index")
        for pair in range(self.PAIRS):
            for name in ("original", "copie"):
                path = self.root / f"{name} {pair}.bin"
                path.touch()
                os.truncate(path, self.SIZE + pair)  # all zeros, which take no room on the disk

    def interrupted(self, *arguments):
        """A run that is interrupted when its first groups are done."""
        terminal = Terminal(self.work, self.display, "-j", "1", *arguments, index=self.index)
        self.addCleanup(terminal.close)
        terminal.wait_until(lambda: 30 <= percentage(terminal.rows()) <= 80)
        terminal.press("C-c")
        self.assertEqual(terminal.wait_for_end(), CODE)
        self.assertEqual(list(terminal.folder.glob("*.csv")), [])
        return terminal

    def assert_ended_with(self, terminal, words):
        """One line below the block, the cursor visible, and no prompt for a key."""
        def judgement(rows):
            self.assertEqual(rows[-1].rstrip(), words)
            self.assertTrue(rows[-2].startswith("Doublons trouvés : "), rows)
            self.assertEqual(terminal.cursor(), (0, len(rows), True))
        terminal.judge(judgement)

    def test_the_next_run_continues_where_the_interrupted_one_stopped(self):
        self.assert_ended_with(self.interrupted(), KEPT)

        undisturbed = self.scan("--no-index")
        resumed = self.scan("--stats", environment={
            "LARKSPINE_INDEX_DIRECTORY": windows_path(self.index)})
        self.assertEqual(resumed.report, undisturbed.report)
        computed, reused = map(int, HASHES.search(resumed.stdout).groups())
        self.assertEqual(computed + reused, 2 * self.PAIRS)
        self.assertGreater(reused, 0)
        self.assertGreater(computed, 0)

    def test_an_interrupted_run_without_an_index_says_only_that_it_was_interrupted(self):
        self.assert_ended_with(self.interrupted("--no-index"), PLAIN)
        self.assertEqual(list(self.index.iterdir()), [])


if __name__ == "__main__":
    unittest.main()
