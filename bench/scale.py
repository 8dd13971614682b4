"""What bench/scale runs: large trees, two scans of each at three sizes, and a table.

    scale.py EXE FOLDER [--of N] [question...]

Peak memory and processor time are those of the program's own process, without Wine's server. A
second run is one that finds the index of the first.
"""
import argparse
import dataclasses
import os
import pathlib
import re
import shutil
import subprocess
import sys
import tempfile

MIB = 1 << 20
STATISTIC = re.compile(r"^ {2}(.+?) : (.+)$", re.MULTILINE)
# Many, because handing a batch of files over costs more under Wine than hashing small ones.
WORKERS = "16"
TIMES = "Temps (ms) index/énumération/analyse/écriture/total"


@dataclasses.dataclass(frozen=True)
class Measured:
    seconds: float  # as the program tells
    processor: float
    peak: int  # bytes
    groups: int
    rows: int
    reused: int


def windows_path(path):
    return "Z:" + os.path.abspath(path).replace("/", "\\")


class Question:
    """A tree of `count` files, and what a scan of it must report: (groups, rows)."""

    def __init__(self, count, make, expected):
        self.count = count
        self.make = make
        self.expected = expected


def file_at(folder, number, contents):
    descriptor = os.open(f"{folder}/fichier {number:07}.dat", os.O_WRONLY | os.O_CREAT | os.O_EXCL)
    os.write(descriptor, contents)
    os.close(descriptor)


def make_wide(folder, count):
    """Every size occurs once, so nothing is read. Sparse: no blocks are taken."""
    for number in range(count):
        file_at(folder, number, b"")
        os.truncate(f"{folder}/fichier {number:07}.dat", number + 1)


def make_sizes(folder, count):
    for number in range(count):
        file_at(folder, number, b"%032d" % number)


def make_copies(folder, count):
    for number in range(count):
        file_at(folder, number, b"la meme chose dans chaque copie")


