"""Both kinds of content digest against the b3sum tool, and the fast code paths in the program."""
import re
import shutil
import struct
import subprocess
import unittest

import tree
from program import Workspace, required, run_helper, skip, windows_path

SAMPLE_PREFIX = b"larkspine sample fingerprint v1"
REGION = 65536

# The edges of blocks (64), of chunks (1024), of the chunks that the vector code takes together, of the
# sampled regions and of the read requests.
SIZES = tuple(sorted({*tree.BOUNDARY_SIZES, 2, 3, 63, 64, 65, 127, 128, 129, 1023, 1024, 1025, 2048,
                      2049, 3073, 4097, 8192, 8193, 16384, 16385, 31744, 100_000, 131_074, 196_608,
                      2_097_152, 2_097_153, 3_145_727, 5_000_003}))


def contents(size):
    """The period of 251 lines up with no block, so a swapped or repeated block shows."""
    period = bytes(range(251))
    return (period * (size // 251 + 1))[:size]


def sample_input(whole):
    """The bytes that a sample fingerprint hashes."""
    regions = whole if len(whole) <= 2 * REGION else whole[:REGION] + whole[-REGION:]
    return SAMPLE_PREFIX + struct.pack("<Q", len(whole)) + regions


def b3sums(paths):
    if not shutil.which("b3sum"):
        skip("b3sum is not installed")
    listed = subprocess.run(["b3sum", "--no-names", *paths], capture_output=True, check=True)
    return listed.stdout.decode().split()


def probe(paths):
    """(sample, full) of each file, as the program computes them."""
    out = run_helper("LARKSPINE_HASH_PROBE_EXE", *map(windows_path, paths))
    return [tuple(line.split()) for line in out.decode().splitlines()]


class DigestTest(unittest.TestCase):
    def setUp(self):
        self.work = Workspace()
        self.addCleanup(self.work.close)

    def files(self, kind, all_contents):
        folder = self.work.new_folder(kind)
        paths = [folder / f"{place:03}" for place in range(len(all_contents))]
        for path, data in zip(paths, all_contents):
            path.write_bytes(data)
        return paths

    def assert_agrees(self, all_contents):
        paths = self.files("fichiers", all_contents)
        samples = b3sums(self.files("echantillons", list(map(sample_input, all_contents))))
        self.assertEqual(probe(paths), list(zip(samples, b3sums(paths))))

    def test_both_digests_agree_with_b3sum_at_every_size(self):
        self.assert_agrees([contents(size) for size in SIZES])

    def test_both_digests_agree_with_b3sum_whichever_byte_differs(self):
        size = 3 * REGION
        places = (0, 1, REGION - 1, REGION, size // 2, size - REGION - 1, size - REGION, size - 1)
        self.assert_agrees([tree.changed_at(contents(size), place) for place in places])

    def test_a_byte_between_the_sampled_regions_changes_the_full_digest_alone(self):
        whole = contents(2 * REGION + 1)
        (sample, full), (other_sample, other_full) = probe(
            self.files("paire", [whole, tree.changed_at(whole, REGION)]))
        self.assertEqual(sample, other_sample)
        self.assertNotEqual(full, other_full)

    def test_the_full_digest_of_an_empty_file_is_the_published_one(self):
        (_, full), = probe(self.files("vide", [b""]))
        self.assertEqual(full, "af1349b9f5f9a1a6a0404dea36dcc9499bcb25c9adc112b7cc9a93cae41f3262")

    def test_a_missing_file_has_no_digests_and_the_others_keep_theirs(self):
        present, = self.files("present", [b""])
        absent = self.work.path / "absent"
        self.assertEqual(probe([absent, present, absent]),
                         [("-", "-"), *probe([present]), ("-", "-")])


class VectorCodeTest(unittest.TestCase):
    """The library chooses at run time among the variants that are linked in."""

    VARIANTS = {"sse2", "sse41", "avx2", "avx512"}

    def symbols(self):
        tool = shutil.which("x86_64-w64-mingw32-nm")
        if not tool:
            skip("x86_64-w64-mingw32-nm is not installed")
        listed = subprocess.run([tool, required("LARKSPINE_EXE")], capture_output=True, check=False)
        if b" T " not in listed.stdout:
            skip("the program was stripped of its symbols")
        return listed.stdout.decode()

    def test_every_vector_variant_of_the_hash_is_linked_in(self):
        found = re.findall(r" T blake3_hash_many_(\w+)$", self.symbols(), re.MULTILINE)
        self.assertLessEqual(self.VARIANTS, set(found))
