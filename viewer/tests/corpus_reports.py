#!/usr/bin/env python3
"""Makes reports from the inputs of fuzz/corpus/csv_row, with Python's own CSV writer.

    corpus_reports.py CORPUS_FOLDER OUTPUT_FOLDER

An input is rows of 8 bytes group, 1 flag, 8 size, 1 length and the path's bytes. Each input gives two
reports. NAME.raw.csv has the rows as they are; nearly always the program cannot have written it.
NAME.fair.csv has a group for every path, with the path as its original and one copy, so that it must be
read. all.csv has the groups of all fair reports.
"""
import csv
import io
import pathlib
import sys

HEADER = "\ufeffGroupe;Statut;Chemin complet;Taille en octets\r\n"


def rows_of(data):
    at = 0

    def take(count):
        nonlocal at
        part = data[at:at + count]
        at += count
        return part

    while at < len(data):
        group = int.from_bytes(take(8).ljust(8, b"\0"), "big")
        flag = (take(1) or b"\0")[0]
        size = int.from_bytes(take(8).ljust(8, b"\0"), "big")
        yield group, flag % 2 == 1, size, take((take(1) or b"\0")[0])


def line(group, status, path, size):
    out = io.StringIO(newline="")
    csv.writer(out, delimiter=";", lineterminator="", quoting=csv.QUOTE_ALL).writerow([path])
    return f"{group};{status};{out.getvalue()};{size}\r\n"


def text_of(path):
    try:
        return path.decode("utf-8")
    except UnicodeDecodeError:
        return path.decode("latin-1")


def main(corpus, output):
    groups = []
    for source in sorted(corpus.iterdir()):
        rows = list(rows_of(source.read_bytes()))
        # Latin-1 and back, because the writer takes texts and a raw path may be any bytes.
        raw = "".join(line(group, "Original" if original else "Doublon",
                           path.decode("latin-1"), size) for group, original, size, path in rows)
        (output / f"{source.name}.raw.csv").write_bytes(HEADER.encode() + raw.encode("latin-1"))
        fair = [(text_of(path), size % 2 ** 44) for _, _, size, path in rows]
        write_fair(output / f"{source.name}.fair.csv", fair)
        groups += fair
    write_fair(output / "all.csv", groups)


def write_fair(path, groups):
    lines = [line(number, "Original", name, size) + line(number, "Doublon", "C:\\copie\\" + name, size)
             for number, (name, size) in enumerate(groups, 1)]
    path.write_bytes((HEADER + "".join(lines)).encode())


if __name__ == "__main__":
    main(pathlib.Path(sys.argv[1]), pathlib.Path(sys.argv[2]))