def make_pairs(folder, count):
    for number in range(count):
        file_at(folder, number, b"%032d" % (number // 2))


def make_empty(folder, count):
    for number in range(count):
        file_at(folder, number, b"")


def make_deep(folder, length):
    """One chain of folders. A file in the last one has a path of `length` bytes as Wine spells it,
    through the link that stands for the drive. Two copies lie at the end of the chain and one at its
    beginning. Each folder is made from the one before it, since one call may not take the whole path."""
    (folder / "copie").write_bytes(b"au fond")
    here = os.open(folder, os.O_RDONLY)
    used = len(os.fsencode(os.path.abspath(folder)))
    step = "niveau-9"
    while used + len(step) + 1 + len("/copie 2") <= length:
        os.mkdir(step, dir_fd=here)
        inner = os.open(step, os.O_RDONLY, dir_fd=here)
        os.close(here)
        here = inner
        used += len(step) + 1
    for name in ("copie 1", "copie 2"):
        descriptor = os.open(name, os.O_WRONLY | os.O_CREAT | os.O_EXCL, dir_fd=here)
        os.write(descriptor, b"au fond")
        os.close(descriptor)
    os.close(here)


# Linux takes paths of up to 4,095 bytes; Wine needs some of them for itself.
QUESTIONS = {
    "deep": Question(4050, make_deep, lambda n: (1, 3)),
    "wide": Question(200_000, make_wide, lambda n: (0, 0)),
    "sizes": Question(100_000, make_sizes, lambda n: (0, 0)),
    "copies": Question(50_000, make_copies, lambda n: (1, n)),
    "pairs": Question(50_000, make_pairs, lambda n: (n // 2, n)),
    "empty": Question(100_000, make_empty, lambda n: (1, n)),
}


def report_counts(folder):
    report, = folder.glob("*.csv")
    rows = report.read_bytes().decode("utf-8-sig").split("\r\n")[1:-1]
    paths = [row.split('"')[1] for row in rows]
    if len(set(paths)) != len(paths):
        sys.exit("scale: a path stands in the report twice")
    return len({row.split(";")[0] for row in rows}), len(rows)


# Starts a program and reports what its process used. It runs in its own Python, because a process
# begins with the peak of the one that started it, and the peak of this one grows.
USED = """
import os, subprocess, sys
child = subprocess.Popen(sys.argv[2:], stdin=subprocess.DEVNULL)
_, status, used = os.wait4(child.pid, 0)
with open(sys.argv[1], "w") as told:
    print(os.waitstatus_to_exitcode(status), used.ru_utime + used.ru_stime, used.ru_maxrss, file=told)
"""


def scan(exe, root, index):
    """One run, and what its process used."""
    with tempfile.TemporaryDirectory(dir=index.parent) as current, \
            tempfile.TemporaryFile() as out:
        environment = dict(os.environ, LARKSPINE_INDEX_DIRECTORY=windows_path(index))
        told = pathlib.Path(current) / "used"
        subprocess.run([sys.executable, "-c", USED, told, os.environ["WINE"], windows_path(exe),
                        windows_path(root), "--stats", "-j", WORKERS],
                       cwd=current, env=environment, stdout=out, stderr=subprocess.STDOUT,
                       check=True)
        code, processor, peak = told.read_text().split()
        out.seek(0)
        said = out.read().decode()
        if code != "0":
            sys.exit(f"scale: the run ended with {code}\n{said}")
        statistics = dict(STATISTIC.findall(said))
        groups, rows = report_counts(pathlib.Path(current))
    reused = int(statistics["Hash sample calculés/réutilisés"].split("/")[1])
    return Measured(int(statistics[TIMES].split("/")[-1]) / 1000, float(processor),
                    int(peak) * 1024, groups, rows, reused)


def measure(exe, work, question, count):
    root, index = work / "tree", work / "index"
    for folder in (root, index):
        folder.mkdir(parents=True)
    try:
        question.make(root, count)
        runs = [scan(exe, root, index) for _ in range(2)]
    finally:
        shutil.rmtree(work)
    for run in runs:
        if (run.groups, run.rows) != question.expected(count):
            sys.exit(f"scale: {run.groups} groups of {run.rows} rows, not "
                     f"{question.expected(count)}")
    return runs


def empty_run(exe, work):
    """A run that finds nothing: the cost of Wine and the program themselves."""
    return measure(exe, work, Question(0, make_empty, lambda n: (0, 0)), 0)[0]


def row(name, count, runs, idle):
    first, second = runs
    share = [max(run.peak - idle.peak, 0) / max(count, 1) for run in runs]
    each = [1e6 * (run.processor - idle.processor) / max(count, 1) for run in runs]
    print(f"| {name} | {count:,} | {first.seconds:.1f} | {first.processor:.1f} | {each[0]:.0f} "
          f"| {first.peak / MIB:.0f} | {share[0]:.0f} | {second.seconds:.1f} "
          f"| {second.processor:.1f} | {each[1]:.0f} | {second.peak / MIB:.0f} | {share[1]:.0f} |",
          flush=True)
    return each, share


def grows(name, smallest, largest):
    """A sentence for each cost of a file that is clearly higher among many files than among few. A
    lower cost than `least` counts as `least`: among few files, the program's start may hide it."""
    worse = []
    for what, least, small, large in (("processor time", 20, smallest[0], largest[0]),
                                      ("memory", 600, smallest[1], largest[1])):
        for run, (before, after) in enumerate(zip(small, large), start=1):
            if after > 2.5 * max(before, least):
                worse.append(f"{name}: the {what} of a file grows in run {run}, from {before:.0f} to "
                             f"{after:.0f}")
    return worse


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("exe", type=pathlib.Path)
    parser.add_argument("folder", type=pathlib.Path)
    parser.add_argument("--of", type=int, default=1)
    parser.add_argument("questions", nargs="*")
    asked = parser.parse_intermixed_args()
    unknown = set(asked.questions) - set(QUESTIONS)
    if unknown:
        parser.error(f"no such question: {', '.join(sorted(unknown))}")
    shutil.rmtree(asked.folder, ignore_errors=True)
    work = asked.folder.resolve() / "now"

    idle = empty_run(asked.exe, work)
    print(f"An empty folder: {idle.processor:.2f} s of processor time, {idle.peak / MIB:.0f} MiB.\n")
    print("| tree | n | first run, s | CPU s | CPU µs/n | peak MiB | bytes/n "
          "| second run, s | CPU s | CPU µs/n | peak MiB | bytes/n |")
    print("|---|" + 11 * "---:|")
    worse = []
    for name in asked.questions or QUESTIONS:
        question = QUESTIONS[name]
        whole = question.count
        if name == "deep":
            sizes = [whole // 4, whole // 2, whole]
        else:
            whole //= asked.of
            sizes = [whole // 10, whole // 2, whole]
        costs = [row(name, count, measure(asked.exe, work, question, count), idle)
                 for count in sizes]
        if name != "deep":
            worse += grows(name, costs[0], costs[-1])
    for line in worse:
        print(f"scale: {line}", file=sys.stderr)
    return 1 if worse else 0


if __name__ == "__main__":
    sys.exit(main())
