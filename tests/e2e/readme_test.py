"""The README against the program: its first command works in a fresh clone, and its screen and report
are those of that run. `scripts/prove commands` runs every command of the README and of CONTRIBUTING in
such a clone; here the other commands must name existing programs and presets."""
import json
import os
import pathlib
import re
import shlex
import subprocess
import unittest

import clone
from end_to_end import EndToEnd
from program import REPORT_NAME, Workspace, windows_path, wine_environment
from terminal import Terminal

PROJECT = pathlib.Path(__file__).resolve().parent.parent.parent
README = (PROJECT / "README.md").read_text(encoding="utf-8")
PAUSE = "Appuyez sur Entrée pour fermer Larkspine..."
COMMANDS = ("sh", "bat")  # the languages of blocks whose every line is a command
HOME = r"Z:\home\u\larkspine"  # where the README's run was taken
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


def without_times(text):
    """The text without what differs between two runs of one tree."""
    text = REPORT_NAME.sub("REPORT.csv", text)
    text = re.sub(r"(Temps écoulé : )[\d:]+", r"\1T", text)
    return re.sub(r"(/total : )[\d/]+", r"\1T", text)


class ReadmeTest(EndToEnd, unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        # The first command, as it stands, where nothing is built yet.
        cls.shared = Workspace()
        cls.addClassCleanup(cls.shared.close)
        cls.clone = clone.of_the_working_tree(cls.shared)
        environment = wine_environment()
        environment.pop("WINEPREFIX")
        cls.first = next(iter(commands("sh")))
        with open(cls.shared.path / "out", "wb") as out:
            cls.code = subprocess.run(["bash", "-c", cls.first], cwd=cls.clone, env=environment,
                                      stdin=subprocess.DEVNULL, stdout=out,
                                      timeout=BUILD_LIMIT, check=False).returncode
        cls.said = (cls.shared.path / "out").read_text(encoding="utf-8")
        cls.root = cls.clone / "build" / "demo" / "photos"
        subprocess.run(["/usr/lib/wine/wineserver64", "-k"], check=False,
                       env={**environment, "WINEPREFIX": str(cls.clone / "build" / "wine")})

    def setUp(self):
        super().setUp()
        self.root = type(self).root
        self.display = windows_path(self.root)

    def at_home(self, text):
        return text.replace(windows_path(self.clone), HOME)

    def test_every_code_block_is_marked_as_sh_bat_or_text(self):
        languages = re.findall(r"^```(\w*)$", README, re.MULTILINE)[::2]
        self.assertEqual(set(languages) - {*COMMANDS, "text"}, set())

    def test_the_first_command_works_in_a_fresh_clone(self):
        self.assertEqual((self.first, self.code), ("scripts/scan", 0), self.said)
        rows = re.search(r"^Fennick_\S+\n\n(.*)", self.said, re.DOTALL | re.MULTILINE)[1]
        self.assertEqual(self.at_home(rows), the_block_with("Groupe;"))

    def test_the_report_of_the_first_command_is_the_one_shown(self):
        report, = self.root.parent.glob("*.csv")
        self.assertEqual(self.at_home(report.read_text(encoding="utf-8-sig")),
                         the_block_with("Groupe;"))

    def test_the_screen_shown_is_that_of_a_run_on_a_terminal(self):
        terminal = Terminal(self.work, self.display, "--stats")
        self.addCleanup(terminal.close)
        terminal.wait_for_text(PAUSE)

        def judgement(rows):
            # A path longer than a row continues in the next one.
            shown = "\n".join(row.rstrip() for row in rows)
            shown = re.sub(r"(dans :\n)(.*?)(\n\n)",
                           lambda at: at[1] + at[2].replace("\n", "") + at[3], shown, flags=re.S)
            shown = shown.replace(windows_path(terminal.folder), HOME + r"\build\demo")
            self.assertEqual(without_times(shown + "\n"), without_times(the_block_with("Auteur")))
        terminal.judge(judgement)

    def test_the_commands_for_windows_succeed(self):
        for command in commands("bat"):
            with self.subTest(command=command):
                program, folder, *options = command.split(" ")
                self.assertEqual((program, folder[-1]), ("larkspine.exe", folder.rstrip("\\")[-1]))
                run = self.scan(*options)
                self.assertEqual((run.code, run.stderr), (0, b""))
                self.assertIn("Doublons trouvés : 3\n", run.after_banner.decode())

    def test_every_other_command_names_an_existing_program_and_preset_or_is_marked_untried(self):
        """`scripts/prove commands` runs them, each in a fresh clone."""
        presets = {preset["name"] for preset in
                   json.loads((PROJECT / "CMakePresets.json").read_text())["configurePresets"]}
        for document in ("README.md", "CONTRIBUTING.md"):
            text = (PROJECT / document).read_text(encoding="utf-8")
            for command in (line for block in blocks(text, "sh") for line in block.splitlines()):
                with self.subTest(document=document, command=command):
                    if command in UNTRIED:
                        section, = [part for part in re.split(r"^#+ ", text, flags=re.MULTILINE)
                                    if command in part]
                        self.assertIn("was not tried", section)
                        continue
                    for word in command.split("&&"):
                        program, *arguments = shlex.split(word)
                        self.assertTrue(program in ("cmake", "ctest") or
                                        os.access(PROJECT / program, os.X_OK), program)
                        if "--preset" in arguments:
                            self.assertIn(arguments[arguments.index("--preset") + 1], presets)

    def test_the_options_and_exit_codes_are_those_of_the_sources(self):
        known = set(re.findall(r'argument == L"(-[^"]+)"',
                               (PROJECT / "src/app/options.cpp").read_text(encoding="utf-8")))
        usage = the_block_with("larkspine.exe [folder]")
        self.assertEqual(set(re.findall(r"(?<!\w)-{1,2}[a-z][a-z-]*", usage)), known)
        rows = re.findall(r"^\| (?:`|folder)(.*?) \|", README, re.MULTILINE)
        self.assertEqual(set(re.findall(r"(?<!\w)-{1,2}[a-z][a-z-]*", " ".join(rows))), known)
        codes = re.findall(r"exit_\w+ = (?:static_cast<int>\()?(\w+)\)?;",
                           (PROJECT / "src/app/exit_codes.h").read_text(encoding="utf-8"))
        self.assertEqual(len(codes), 6)
        self.assertEqual(re.findall(r"^\| (\d|0x\w+) \|", README, re.MULTILINE), codes)
