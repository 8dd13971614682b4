#!/usr/bin/env python3
"""Checks .github/workflows, which cannot be run here, for faults that are unsafe or show at once.

Every action is pinned to a commit, the same one everywhere, with its version as a comment. A workflow
may only read, unless a job requests more rights and says why. Scripts of the project that a step runs
exist, and artifacts that a job downloads are uploaded by a job.
"""
import os
import pathlib
import re
import sys

PROJECT = pathlib.Path(__file__).resolve().parents[2]
FOLDER = PROJECT / ".github" / "workflows"
READ_ONLY = "\npermissions:\n  contents: read\n\n"


def problems_of_actions(name, text, pins):
    for number, line in enumerate(text.split("\n"), 1):
        used = re.search(r"\buses: *(\S+)(.*)", line)
        if not used or used[1].startswith("./"):
            continue
        pin = re.fullmatch(r"([\w.-]+/[\w./-]+)@([0-9a-f]{40})", used[1])
        if not pin or not re.fullmatch(r" # v\d+\.\d+\.\d+", used[2]):
            yield f"{name}:{number}: '{used[1]}' is not ACTION@COMMIT # vX.Y.Z"
        elif pins.setdefault(pin[1], pin[2] + used[2]) != pin[2] + used[2]:
            yield f"{name}:{number}: {pin[1]} is pinned to another commit elsewhere"


def problems_of_permissions(name, text):
    if READ_ONLY not in text:
        yield f"{name}: its permissions are not 'contents: read' and nothing else"
    for number, line in enumerate(text.split("\n"), 1):
        if re.search(r"\bpermissions: *\S|\bwrite-all\b", line):
            yield f"{name}:{number}: permissions are given one by one"
        if re.fullmatch(r" *[\w-]+: write", line):
            yield f"{name}:{number}: a right to write needs its reason as a comment"


def problems_of_scripts(name, text):
    for script in sorted(set(re.findall(r"(?<![\w/.])scripts/[\w-]+", text))):
        if not os.access(PROJECT / script, os.X_OK):
            yield f"{name}: there is no program {script}"


def artifacts(text, action):
    return set(re.findall(rf"uses: actions/{action}@.*\n +with:\n +name: (\S+)", text))


def main():
    workflows = {path.name: path.read_text(encoding="utf-8") for path in sorted(FOLDER.glob("*"))}
    problems, pins = [], {}
    for name, text in workflows.items():
        problems += problems_of_actions(name, text, pins)
        problems += problems_of_permissions(name, text)
        problems += problems_of_scripts(name, text)
    everything = "\n".join(workflows.values())
    for missing in artifacts(everything, "download-artifact") - artifacts(everything, "upload-artifact"):
        problems.append(f"no job uploads '{missing}'")
    if not workflows or not pins:
        problems.append(".github/workflows: nothing to check")
    for problem in problems:
        print(problem, file=sys.stderr)
    return 1 if problems else 0


if __name__ == "__main__":
    sys.exit(main())
