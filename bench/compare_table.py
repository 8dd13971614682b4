#!/usr/bin/env python3
"""The finished program beside others that look for duplicates, over one generated tree.

Started by bench/compare, with Wine's environment. The tree, seed 1: folders of 100 files, of ten
files nine with up to 8 KiB, most others with up to 128 KiB, one in fifty with up to 300 KiB; of all
files 30 % are copies of another and 5 % are hard links.
"""
import argparse
import csv
import os
import pathlib
import random
import shutil
import statistics
import subprocess
import sys
import time


def size_of_file(rng):
    kind = rng.randrange(50)
    if kind == 0:
        return rng.randint(131_073, 307_200)
    return rng.randint(8_193, 131_072) if kind < 5 else rng.randint(1, 8_192)


def make_tree(root, files, rng):
    """Returns how many files are copies, which is what every program should find."""
    made, copies = [], 0
    for number in range(files):
        folder = root / f'folder{number // 100:05}'
        if number % 100 == 0:
            folder.mkdir(parents=True)
        path = folder / f'document-{number:06}.data'
        kind = rng.random()
        if made and kind < 0.30:
            shutil.copyfile(rng.choice(made), path)
            copies += 1
        elif made and kind < 0.35:
            path.hardlink_to(rng.choice(made))
        else:
            path.write_bytes(rng.randbytes(size_of_file(rng)))
            made.append(path)
    return copies


class Program:
    def __init__(self, name, command, count, prepare=lambda: None, environment=None):
        self.name, self.command, self.count, self.prepare = name, command, count, prepare
        self.environment = {**os.environ, **(environment or {})}
        self.seconds, self.peaks, self.found = [], [], None

    def run(self, folder, counted):
        self.prepare()
        output, peak = folder / 'output', folder / 'peak'
        # Not the resource usage of a child of this process: its peak begins with the memory of the
        # interpreter from which it was started.
        command = ['/usr/bin/time', '-f', '%M', '-o', str(peak), *self.command]
        with open(output, 'wb') as stdout, open(folder / 'errors', 'wb') as stderr:
            start = time.monotonic()
            finished = subprocess.run(command, stdin=subprocess.DEVNULL, stdout=stdout,
                                      stderr=stderr, cwd=folder, env=self.environment)
            seconds = time.monotonic() - start
        if finished.returncode != 0:
            sys.exit(f'compare: {self.name} ended with {finished.returncode}')
        self.found = self.count(folder, output)
        if counted:
            self.seconds.append(seconds)
            self.peaks.append(int(peak.read_text()) / 1024)


def count_in_report(folder, _):
    (report,) = folder.glob('Fennick_Resultats_*.csv')
    found = report.read_text(encoding='utf-8-sig').count(';Doublon;')
    report.unlink()
    return found


def count_in_sets(_, output):
    """Paths one a line, an empty line after each set. Several names of one file count once."""
    sets = [one.strip().splitlines() for one in output.read_text().split('\n\n') if one.strip()]
    return sum(len({os.stat(path).st_ino for path in one}) - 1 for one in sets)


def count_in_results(folder, _):
    lines = (folder / 'rdfind.txt').read_text().splitlines()
    return sum(1 for line in lines
               if line and not line.startswith(('#', 'DUPTYPE_FIRST_OCCURRENCE')))


def count_in_rows(folder, _):
    with open(folder / 'rmlint.csv', newline='', encoding='utf-8') as rows:
        checksums = [row['checksum'] for row in csv.DictReader(rows)]
    return len(checksums) - len(set(checksums))


def programs(executable, tree, scratch):
    index = scratch / 'index'
    ours = [os.environ['WINE'], str(executable), windows_path(tree)]
    at = {'LARKSPINE_INDEX_DIRECTORY': windows_path(index)}
    return [
        # In this order: the first leaves the index that the second finds.
        Program('larkspine.exe (Wine), no index yet', ours, count_in_report,
                prepare=lambda: shutil.rmtree(index, ignore_errors=True), environment=at),
        Program('larkspine.exe (Wine), with its index', ours, count_in_report, environment=at),
        Program('fdupes', ['fdupes', '-r', '-q', tree], count_in_sets),
        Program('jdupes', ['jdupes', '-r', '-q', tree], count_in_sets),
        # Without an action it only writes its results file.
        Program('rdfind', ['rdfind', '-ignoreempty', 'false', '-outputname',
                           str(scratch / 'run' / 'rdfind.txt'), tree], count_in_results),
        # Duplicate files only, no hard links, and no script or other output than the table.
        Program('rmlint', ['rmlint', '-T', 'none,df', '-r', '-L', '-o',
                           f'csv:{scratch / "run" / "rmlint.csv"}', tree], count_in_rows),
    ]


def windows_path(path):
    return 'Z:' + str(path).replace('/', '\\')


def main():
    parser = argparse.ArgumentParser(prog='bench/compare')
    parser.add_argument('executable', type=pathlib.Path)
    parser.add_argument('scratch', type=pathlib.Path)
    parser.add_argument('--files', type=int, default=20_000)
    parser.add_argument('--rounds', type=int, default=7)
    options = parser.parse_args()
    tree = options.scratch / 'tree'
    copies = make_tree(tree, options.files, random.Random(1))
    folder = options.scratch / 'run'
    folder.mkdir()

    all_programs = programs(options.executable.resolve(), str(tree), options.scratch)
    for number in range(options.rounds + 1):  # the first does not count
        for program in all_programs:
            program.run(folder, counted=number > 0)

    print(f'{options.files:,} files, of which {copies:,} are copies')
    print(f'| {"program":38} | {"seconds":>8} | {"peak MB":>8} | {"found":>7} |')
    print('|---|--:|--:|--:|')
    for program in all_programs:
        print(f'| {program.name:38} | {statistics.median(program.seconds):8.2f} '
              f'| {statistics.median(program.peaks):8.1f} | {program.found:7,} |')


if __name__ == '__main__':
    main()
