#!/usr/bin/env python3
"""A second implementation of what the viewer counts, over Python's csv module.

    reference.py REPORT.csv [QUESTIONS.json]     prints an answer as JSON
    reference.py --all FOLDER                    prints an answer for each file of a folder
    reference.py --choices SELECTION.csv         prints the rows of a saved selection as JSON

A question is {"filter": {...}} or {"filter": {...}, "rule": {...}}. Its answer is the matching rows, or
the rows that the rule chooses. A report that is refused gives {"line": n}.
"""
import collections
import csv
import itertools
import json
import pathlib
import re
import sys

HEADER = ["Groupe", "Statut", "Chemin complet", "Taille en octets"]
LIMITS = (2 ** 17, 2 ** 20, 10 * 2 ** 20, 100 * 2 ** 20, 2 ** 30)
Row = collections.namedtuple("Row", "group original path size")


class Refused(Exception):
    def __init__(self, line):
        super().__init__(f"line {line}")
        self.line = line


def records(data):
    """The records and the line of each; every record ends with CR LF."""
    lines = data.split(b"\n")
    for number, line in enumerate(lines, 1):
        try:
            line.decode("utf-8")
        except UnicodeDecodeError:
            raise Refused(number) from None
    text = data.decode("utf-8").removeprefix("\ufeff")
    pieces = re.findall(r"[^\n]*\n|[^\n]+$", text)
    at = 0

    def feed():
        nonlocal at
        while at < len(pieces):
            at += 1
            yield pieces[at - 1]

    reader = csv.reader(feed(), delimiter=";", strict=True)
    while True:
        first = at + 1
        try:
            fields = next(reader)
        except StopIteration:
            return
        except csv.Error:
            raise Refused(first) from None
        written = "".join(pieces[first - 1:at])
        quoted = [f'"{field.replace(chr(34), chr(34) * 2)}"' if column == 2 and first > 1 else field
                  for column, field in enumerate(fields)]
        if written != ";".join(quoted) + "\r\n":
            raise Refused(first)
        yield fields, first


def read(data):
    csv.field_size_limit(1 << 24)
    rows, group, size, paths, line, first = [], 0, None, set(), 0, 0
    seen_header = False
    for fields, line in records(data):
        if not seen_header:
            if fields != HEADER:
                raise Refused(1)
            seen_header = True
            continue
        if len(fields) != 4:
            raise Refused(line)
        if group == 0 or fields[0] != str(group):
            if (fields[0] != str(group + 1) or fields[1] != "Original" or
                    not re.fullmatch("0|[1-9][0-9]*", fields[3]) or int(fields[3]) >= 2 ** 53):
                raise Refused(line)
            if group and len([row for row in rows[-2:] if row.group == group]) < 2:
                raise Refused(first)
            group, size, paths, first = group + 1, fields[3], set(), line
        elif fields[1] != "Doublon" or fields[3] != size or (fields[2] and fields[2] in paths):
            raise Refused(line)
        paths.add(fields[2])
        rows.append(Row(group, fields[1] == "Original", fields[2], int(size)))
    if not seen_header:
        raise Refused(1)
    if group and len([row for row in rows[-2:] if row.group == group]) < 2:
        raise Refused(data.count(b"\n"))
    return rows


def folder_of(path):
    return path[:path.rfind("\\") + 1]


def extension_of(path):
    name = path[path.rfind("\\") + 1:]
    dot = name.rfind(".")
    extension = name[dot + 1:]
    units = len(extension.encode("utf-16-le")) // 2
    if dot < 1 or not 1 <= units <= 15 or re.search(r"[\s\ufeff]", extension):
        return ""
    return extension.lower()


def below(path, folder):
    """Whether a file lies below a folder. None lies below a folder that is not in the report."""
    folder = folder if folder.endswith("\\") else folder + "\\"
    return path.startswith(folder)


def groups_of(rows):
    return [list(group) for _, group in itertools.groupby(range(len(rows)), lambda i: rows[i].group)]


def matching(rows, asked):
    hidden = [folder for folder in asked.get("hidden", []) if folder]
    pair = asked.get("pair", [])
    found = set()
    for group in groups_of(rows):
        folders = {folder_of(rows[i].path) for i in group}
        if pair and not set(pair) <= folders:
            continue
        for i in group:
            row = rows[i]
            if (asked.get("text", "").lower() in row.path.lower()
                    and (not asked.get("folder") or below(row.path, asked["folder"]))
                    and (not asked.get("direct") or folder_of(row.path) == asked["folder"])
                    and (not asked.get("extensions")
                         or extension_of(row.path) in asked["extensions"])
                    and asked.get("leastSize", 0) <= row.size < asked.get("mostSize", 2 ** 60)
                    and asked.get("status", "all") in ("all", "original" if row.original else "copy")
                    and not any(below(row.path, folder) for folder in hidden)
                    and (not pair or folder_of(row.path) in pair)):
                found.add(i)
    return found


