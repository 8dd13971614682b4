"""The README tells the truth: its run is a run, and each of its commands is one that is run."""
import pathlib
import random
import re
import shlex
import subprocess
import unittest

from language import EndToEnd
from program import REPORT_NAME, windows_path, wine_environment
from terminal import Terminal

PROJECT = pathlib.Path(__file__).resolve().parent.parent.parent
README = (PROJECT / "README.md").read_text(encoding="utf-8")
PAUSE = "Appuyez sur Entrée pour fermer Larkspine..."
COMMANDS = ("sh", "bat")  # the languages of blocks whose every line is a command
HOME = r"Z:\home\u"  # where the README's run was taken
BUILD_LIMIT = 800  # seconds; scripts/scan builds the program first

# Commands that need a Windows machine. Their section must say that they were not tried.
UNTRIED = {"cmake --preset windows -DLARKSPINE_BLAKE3_SOURCE_DIR=/path/to/blake3/c && "
           "cmake --build --preset windows"}


def blocks(text, *languages):
    return [body for language, body in re.findall(r"^```(\w*)\n(.*?)^```$", text,
                                                  re.DOTALL | re.MULTILINE)
            if language in languages]


def commands(language):
    return dict.fromkeys(line for block in blocks(README, language) for line in block.splitlines())


def the_block_with(text):
    block, = [block for block in blocks(README, "text") if text in block]
    return block


def script(name):
    return (PROJECT / "scripts" / name).read_text(encoding="utf-8")


def without_times(text):
    """What two runs of one tree must agree in."""
    text = REPORT_NAME.sub("REPORT.csv", text)
    text = re.sub(r"(Temps écoulé : )[\d:]+", r"\1T", text)
    return re.sub(r"(/total : )[\d/]+", r"\1T", text)


class ReadmeTest(EndToEnd, unittest.TestCase):
    def setUp(self):
        super().setUp()
        # The tree that the README's run scanned.
        self.home = self.work.new_folder("home")
        self.root = self.home / "photos"
        self.display = windows_path(self.root)
        source = random.Random(1)
        beach, dinner = source.randbytes(600_000), source.randbytes(250_000)
        for name, contents in (("2024/plage.jpg", beach), ("2024/dîner.jpg", dinner),
                               ("copie/plage.jpg", beach), ("copie/plage (2).jpg", beach),
                               ("tri/dîner.jpg", dinner),
                               ("tri/notes.txt", b"a" * 1200), ("tri/notes 2.txt", b"b" * 1200)):
            self.file(name, contents)

    def at_home(self, text):
        return text.replace(windows_path(self.home), HOME)

    def test_every_code_block_has_a_language_that_says_what_it_is(self):
        languages = re.findall(r"^```(\w*)$", README, re.MULTILINE)[::2]
        self.assertEqual(set(languages) - {*COMMANDS, "text"}, set())

    def test_the_screen_and_the_report_are_those_of_a_run(self):
        terminal = Terminal(self.work, self.display, "--stats")
        self.addCleanup(terminal.close)
        terminal.wait_for_text(PAUSE)

        def judgement(rows):
            # A path longer than a row goes on in the next one.
            shown = "\n".join(row.rstrip() for row in rows)
            shown = re.sub(r"(dans :\n)(.*?)(\n\n)",
                           lambda at: at[1] + at[2].replace("\n", "") + at[3], shown, flags=re.S)
            shown = shown.replace(windows_path(terminal.folder), HOME)
            self.assertEqual(without_times(shown + "\n"), without_times(the_block_with("Auteur")))
        terminal.judge(judgement)
        report, = terminal.folder.glob("*.csv")
        self.assertEqual(self.at_home(report.read_text(encoding="utf-8-sig")),
                         the_block_with("Groupe;"))

    def test_the_commands_for_windows_succeed(self):
        for command in commands("bat"):
            with self.subTest(command=command):
                program, folder, *options = command.split(" ")
                self.assertEqual((program, folder[-1]), ("larkspine.exe", folder.rstrip("\\")[-1]))
                run = self.scan(*options)
                self.assertEqual((run.code, run.stderr), (0, b""))
                self.assertIn("Doublons trouvés : 3\n", run.after_banner.decode())

    def test_the_other_commands_are_run_here_or_by_the_test_script(self):
        for command in commands("sh"):
            with self.subTest(command=command):
                self.assertTrue(command.strip())
                if command in UNTRIED:
                    section, = [part for part in re.split(r"^#+ ", README, flags=re.MULTILINE)
                                if command in part]
                    self.assertIn("was not tried", section)
                elif command == "scripts/test":
                    # It is what runs this test, and what CI calls.
                    self.assertIn("/../scripts/test\"", script("../.ci/run"))
                elif preset := re.fullmatch(r"cmake --preset (\S+) && cmake --build --preset \1",
                                            command):
                    self.assertRegex(script("test"), rf"(?m)^run {preset[1]}\b")
                    self.assertIn('cmake --preset "$preset" && cmake --build --preset "$preset"',
                                  script("build"))
                elif command.startswith("scripts/scan "):
                    self.run_script(command)
                else:
                    self.fail("run by nothing")

    def run_script(self, command):
        """From the folder that holds the tree, as a reader would."""
        name, *arguments = shlex.split(command)
        environment = wine_environment()
        environment["LARKSPINE_INDEX_DIRECTORY"] = windows_path(self.work.new_folder("index"))
        with open(self.home / "out", "wb") as out:
            done = subprocess.run([str(PROJECT / name), *arguments], cwd=self.home,
                                  env=environment, stdin=subprocess.DEVNULL, stdout=out,
                                  timeout=BUILD_LIMIT, check=False)
        said = (self.home / "out").read_text(encoding="utf-8")
        self.assertEqual(done.returncode, 0, said)
        self.assertIn("Doublons trouvés : 3\n", said)
        report, = self.home.glob("*.csv")
        self.assertEqual(self.at_home(report.read_text(encoding="utf-8-sig")),
                         the_block_with("Groupe;"))
        report.unlink()

    def test_the_options_and_exit_codes_are_those_of_the_sources(self):
        known = set(re.findall(r'argument == L"(-[^"]+)"',
                               (PROJECT / "src/app/options.cpp").read_text(encoding="utf-8")))
        usage = the_block_with("larkspine.exe [folder]")
        self.assertEqual(set(re.findall(r"(?<!\w)-{1,2}[a-z][a-z-]*", usage)), known)
        rows = re.findall(r"^\| (?:`|folder)(.*?) \|", README, re.MULTILINE)
        self.assertEqual(set(re.findall(r"(?<!\w)-{1,2}[a-z][a-z-]*", " ".join(rows))), known)
        codes = re.findall(r"exit_\w+ = (\d+);",
                           (PROJECT / "src/app/run.h").read_text(encoding="utf-8"))
        self.assertEqual(re.findall(r"^\| (\d+) \|", README, re.MULTILINE), codes)
