#!/usr/bin/env python3
"""Prints how much of each file below src/ the tests run, from a summary of gcovr.

    coverage_table.py SUMMARY DOCUMENT

Fails when a file has too few lines covered and no row in DOCUMENT's table "Not covered, and why", and
when a row of that table names a file that is gone or fully covered.
"""
import json
import pathlib
import re
import sys

LEAST_LINES = 90  # percent
HEADING = "## Not covered, and why"


def explained_files(document):
    """The files that the rows of the table begin with."""
    text = document.read_text(encoding="utf-8")
    if HEADING not in text:
        raise SystemExit(f"{document}: has no part '{HEADING}'")
    part = text.split(HEADING, 1)[1].split("\n## ", 1)[0]
    return set(re.findall(r"^\| `(src/[^`]+)`", part, flags=re.MULTILINE))


def shown(covered, total):
    # Rounded down, so that 100 means all.
    return f"{covered:5}/{total:<5}{100 * covered // total if total else 100:4} %"


def row(name, counts):
    return (f"{name:<38}{shown(counts['line_covered'], counts['line_total'])}"
            f"{shown(counts['branch_covered'], counts['branch_total'])}")


def main():
    summary = json.loads(pathlib.Path(sys.argv[1]).read_text(encoding="utf-8"))
    document = pathlib.Path(sys.argv[2])
    explained = explained_files(document)
    print(f"{'':<38}{'lines':>11}{'branches':>22}")
    problems = []
    complete = set()
    for file in summary["files"]:
        name = file["filename"]
        print(row(name, file))
        if (file["line_covered"], file["branch_covered"]) == (file["line_total"],
                                                               file["branch_total"]):
            complete.add(name)
        if 100 * file["line_covered"] < LEAST_LINES * file["line_total"] and name not in explained:
            problems.append(f"{name}: under {LEAST_LINES} % of its lines, and {document} gives no "
                            "reason")
    print(row("all", summary))
    counted = {file["filename"] for file in summary["files"]}
    for name in sorted(explained - counted):
        problems.append(f"{document}: explains {name}, which is not counted")
    for name in sorted(explained & complete):
        problems.append(f"{document}: explains {name}, of which everything is covered")
    # Every source must be built. A header without code has no counts.
    for path in sorted(pathlib.Path("src").rglob("*.cpp")):
        if path.as_posix() not in counted:
            problems.append(f"{path.as_posix()}: counted by no build")
    for problem in problems:
        print(problem, file=sys.stderr)
    return 1 if problems else 0


if __name__ == "__main__":
    sys.exit(main())
