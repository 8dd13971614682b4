"""Reads an index file by docs/index-format.md, and computes the digests that it must hold."""
import dataclasses
import pathlib
import struct
import tempfile

from digest_test import b3sums, sample_input

HEADER = struct.Struct("<8sIBQqQI")
# The fields from the flag of the identity to the full digest.
FIXED = struct.Struct("<BQ16sQIQQQQB32sB32s")


@dataclasses.dataclass(frozen=True)
class Entry:
    size: int
    last_write: int
    sample: str  # hexadecimal, or empty
    full: str


def read_index(path):
    """The entries by their path as a report shows it."""
    stored = pathlib.Path(path).read_bytes()
    magic, version, _, _, _, count, root_length = HEADER.unpack_from(stored)
    if (magic, version) != (b"LRKIDX01", 1):
        raise ValueError(f"{path} is no index file")
    place = HEADER.size + 2 * root_length
    entries = {}
    for _ in range(count):
        name, place = _string(stored, place)
        _, place = _string(stored, place)
        (_, _, _, _, _, size, _, last_write, _, has_sample, sample, has_full,
         full) = FIXED.unpack_from(stored, place)
        place += FIXED.size
        entries[name.removeprefix("\\\\?\\")] = Entry(
            size, last_write, sample.hex() if has_sample else "", full.hex() if has_full else "")
    if place != len(stored):
        raise ValueError(f"{path} has bytes after its entries")
    return entries


def digests_of(all_contents):
    """(sample, full) by contents, computed by the b3sum tool."""
    all_contents = list(all_contents)
    with tempfile.TemporaryDirectory() as folder:
        inputs = [*map(sample_input, all_contents), *all_contents]
        paths = [pathlib.Path(folder) / str(place) for place in range(len(inputs))]
        for path, data in zip(paths, inputs):
            path.write_bytes(data)
        sums = b3sums(paths) if paths else []
    half = len(all_contents)
    return dict(zip(all_contents, zip(sums[:half], sums[half:])))


def _string(stored, place):
    length, = struct.unpack_from("<I", stored, place)
    end = place + 4 + 2 * length
    return stored[place + 4:end].decode("utf-16-le"), end