def rule_outcome(rows, found, rule):
    chosen = set()
    for group in groups_of(rows):
        if not found.intersection(group):
            continue
        named = [i for i in group if rows[i].path]
        if rule["kind"] == "markBelow":
            marked = [i for i in named if i in found and below(rows[i].path, rule["folder"])]
            chosen.update(marked if len(marked) < len(named) else marked[1:])
            continue
        if rule["kind"] == "keepBelow":
            kept = [i for i in named if below(rows[i].path, rule["folder"])]
        elif rule["kind"] == "keepOriginal":
            kept = named[:1]
        else:
            kept = sorted(named, key=lambda i: len(rows[i].path.encode("utf-16-le")))[:1]
        if kept:
            chosen.update(i for i in named if i in found and i not in kept)
    return chosen


def totals(rows, found):
    result = {"groups": 0, "files": 0, "copies": 0, "bytes": 0, "emptyFiles": 0, "unnamed": 0}
    by_extension, by_size = collections.defaultdict(lambda: [0, 0]), [[0, 0] for _ in range(6)]
    own = collections.defaultdict(lambda: [0, 0])
    result["groups"] = len({rows[i].group for i in found if rows[i].size})
    for i in sorted(found):
        row = rows[i]
        result["unnamed"] += not row.path
        copy = [not row.original, row.size * (not row.original)]
        if not row.size:
            result["emptyFiles"] += 1
        else:
            result["files"] += 1
            result["copies"] += copy[0]
            result["bytes"] += copy[1]
            size_class = sum(row.size >= limit for limit in LIMITS)
            for amount in (by_extension[extension_of(row.path)], by_size[size_class]):
                amount[0] += copy[0]
                amount[1] += copy[1]
        amount = own[folder_of(row.path)]
        amount[0] += copy[0] * (row.size > 0)
        amount[1] += copy[1]
    result["byExtension"] = {name: amount for name, amount in by_extension.items() if amount[0]}
    result["bySize"] = by_size
    result["ownFolders"] = {name: amount for name, amount in own.items() if amount[0]}
    deep = collections.defaultdict(lambda: [0, 0])
    for name, amount in own.items():
        for above in {"", *(name[:at.end()] for at in re.finditer(r"(?<=[^\\])\\", name)), name}:
            deep[above][0] += amount[0]
            deep[above][1] += amount[1]
    result["folders"] = {name: amount for name, amount in deep.items() if amount[0]}
    return result


def pairs(rows, found):
    result = collections.defaultdict(lambda: [0, 0])
    for group in groups_of(rows):
        folders = sorted({folder_of(rows[i].path) for i in group if i in found})
        if rows[group[0]].size and len(folders) <= 64:
            for pair in itertools.combinations(folders, 2):
                result["|".join(pair)][0] += 1
                result["|".join(pair)][1] += rows[group[0]].size
    return result


def answer(path, questions):
    try:
        rows = read(path.read_bytes())
    except Refused as refusal:
        return {"line": refusal.line}
    everything = set(range(len(rows)))
    result = {"paths": [row.path for row in rows], "totals": totals(rows, everything),
              "pairs": pairs(rows, everything), "answers": []}
    for question in questions:
        found = matching(rows, question["filter"])
        if "rule" in question:
            found = rule_outcome(rows, found, question["rule"])
        result["answers"].append(sorted(found))
    return result


def choices(path):
    with open(path, encoding="utf-8-sig", newline="") as file:
        return list(csv.reader(file, delimiter=";", strict=True))


if __name__ == "__main__":
    if sys.argv[1] == "--choices":
        print(json.dumps(choices(sys.argv[2])))
    elif sys.argv[1] == "--all":
        print(json.dumps({path.name: answer(path, []) for path in
                          pathlib.Path(sys.argv[2]).iterdir()}))
    else:
        asked = json.loads(pathlib.Path(sys.argv[2]).read_text()) if len(sys.argv) > 2 else []
        print(json.dumps(answer(pathlib.Path(sys.argv[1]), asked)))
