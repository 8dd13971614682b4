"""Reads the resources of a Windows program: icons, the version, the manifest."""
import struct

ICON, GROUP_ICON, VERSION, MANIFEST = 3, 14, 16, 24
SECTION_HEADER = 40


class Resources:
    """Reads the first language of every numbered resource of a PE32+ file."""

    def __init__(self, program):
        header, = struct.unpack_from("<I", program, 0x3C)
        if program[header:header + 4] != b"PE\0\0":
            raise ValueError("not a Windows program")
        self._program = program
        sections, = struct.unpack_from("<H", program, header + 6)
        optional_header, = struct.unpack_from("<H", program, header + 20)
        for section in range(sections):
            at = header + 24 + optional_header + section * SECTION_HEADER
            if program[at:at + 8] == b".rsrc\0\0\0":
                self._address, = struct.unpack_from("<I", program, at + 12)
                self._start, = struct.unpack_from("<I", program, at + 20)
                return
        raise ValueError("a program without resources")

    def of_type(self, kind):
        """The bytes of all resources of one type, by number."""
        found = self._entries(self._start).get(kind)
        if found is None:
            return {}
        return {number: self._data(next(iter(self._entries(languages).values())))
                for number, languages in self._entries(found).items()}

    def only(self, kind):
        data, = self.of_type(kind).values()
        return data

    def _entries(self, at):
        named, numbered = struct.unpack_from("<HH", self._program, at + 12)
        entries = [struct.unpack_from("<II", self._program, at + 16 + 8 * place)
                   for place in range(named, named + numbered)]
        return {number: self._start + (offset & 0x7FFFFFFF) for number, offset in entries}

    def _data(self, at):
        address, size = struct.unpack_from("<II", self._program, at)
        start = address - self._address + self._start
        return self._program[start:start + size]


def icon_images(resources):
    """(side in pixels, bits per pixel, image) of each size, in the order of the group."""
    group = resources.only(GROUP_ICON)
    images = resources.of_type(ICON)
    found = []
    for place in range(struct.unpack_from("<H", group, 4)[0]):
        side, bits, number = struct.unpack_from("<B5xH4xH", group, 6 + 14 * place)
        found.append((side or 256, bits, images[number]))
    return found


def version_numbers(resources):
    """The versions (of the file, of the product), four numbers each."""
    data = resources.only(VERSION)
    fixed = data.index(struct.pack("<I", 0xFEEF04BD))
    high, low, product_high, product_low = struct.unpack_from("<4I", data, fixed + 8)
    return tuple((one >> 16, one & 0xFFFF, two >> 16, two & 0xFFFF)
                 for one, two in ((high, low), (product_high, product_low)))


def version_texts(resources):
    """The named texts of the version, from whichever table holds them."""
    texts = {}

    def read(data, at):
        length, value_length, kind = struct.unpack_from("<HHH", data, at)
        name_end = at + 6
        while data[name_end:name_end + 2] != b"\0\0":
            name_end += 2
        name = data[at + 6:name_end].decode("utf-16-le")
        value = (name_end + 2 + 3) & ~3
        if kind == 1 and value_length:
            texts[name] = data[value:value + 2 * value_length].decode("utf-16-le").rstrip("\0")
        child = (value + value_length * (2 if kind == 1 else 1) + 3) & ~3
        while child < at + length:
            child = (child + read(data, child) + 3) & ~3
        return length

    read(resources.only(VERSION), 0)
    return texts
