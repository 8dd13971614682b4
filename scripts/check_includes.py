#!/usr/bin/env python3
"""Checks that the files below src/ include each other in one direction only.

Every file has a level; a file includes only files of a lower level, or of its own level when no
circle comes of it (its own header counts as lower). <windows.h> is included in one place.
"""
import pathlib
import re
import sys

# From the leaves up. The first pattern that matches a file's path without its ending decides.
LEVELS = [
    [r"engine/fnv1a", r"engine/blake3_digest", r"engine/scan_records", r"engine/file_identity",
     r"engine/read_buffer",
     r"index/byte_reader", r"pool/worker_pool", r"pool/job_batch", r"fs/win32_api", r"fs/win32_handle", r"fs/write_all",
     r"fs/path_forms", r"fs/path", r"index/index_key"],
    [r"index/index_location"],
    [r"fs/.*"],
    [r"index/index_f.*"],
    [r"engine/(?!scan_driver).*"],
    [r"engine/scan_driver", r"report/.*"],
    [r"app/.*"],
]
WINDOWS_HEADER = "fs/win32_api.h"


def level_of(unit):
    for level, patterns in enumerate(LEVELS):
        if any(re.fullmatch(pattern, unit) for pattern in patterns):
            return level
    return None


def main():
    source = pathlib.Path(__file__).resolve().parent.parent / "src"
    problems = []
    edges = {}
    for path in sorted([*source.rglob("*.h"), *source.rglob("*.cpp")]):
        name = path.relative_to(source).as_posix()
        unit = name.rsplit(".", 1)[0]
        level = level_of(unit)
        if level is None:
            problems.append(f"{name}: has no level in scripts/check_includes.py")
            continue
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
            other_level = level_of(other)
            if other_level is not None and other_level > level:
                problems.append(f"{name}: includes {included} of a higher level")
            edges.setdefault(unit, set()).add(other)

    done = set()

    def visit(unit, trail):
        if unit in trail:
            problems.append("circle: " + " -> ".join(trail[trail.index(unit):] + [unit]))
            return
        if unit in done:
            return
        for other in sorted(edges.get(unit, ())):
            visit(other, trail + [unit])
        done.add(unit)

    for unit in sorted(edges):
        visit(unit, [])
    for problem in problems:
        print(problem, file=sys.stderr)
    return 1 if problems else 0


if __name__ == "__main__":
    sys.exit(main())
