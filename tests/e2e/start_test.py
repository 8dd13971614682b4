"""How the program starts: its arguments as they were typed, its settings before its first file call."""
import re
import unittest

from end_to_end import EndToEnd
from program import completed, exe, wine, wine_environment

NOT_ACCESSIBLE = "Impossible d’accéder au dossier sélectionné."

class ArgumentTest(EndToEnd, unittest.TestCase):
    def test_a_wildcard_does_not_name_a_folder_that_it_matches(self):
        (self.root / "images").mkdir()
        for pattern in ("i*", "image?", "*", "[i]mages", "i*\\"):
            with self.subTest(pattern=pattern):
                self.assert_refused(self.work.run(pattern, folder=self.root), 2, NOT_ACCESSIBLE)
        self.assertEqual(self.work.run("images", folder=self.root).code, 0)

    def test_a_long_path_prefix_arrives_as_it_was_typed(self):
        self.file("images/a")
        self.file("images/b")
        run = self.work.run("\\\\?\\" + self.display + "\\images")
        self.assert_rows(run, (1, "Original", "images\\a", 7), (1, "Doublon", "images\\b", 7))
        # As a wildcard the question mark would match the s.
        self.assert_refused(self.work.run("\\\\?\\" + self.display + "\\image?"), 2,
                            NOT_ACCESSIBLE)

class SettingTest(EndToEnd, unittest.TestCase):
    def calls(self):
        """The system calls of one run that this test watches, in order."""
        environment = wine_environment()
        environment["WINEDEBUG"] = "+relay"
        run = completed([wine(), exe(), self.display, "--no-index"], env=environment,
                        cwd=self.work.new_folder("run"))
        run.check_returncode()
        return re.findall(r"Call KERNEL32\.(SetErrorMode\([0-9a-f]+|GetProcAddress|CreateFile|"
                          r"GetFileAttributes|GetFullPathName|FindFirstFile|GetVolumeInformation)",
                          run.stderr.decode(errors="replace"))

    def test_the_error_mode_and_the_placeholder_mode_are_set_before_the_first_file_call(self):
        self.file("a")
        calls = self.calls()
        self.assertEqual(calls[:2], ["SetErrorMode(00000001", "GetProcAddress"])
        self.assertIn("FindFirstFile", calls)

if __name__ == "__main__":
    unittest.main()
