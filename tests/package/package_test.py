"""The zip that people get: made from one commit, unpacked, inspected and run. With
LARKSPINE_PACKAGE_TWICE, as `scripts/prove package` sets it, it is made in two folders and compared.

The commit is made here, of the files in the working tree, so that a change is tested before it is
committed. Expects in the environment what tests/e2e/program.py expects.
"""
import base64
import hashlib
import os
import pathlib
import re
import shutil
import subprocess
import time
import unittest
import xml.etree.ElementTree
import zipfile

import clone
import pe_resources
from clone import COMMITTED, git
from end_to_end import EndToEnd
from program import BANNER_END, Workspace, required, skip, windows_path

PROJECT = pathlib.Path(__file__).resolve().parents[2]
VERSION = re.search(rb"Version (\S+)\n", BANNER_END).group(1).decode()
NAME = f"larkspine-{VERSION}"
ARCHIVE = f"{NAME}-windows-x86_64.zip"
KIT = f"{NAME}-windows-check"
KIT_ARCHIVE = f"{KIT}.zip"
GUIDES = {"guide.fr.txt": "docs/guide.fr.md", "guide.en.txt": "docs/guide.en.md"}
TEXTS = {**GUIDES, "CHANGELOG.txt": "CHANGELOG.md"}
TWICE = "LARKSPINE_PACKAGE_TWICE" in os.environ
LINKED = {"librust-blake3-dev": "BLAKE3", "mingw-w64-x86-64-dev": "winpthreads",
          "mingw-w64-common": "mingw-w64-headers",
          "gcc-mingw-w64-x86-64-posix": "GCC RUNTIME LIBRARY EXCEPTION",
          "g++-mingw-w64-x86-64-posix": "GCC RUNTIME LIBRARY EXCEPTION",
          "papaparse": "Permission is hereby granted", "d3-hierarchy": "Permission to use, copy"}


def package(folder, **settings):
    # What is compared must be compiled both times.
    trial = [] if TWICE else ["--trial"]
    return subprocess.run([folder / "scripts" / "package", *trial], stdin=subprocess.DEVNULL,
                          capture_output=True, check=False, text=True, **settings)


def setUpModule():
    global shared, candidate
    shared = Workspace()
    unittest.addModuleCleanup(shared.close)
    candidate = clone.of_the_working_tree(shared)


def clone_into(folder):
    git(candidate, "clone", "--quiet", candidate, folder)
    return folder


class RefusalTest(unittest.TestCase):
    """Trees of which no package is made."""

    def setUp(self):
        self.clone = clone_into(shared.new_folder("refus"))
        self.addCleanup(shutil.rmtree, self.clone)

    def assert_refused(self, reason):
        done = package(self.clone)
        self.assertEqual((done.returncode, done.stdout), (1, ""))
        self.assertIn(reason, done.stderr)
        self.assertFalse((self.clone / "build" / "package").exists())

    def test_a_tree_without_a_guide_is_refused(self):
        for guide in GUIDES.values():
            with self.subTest(guide=guide):
                (self.clone / guide).unlink()
                self.assert_refused(f"{guide} is missing")
                (self.clone / guide).write_text("a guide again\n", encoding="utf-8")

    def test_a_tree_with_an_uncommitted_change_is_refused(self):
        with open(self.clone / "README.md", "a", encoding="utf-8") as readme:
            readme.write("more\n")
        self.assert_refused("README.md")

    def test_a_tree_with_an_untracked_file_is_refused(self):
        (self.clone / "src" / "new.cpp").touch()
        self.assert_refused("src/new.cpp")


