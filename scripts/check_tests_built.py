#!/usr/bin/env python3
"""Checks that every C++ file below tests/ is compiled by a build, and every Python test is found.

Reads the compile commands of the builds that scripts/test makes.
"""
import json
import pathlib
import sys

BUILDS = ["mingw", "host-asan"]


def main():
    project = pathlib.Path(__file__).resolve().parent.parent
    compiled = set()
    for build in BUILDS:
        commands = json.loads((project / "build" / build / "compile_commands.json").read_text())
        compiled |= {pathlib.Path(command["file"]).resolve() for command in commands}
    problems = []
    for path in sorted((project / "tests").rglob("*.cpp")):
        if path.resolve() not in compiled:
            problems.append(f"{path.relative_to(project)}: compiled by no build")
    for path in sorted((project / "tests").rglob("*.py")):
        if "unittest.TestCase" in path.read_text(encoding="utf-8") and (
                path.parent.name not in ("e2e", "package") or not path.name.endswith("_test.py")):
            problems.append(f"{path.relative_to(project)}: would not be found by test discovery")
    for problem in problems:
        print(problem, file=sys.stderr)
    return 1 if problems else 0


if __name__ == "__main__":
    sys.exit(main())
