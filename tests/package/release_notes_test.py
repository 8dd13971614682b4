"""What scripts/release-notes prints for a tag, and when it refuses to."""
import hashlib
import pathlib
import re
import shutil
import subprocess
import tempfile
import unittest

PROJECT = pathlib.Path(__file__).resolve().parents[2]
VERSION = re.search(r"Version (\S+)\\n",
                    (PROJECT / "src/app/banner.cpp").read_text(encoding="utf-8"))[1]
TAG = f"v{VERSION}"
ZIPS = [f"larkspine-{VERSION}-windows-{kind}.zip" for kind in ("check", "x86_64")]


class ReleaseNotesTest(unittest.TestCase):
    def setUp(self):
        self.folder = pathlib.Path(tempfile.mkdtemp())
        self.addCleanup(shutil.rmtree, self.folder)
        for name in ("scripts/release-notes", "src/app/banner.cpp", "CHANGELOG.md"):
            (self.folder / name).parent.mkdir(parents=True, exist_ok=True)
            shutil.copy2(PROJECT / name, self.folder / name)
        self.packages = self.folder / "build" / "package"
        self.packages.mkdir(parents=True)
        for name in ZIPS:
            self.zip(name)

    def zip(self, name):
        (self.packages / name).write_text(name)
        self.sum(name, hashlib.sha256(name.encode()).hexdigest())

    def sum(self, name, digest):
        (self.packages / f"{name}.sha256").write_text(f"{digest}  {name}\n")

    def changelog(self, text):
        (self.folder / "CHANGELOG.md").write_text(text)

    def notes(self, tag=TAG):
        return subprocess.run([self.folder / "scripts" / "release-notes", tag], check=False,
                              stdin=subprocess.DEVNULL, capture_output=True, text=True)

    def assert_refused(self, reason, tag=TAG):
        done = self.notes(tag)
        self.assertEqual((done.returncode, done.stdout), (1, ""))
        self.assertIn(reason, done.stderr)

    def test_the_notes_are_the_section_of_the_version_and_no_other(self):
        self.changelog(f"# Changelog\n\n## Unreleased\n\n- new\n\n## {VERSION} (2026-12-01)\n\n"
                       "### Scanning\n\n- one\n\n## 0.0.1\n\n- old\n")
        done = self.notes()
        self.assertEqual((done.returncode, done.stdout, done.stderr),
                         (0, "### Scanning\n\n- one\n", ""))

    def test_the_changelog_of_this_tree_has_a_section_for_the_version(self):
        done = self.notes()
        self.assertEqual((done.returncode, done.stderr), (0, ""))
        self.assertNotIn("\n## ", done.stdout)

    def test_a_tag_of_another_version_is_refused(self):
        for tag in ("v9.9.9", VERSION, TAG + "-rc1"):
            with self.subTest(tag=tag):
                self.assert_refused(f"the tag is {tag}", tag)

    def test_a_changelog_without_the_section_or_with_an_empty_one_is_refused(self):
        for text in ("## Unreleased\n\n- new\n", f"## {VERSION}\n\n## 0.0.1\n\n- old\n",
                     f"## {VERSION}1\n\n- another\n"):
            with self.subTest(text=text):
                self.changelog(text)
                self.assert_refused(f"no section for {VERSION}")

    def test_a_missing_or_empty_package_folder_is_refused(self):
        shutil.rmtree(self.packages)
        self.assert_refused("build/package is missing")
        self.packages.mkdir()
        self.assert_refused("no zip")

    def test_a_zip_of_another_version_is_refused(self):
        self.zip("larkspine-9.9.9-windows-x86_64.zip")
        self.assert_refused("larkspine-9.9.9-windows-x86_64.zip is not of version")

    def test_a_zip_with_a_wrong_or_missing_sum_is_refused(self):
        for name in ZIPS:
            with self.subTest(name=name):
                self.sum(name, "0" * 64)
                self.assert_refused(f"{name} has another sum")
                (self.packages / f"{name}.sha256").unlink()
                self.assert_refused(f"{name} has no sum")
                self.zip(name)


if __name__ == "__main__":
    unittest.main()
