"""Reports of a real NTFS volume, a mounted image file, against the independent reference."""
import unittest

import reference
import tree
from end_to_end import EndToEnd
from mounts import mount, run_tool, unmount
from prefix import Prefix
from program import Workspace

IMAGE_SIZE = 128 << 20  # sparse; the tree holds some 30 MiB


class NtfsImageTest(EndToEnd, unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.shared = Workspace()
        cls.addClassCleanup(cls.shared.close)
        image = cls.shared.path / "volume.img"
        with open(image, "wb") as file:
            file.truncate(IMAGE_SIZE)
        run_tool("making an NTFS volume", "mkntfs", "-F", "-Q", "-q", str(image))
        cls.volume = cls.shared.new_folder("volume")
        cls.addClassCleanup(unmount, cls.volume)
        mount(cls.volume, "ntfs-3g", image, cls.volume)
        cls.tree = cls.volume / "arbre"
        cls.tree.mkdir()
        tree.generate(cls.tree, cls.shared.new_folder("dehors"))
        for name in ("à la racine", "arbre bis"):
            (cls.volume / name).write_bytes(b"sur le volume")
        cls.prefix = Prefix(cls.shared, drives={"n": cls.volume})
        cls.addClassCleanup(cls.prefix.close)

    def assert_finds(self, root, display, scanned, *options):
        run = self.work.run(root, *options, prefix=self.prefix)
        expected = reference.scan(scanned, display)
        self.assertGreaterEqual(expected.documents, 2000)
        self.assertGreaterEqual(expected.duplicates, 1000)
        self.assert_reports(run, expected)

    def test_hard_links_on_the_volume_share_an_identity(self):
        links = self.tree / "liens" / "2"
        self.assertEqual((links / "m0").stat().st_ino, (links / "a").stat().st_ino)
        self.assertEqual((links / "m0").stat().st_nlink, 3)

    def test_a_folder_of_the_drive_is_compared_by_bytes_as_the_reference_says(self):
        self.assert_finds("N:\\arbre", "N:\\arbre", self.tree, "-j", "64", "--verify-bytes")

    def test_the_root_of_the_drive_is_scanned_as_the_reference_says(self):
        self.assert_finds("N:\\", "N:", self.volume)

    def test_the_root_of_the_drive_in_long_form_is_scanned_as_the_reference_says(self):
        self.assert_finds("\\\\?\\N:\\", "N:", self.volume, "-j", "1")

    def test_a_report_in_the_root_of_the_drive_has_one_backslash_before_its_name(self):
        run = self.work.run(self.display, prefix=self.prefix, folder=self.volume)
        self.addCleanup(run.report_path.unlink)
        self.assertEqual(run.after_banner.decode().splitlines()[-1],
                         "N:\\" + run.report_path.name)
