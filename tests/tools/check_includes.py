#!/usr/bin/env python3
"""Checks that the files below src/ include each other in one direction only.

The table of levels in docs/architecture.md is the rule: every module stands in it once, and a file
includes only files of a lower level, or of its own level when no circle comes of it.
<windows.h> is included in one place.
"""
import pathlib
import re
import sys

PROJECT = pathlib.Path(__file__).resolve().parents[2]
DOCUMENT = "docs/architecture.md"
WINDOWS_HEADER = "fs/win32_api.h"


def read_levels(text, problems):
    """The level of each module: rows of a number and of names in backquotes."""
    levels = {}
    for level, modules in re.findall(r"^\| (\d+) \| (.*) \|$", text, re.MULTILINE):
        for module in re.findall(r"`([^`]+)`", modules):
            if module in levels:
                problems.append(f"{DOCUMENT}: {module} stands in the table twice")
            levels[module] = int(level)
    return levels


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
    levels = read_levels((PROJECT / DOCUMENT).read_text(encoding="utf-8"), problems)
    units = set()
    edges = {}
    for path in sorted([*source.rglob("*.h"), *source.rglob("*.cpp")]):
        name = path.relative_to(source).as_posix()
        unit = name.rsplit(".", 1)[0]
        units.add(unit)
        text = path.read_text(encoding="utf-8")
        if re.search(r"#include\s*<(windows|winioctl)\.h>", text) and name != WINDOWS_HEADER:
            problems.append(f"{name}: includes <windows.h>; {WINDOWS_HEADER} is the place")
        for included in re.findall(r'#include\s*"([^"]+)"', text):
            if not (source / included).is_file():
                problems.append(f"{name}: includes {included}, which is not below src/")
                continue
            other = included.rsplit(".", 1)[0]
            if other == unit:
                continue
            if unit in levels and levels.get(other, 0) > levels[unit]:
                problems.append(f"{name}: includes {included} of a higher level in {DOCUMENT}")
            edges.setdefault(unit, set()).add(other)

    problems += [f"{unit}: is missing from the table of levels in {DOCUMENT}"
                 for unit in sorted(units - levels.keys())]
    problems += [f"{DOCUMENT}: {unit} has no file below src/"
                 for unit in sorted(levels.keys() - units)]
    problems += circles(edges)
    for problem in problems:
        print(problem, file=sys.stderr)
    return 1 if problems else 0


if __name__ == "__main__":
    sys.exit(main())
