"""The finished program on a whole fake NTFS volume: file table, fast path, delta."""
import unittest

import reference
from end_to_end import EndToEnd
from volume_script import VolumeScript


def rows(*paths):
    return reference.HEADER + "".join(
        f'1;{"Doublon" if number else "Original"};"Q:\\{path}";17\r\n'
        for number, path in enumerate(paths)).encode()


class VolumeTest(EndToEnd, unittest.TestCase):
    def test_three_runs_take_the_table_the_fast_path_and_the_delta(self):
        same = b"the same contents"
        script = VolumeScript(self.work)
        script.follow([("write", "original", same), ("write", "folder/copy", same),
                       ("write", "folder/other", b"other contents .."),
                       ("write", "folder/below/alone", b"of a size of its own")])
        script.run("--stats", "-j", "2")
        script.run("--stats", "-j", "2")
        script.follow([("write", "folder/other", same), ("write", "new", same),
                       ("rename", "folder", "renamed")])
        script.run("--stats", "-j", "2")
        reports, (first, second, third) = zip(*script.go().values())

        def told(text, *lines):
            for line in lines:
                self.assertIn(f"\n  {line}\n", text)

        # The snapshot holds the folders too, and the root.
        told(first, "Index chargé : non", "Fast path inchangé : non", "Delta USN appliqué : non",
             "Fichiers : 4, candidats : 3, entrées index : 7",
             "Hash sample calculés/réutilisés : 3/0", "Hash complets calculés/réutilisés : 2/0")
        told(second, "Index chargé : oui", "Fast path inchangé : oui", "Delta USN appliqué : non",
             "Fichiers : 4, candidats : 3, entrées index : 7",
             "Hash sample calculés/réutilisés : 0/3", "Hash complets calculés/réutilisés : 0/2")
        self.assertRegex(second, r"total : \d+/\d+/\d+/0/\d+\n", "the index is not written again")
        told(third, "Index chargé : oui", "Fast path inchangé : non", "Delta USN appliqué : oui",
             "Fichiers : 5, candidats : 4, entrées index : 8",
             "Hash sample calculés/réutilisés : 2/2", "Hash complets calculés/réutilisés : 2/2")
        self.assertEqual(list(reports),
                         [rows("folder\\copy", "original"), rows("folder\\copy", "original"),
                          rows("new", "original", "renamed\\copy", "renamed\\other")])


if __name__ == "__main__":
    unittest.main()
