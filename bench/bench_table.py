#!/usr/bin/env python3
"""Runs the benchmark programs and makes one table of what they print (see bench/rounds.h).

Started by scripts/bench, in the project's folder and with Wine's environment.
"""
import argparse
import os
import statistics
import subprocess
import sys

ROUNDS = 7
GROWTH_TARGET = 1.10  # cost per entry at a larger size, divided by that at the size before it


class Row:
    def __init__(self, name, program, size, target, what, tenth=True, large=True, unit='ms'):
        self.name, self.program, self.size, self.target = name, program, size, target
        self.what, self.tenth, self.large, self.unit = what, tenth, large, unit

    def sizes(self, times):
        sizes = [self.size // 10] if self.tenth else []
        sizes.append(self.size)
        if times and self.large:
            sizes.append(self.size * times)
        return sizes


MILLION = 1_000_000
TWICE_AS_FAST = 1 / 1.8

ROWS = [
    Row('walk', 'walk', 50_000, 1.15, 'directory walk, files in folders of 25'),
    Row('full-hash', 'hash', 2_000, 1.10, 'full hash, one worker, MiB in eight files',
        large=False),
    Row('full-hash-2', 'hash', 2_000, TWICE_AS_FAST, 'full hash, two workers beside one, MiB',
        large=False),
    Row('samples', 'hash', 20_000, 1.10, 'samples, one worker, files'),
    Row('pool', 'pool', 20_000, 2, 'empty jobs through two workers'),
    Row('index-load', 'index', MILLION, 1.25, 'index load, entries'),
    Row('index-save', 'index', MILLION, 1.5, 'index save, entries'),
    Row('fast-path', 'volume', MILLION, 1.6, 'scan of an unchanged volume, files'),
    Row('table', 'volume', MILLION, 2, 'master file table, files in folders of 100'),
    Row('metadata', 'volume', 20_000, 1.3, 'metadata of files answered at once'),
    Row('delta', 'volume', MILLION, 2, 'journal delta, files, of which 1 % changed'),
    Row('pipeline', 'pipeline', MILLION, 5, 'candidate pipeline, candidates'),
    Row('report', 'report', MILLION, 2.2, 'report, rows'),
    Row('carry-over', 'carry_over', MILLION, 0.1, 'digests carried over, all as before, entries'),
    Row('carry-over-1', 'carry_over', MILLION, 0.5, 'the same, 1 % of the files renamed'),
    Row('carry-over-all', 'carry_over', MILLION, 1.05, 'the same, everything moved'),
    Row('second-run', 'run', 20_000, 0.25, 'second run of the program beside the first, files'),
    Row('memory', 'index', MILLION, 2.5, 'peak memory of load and save, entries', unit='MB'),
    Row('memory-walk', 'walk_memory', 1_060_000, 1, 'peak of a walked second run, entries',
        unit='MB'),
    Row('bar-small', 'bar', 4_000, 0.10, 'bar beside time, small files', tenth=False, large=False,
        unit=''),
    Row('bar-mixed', 'bar', 4_000, 0.10, 'bar beside time, files of all sizes', tenth=False,
        large=False, unit=''),
    Row('bar-huge', 'bar', 1_000, 0.10, 'bar beside time, the same with ten of 2 GiB', tenth=False,
        large=False, unit=''),
]


def chosen_rows(names):
    """The rows that the names stand for: `bar` for every row that begins with `bar-`, too."""
    return [row for row in ROWS
            if not names or any(f'{row.name}-'.startswith(f'{name}-') for name in names)]


def run(row, sizes, rounds):
    """The rounds of each size, each a triple of floats: ours, beside, second."""
    command = [os.environ['WINE'], f'build/bench/bench/{row.program}_bench.exe', row.name,
               str(rounds)] + [str(size) for size in sizes]
    finished = subprocess.run(command, stdin=subprocess.DEVNULL, stdout=subprocess.PIPE, text=True)
    if finished.returncode != 0:
        sys.exit(f'bench: row {row.name} failed')
    taken = {size: [] for size in sizes}
    for line in finished.stdout.splitlines():
        size, *numbers = line.split()
        taken[int(size)].append(tuple(float(number) for number in numbers))
    if any(len(of_size) != rounds for of_size in taken.values()):
        sys.exit(f'bench: row {row.name} printed too little')
    return taken


def median_of(rounds, value):
    return statistics.median(value(*one) for one in rounds)


class Figures:
    """The figures of one size of a row, and its growth from the size before, if any."""

    def __init__(self, row, size, rounds, before=None):
        self.row, self.size = row, size
        self.ours = median_of(rounds, lambda ours, beside, second: ours)
        self.beside = median_of(rounds, lambda ours, beside, second: beside)
        self.second = median_of(rounds, lambda ours, beside, second: second)
        self.ratio = median_of(rounds, lambda ours, beside, second: ours / beside)
        # A second way cannot overlap with the first, so the target allows for all of it.
        self.target = row.target + median_of(rounds, lambda ours, beside, second: second / beside)
        self.growth = self.beside_growth = None
        if before:
            size_before, rounds_before = before
            times = size / size_before
            self.growth, self.beside_growth = (
                statistics.median(now[way] / then[way] / times
                                  for now, then in zip(rounds, rounds_before)) for way in (0, 1))

    def reached(self):
        return 'yes' if self.ratio <= self.target else 'no'


def amount(row, value):
    factor = {'ms': 1e3, 'MB': 1e-6, '': 1}[row.unit]
    return f'{value * factor:,.{1 if row.unit else 3}f} {row.unit}'.strip()


def print_table_row(row, figures):
    last = next(one for one in figures if one.size == row.size)
    growth = ', '.join(f'{one.growth:.2f}{"" if one.growth <= GROWTH_TARGET else " (no)"}'
                       for one in figures if one.growth is not None)
    print(f'| {row.name:14} | {row.what:44} | {row.size:9,} | {amount(row, last.ours):>12} '
          f'| {amount(row, last.beside):>12} | {last.ratio:6.2f} | {last.target:6.2f} '
          f'| {last.reached():7} | {growth or "-":15} |', flush=True)


def print_csv_row(row, figures):
    for one in figures:
        growth = '' if one.growth is None else f'{one.growth:.4f}'
        beside_growth = '' if one.beside_growth is None else f'{one.beside_growth:.4f}'
        print(f'{row.name},{one.size},{one.ours:.9g},{one.beside:.9g},{one.second:.9g},'
              f'{one.ratio:.4f},{one.target:.4f},{one.reached()},{growth},{beside_growth}',
              flush=True)


def print_heading(csv):
    if csv:
        print('row,size,ours,beside,second,ratio,target,reached,growth,beside_growth')
        return
    print(f'| {"row":14} | {"what":44} | {"size":>9} | {"ours":>12} | {"beside":>12} '
          f'| {"ratio":>6} | {"target":>6} | {"reached":7} | {"growth":15} |')
    print('|---|---|--:|--:|--:|--:|--:|---|---|', flush=True)


def main():
    parser = argparse.ArgumentParser(prog='scripts/bench')
    parser.add_argument('--csv', action='store_true')
    larger = parser.add_mutually_exclusive_group()
    larger.add_argument('--large', action='store_const', const=10, dest='times')
    larger.add_argument('--times', type=int)
    parser.add_argument('--list', action='store_true')
    parser.add_argument('--processor', action='store_true')
    parser.add_argument('--rounds', type=int, default=ROUNDS)
    parser.add_argument('rows', nargs='*')
    options = parser.parse_args()
    if options.list:
        for row in ROWS:
            print(f'{row.name:14} {row.what}')
        return
    unknown = {name for name in options.rows if not chosen_rows([name])}
    if unknown:
        sys.exit(f'bench: no row is named {", ".join(sorted(unknown))}')
    if options.times is not None and options.times < 2:
        sys.exit('bench: a larger size is at least twice the size')
    if options.rounds < 1:
        sys.exit('bench: at least one round is needed')

    if options.processor:
        os.environ['LARKSPINE_BENCH_CLOCK'] = 'processor'
    print_heading(options.csv)
    for row in chosen_rows(options.rows):
        sizes = row.sizes(options.times)
        taken = run(row, sizes, options.rounds)
        figures = [Figures(row, size, taken[size],
                           before=(sizes[i - 1], taken[sizes[i - 1]]) if i > 0 else None)
                   for i, size in enumerate(sizes)]
        (print_csv_row if options.csv else print_table_row)(row, figures)


if __name__ == '__main__':
    main()
