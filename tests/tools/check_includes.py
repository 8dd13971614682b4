#!/usr/bin/env python3
"""Checks that the files below src/ include each other in one direction only.

The line of folders in docs/architecture.md is the rule: a file may include files of its own folder,
without a cycle, and of folders behind a later ">". Only one file includes <windows.h>.
"""
import pathlib
import re
import sys

PROJECT = pathlib.Path(__file__).resolve().parents[2]
DOCUMENT = "docs/architecture.md"
WINDOWS_HEADER = "base/win32_api.h"


def read_ranks(text):
    """The rank of each folder: the line `a > b, c > d` puts a above b and c, and these above d."""
    line = re.search(r"^    (\w+(?:, \w+)*(?: > \w+(?:, \w+)*)+)$", text, re.MULTILINE)
    if line is None:
        return {}
    floors = reversed(line.group(1).split(" > "))
    return {folder: rank for rank, floor in enumerate(floors) for folder in floor.split(", ")}


def circles(edges):
    done = set()
    found = []

    def visit(unit, trail):
        if unit in trail:
            found.append("circle: " + " -> ".join(trail[trail.index(unit):] + [unit]))
            return
        if unit in done:
            return
        for other in sorted(edges.get(unit, ())):
            visit(other, trail + [unit])
        done.add(unit)

    for unit in sorted(edges):
        visit(unit, [])
    return found


def main():
    source = PROJECT / "src"
    problems = []
    ranks = read_ranks((PROJECT / DOCUMENT).read_text(encoding="utf-8"))
    folders = {path.name for path in source.iterdir() if path.is_dir()}
    problems += [f"src/{folder}: is missing from the line of folders in {DOCUMENT}"
                 for folder in sorted(folders - ranks.keys())]
    problems += [f"{DOCUMENT}: there is no folder src/{folder}"
                 for folder in sorted(ranks.keys() - folders)]
    edges = {}
    for path in sorted([*source.rglob("*.h"), *source.rglob("*.cpp")]):
        name = path.relative_to(source).as_posix()
        folder, unit = name.split("/")[0], name.rsplit(".", 1)[0]
        text = path.read_text(encoding="utf-8")
        if re.search(r"#include\s*<(windows|winioctl)\.h>", text) and name != WINDOWS_HEADER:
            problems.append(f"{name}: includes <windows.h>; {WINDOWS_HEADER} is the place")
        for included in re.findall(r'#include\s*"([^"]+)"', text):
            if not (source / included).is_file():
                problems.append(f"{name}: includes {included}, which is not below src/")
                continue
            other_folder, other = included.split("/")[0], included.rsplit(".", 1)[0]
            if other_folder != folder and ranks.get(other_folder, 0) >= ranks.get(folder, 0):
                problems.append(f"{name}: includes {included}, which is not below it in {DOCUMENT}")
            if other != unit:
                edges.setdefault(unit, set()).add(other)

    problems += circles(edges)
    for problem in problems:
        print(problem, file=sys.stderr)
    return 1 if problems else 0


if __name__ == "__main__":
    sys.exit(main())