class PackageTest(EndToEnd, unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        # All that may differ between two machines with the same packages installed.
        folders = shared.new_folder("ici"), shared.new_folder("un autre dossier, plus long, à côté")
        settings = ({"umask": 0o022, "env": {**os.environ, "TZ": "America/New_York"}},
                    {"umask": 0o077, "env": {**os.environ, "TZ": "Asia/Tokyo", "CXXFLAGS": "-O1 -g",
                                             "LDFLAGS": "-g", "LC_ALL": "C"}})
        # Made once, it is made in the folder and with the settings that differ most from a build's.
        cls.archives = []
        made = list(zip(folders, settings))[0 if TWICE else 1:]
        for folder, setting in made:
            done = package(clone_into(folder), **setting)
            if done.returncode:
                raise AssertionError(done.stderr)
            cls.archives.append(folder / "build" / "package" / ARCHIVE)
        cls.kits = [archive.with_name(KIT_ARCHIVE) for archive in cls.archives]
        with zipfile.ZipFile(cls.kits[0]) as archive:
            cls.kit_entries = archive.infolist()
            archive.extractall(shared.path / "depaquete")
        cls.kit = shared.path / "depaquete" / KIT
        with zipfile.ZipFile(cls.archives[0]) as archive:
            cls.entries = archive.infolist()
            cls.comment = archive.comment.decode()
            archive.extractall(shared.path / "depaquete")
        cls.unpacked = shared.path / "depaquete" / NAME
        cls.program = (cls.unpacked / "larkspine.exe").read_bytes()
        cls.resources = pe_resources.Resources(cls.program)

    def test_two_folders_two_moments_and_two_environments_give_the_same_bytes(self):
        if not TWICE:
            skip("scripts/prove package makes the package twice")
        for archives in (self.archives, self.kits):
            one, other = (zipfile.ZipFile(archive) for archive in archives)
            with one, other:  # a differing file says more than differing archives
                self.assertEqual({entry.filename: hashlib.sha256(one.read(entry)).hexdigest()
                                  for entry in one.infolist()},
                                 {entry.filename: hashlib.sha256(other.read(entry)).hexdigest()
                                  for entry in other.infolist()})
            self.assertEqual(*(archive.read_bytes() for archive in archives))

    def test_the_packaged_program_is_the_one_that_all_other_tests_run(self):
        tested = pathlib.Path(required("LARKSPINE_EXE")).read_bytes()
        self.assertEqual(hashlib.sha256(self.program).hexdigest(),
                         hashlib.sha256(tested).hexdigest(), "is that build up to date?")

    def test_the_package_holds_the_program_the_viewer_the_texts_the_licences_and_the_sums(self):
        names = [entry.filename.removeprefix(NAME + "/") for entry in self.entries]
        self.assertEqual(names, sorted(names))
        self.assertEqual([name for name in names if not name.startswith("licences/")],
                         sorted(["SHA256SUMS", "larkspine.exe", "rapport.html", *TEXTS]))
        for name, source in TEXTS.items():
            self.assertEqual((self.unpacked / name).read_bytes(), (PROJECT / source).read_bytes())

    def test_every_file_has_the_time_of_the_commit_and_the_archive_names_version_and_commit(self):
        moment = time.gmtime(COMMITTED)[:6]
        self.assertEqual({entry.date_time for entry in [*self.entries, *self.kit_entries]},
                         {moment})
        commit = git(candidate, "rev-parse", "HEAD").decode().strip()
        self.assertEqual(self.comment, f"larkspine {VERSION}, commit {commit}")

    def test_the_sums_cover_every_other_file(self):
        for folder in (self.unpacked, self.kit):
            expected = {}
            for path in folder.rglob("*"):
                if path.is_file() and path.name != "SHA256SUMS":
                    expected[path.relative_to(folder).as_posix()] = hashlib.sha256(
                        path.read_bytes()).hexdigest()
            lines = (folder / "SHA256SUMS").read_text().splitlines()
            self.assertEqual({name: sum for sum, name in (line.split("  ") for line in lines)},
                             expected)
            self.assertEqual(len(lines), len(expected))

    def test_the_sum_beside_each_archive_is_its_own(self):
        for archive in [*self.archives, *self.kits]:
            self.assertEqual(archive.with_name(archive.name + ".sha256").read_text(),
                             f"{hashlib.sha256(archive.read_bytes()).hexdigest()}  "
                             f"{archive.name}\n")

    def test_the_kit_adds_only_the_checking_program_and_its_page_to_the_package(self):
        ours = {entry.filename.removeprefix(NAME + "/"): entry.CRC for entry in self.entries}
        kits = {entry.filename.removeprefix(KIT + "/"): entry.CRC for entry in self.kit_entries}
        self.assertEqual(set(kits) - set(ours), {"windows_check.exe", "LISEZMOI-README.txt"})
        self.assertEqual({name for name in ours if kits.get(name) != ours[name]}, {"SHA256SUMS"})
        page = (self.kit / "LISEZMOI-README.txt").read_bytes()
        source = PROJECT / "windows_check" / "LISEZMOI-README.txt"
        self.assertEqual(page.decode("utf-8-sig").replace("\r\n", "\n"),
                         source.read_text(encoding="utf-8"))

    def test_the_unpacked_kit_checks_the_program_beside_it(self):
        for path in (str(shared.path), str(PROJECT), "/usr/", "/build/"):
            self.assertEqual((self.kit / "windows_check.exe").read_bytes().count(path.encode()), 0)
        place = self.work.new_folder("place")
        run = self.work.run("--yes", "--folder", windows_path(place), "--part", "listing",
                            command=[windows_path(self.kit / "windows_check.exe")])
        self.assertEqual(run.code, 0, run.stdout.decode())
        self.assertEqual(list(place.iterdir()), [])

    def test_the_licence_of_every_linked_component_is_included(self):
        licences = {path.stem: path.read_text(encoding="utf-8")
                    for path in (self.unpacked / "licences").iterdir()}
        contents = licences["CONTENTS"]
        self.assertEqual(set(re.findall(r"^(\S+) \d\S*$", contents, re.MULTILINE)), set(LINKED))
        for name, words in LINKED.items():
            self.assertIn(words, licences[name], name)
        named = re.findall(r"/usr/share/common-licenses/([\w.-]*\w)", "".join(
            licences[name] for name in LINKED))
        self.assertLessEqual({"Apache-2.0", "CC0-1.0", "GPL-3"}, set(named))
        for name in named:
            self.assertGreater(len(licences[f"common-{name}"]), 1000, name)

    def test_the_unpacked_program_scans_and_reports(self):
        self.file("a")
        self.file("b")
        program = self.work.new_folder("chez moi, à l'été") / "larkspine.exe"
        shutil.copy2(self.unpacked / "larkspine.exe", program)
        run = self.scan(command=[windows_path(program)])
        self.assert_rows(run, (1, "Original", "a", 7), (1, "Doublon", "b", 7))
        self.assert_summary(run, 2, 1)
        self.assertTrue(run.banner.endswith(BANNER_END))
        refused = self.work.run("--bogus", command=[windows_path(program)])
        self.assert_refused(refused, 1, "Les paramètres fournis ne sont pas valides.")

    def test_the_programs_properties_show_the_version_of_the_banner(self):
        numbers = (*map(int, VERSION.split(".")), 0)
        self.assertEqual(pe_resources.version_numbers(self.resources), (numbers, numbers))
        texts = pe_resources.version_texts(self.resources)
        self.assertEqual((texts["FileVersion"], texts["ProductVersion"]), (VERSION, VERSION))
        self.assertEqual((texts["ProductName"], texts["OriginalFilename"], texts["CompanyName"]),
                         ("Larkspine", "larkspine.exe", "Ostrell"))

    def test_the_programs_icon_has_every_size(self):
        images = pe_resources.icon_images(self.resources)
        self.assertEqual([(side, bits) for side, bits, _ in images],
                         [(16, 32), (32, 32), (48, 32), (256, 32)])
        drawn = (PROJECT / "res" / "larkspine.ico").read_bytes()
        self.assertEqual(drawn[6 + 16 * len(images):], b"".join(image for *_, image in images))

    def test_the_programs_manifest_requests_no_rights_and_enables_long_paths(self):
        manifest = xml.etree.ElementTree.fromstring(
            self.resources.only(pe_resources.MANIFEST).rstrip(b"\0"))
        level = manifest.find(".//{urn:schemas-microsoft-com:asm.v3}requestedExecutionLevel")
        self.assertEqual(level.attrib, {"level": "asInvoker", "uiAccess": "false"})
        aware = manifest.find(
            ".//{http://schemas.microsoft.com/SMI/2016/WindowsSettings}longPathAware")
        self.assertEqual(aware.text, "true")

    def test_the_viewer_is_small_and_forbids_all_network_access(self):
        viewer = (self.unpacked / "rapport.html").read_text(encoding="utf-8")
        self.assertLessEqual(len(viewer.encode()), 200 * 1024)
        policy = re.search(r'http-equiv="Content-Security-Policy" content="([^"]*)"', viewer)[1]
        rules = dict(rule.split(" ", 1) for rule in policy.split("; "))
        self.assertEqual({name: rules[name] for name in ("default-src", "worker-src")},
                         {"default-src": "'none'", "worker-src": "blob:"})
        for name, tag in (("script-src", "script"), ("style-src", "style")):
            text = re.search(f"<{tag}>(.*?)</{tag}>", viewer, re.DOTALL)[1]
            digest = base64.b64encode(hashlib.sha256(text.encode()).digest()).decode()
            self.assertEqual(rules[name], f"'sha256-{digest}'")
        for path in (str(shared.path), str(PROJECT), "/usr/", "/build/", "node_modules"):
            self.assertNotIn(path, viewer)

    def test_the_program_holds_no_path_of_the_build_machine(self):
        for path in (str(shared.path), str(PROJECT), "/usr/", "/build/"):
            for encoding in ("utf-8", "utf-16-le"):
                self.assertEqual(self.program.count(path.encode(encoding)), 0, path)


if __name__ == "__main__":
    unittest.main()
