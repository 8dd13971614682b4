#!/usr/bin/env python3
"""Counts instructions of the portable parts, or samples a benchmark's row, and prints tables.

Started by bench/profile, in the project's folder, with a folder for whatever is written.
"""
import bisect
import collections
import os
import pathlib
import re
import subprocess
import sys

from bench_table import ROWS

PARTS = ['index-encode', 'index-decode', 'size-groups', 'usn-records', 'record-paths',
         'rebuild-paths', 'changes', 'csv-rows', 'path-compare', 'path-views']
ITEMS = 50_000  # a part at ten times as many takes up to a minute
FUNCTIONS = 6  # of each part; any other has at most a few percent
TARGET_TOOLS = 'x86_64-w64-mingw32-'
HOST_PROGRAM = 'build/host-bench/bench/portable_parts'


def output_of(*command):
    finished = subprocess.run(command, stdin=subprocess.DEVNULL, stdout=subprocess.PIPE,
                              stderr=subprocess.STDOUT, text=True, errors='replace')
    if finished.returncode != 0:
        sys.exit(f'profile: {command[0]} failed\n{finished.stdout}')
    return finished.stdout


def short(function):
    """A C++ name without its arguments and the namespaces that all have in common."""
    name = re.sub(r'\(anonymous namespace\)::|larkspine::|detail::|\[abi:\w+\]', '', function)
    inner = None
    while inner != name:
        inner, name = name, re.sub(r'<[^<>]*>', '', name)
    return re.split(r'\(| \[', name)[0].removeprefix('void ').strip() or function


def counted(scratch, part, items):
    """The instructions of one run and the functions that have most of them."""
    profile = f'{scratch}/{part}.{items}'
    told = output_of('valgrind', '--tool=callgrind', '--collect-atstart=no',
                     f'--callgrind-out-file={profile}', HOST_PROGRAM, part, str(items))
    total = int(re.search(r'Collected : (\d+)', told)[1])
    functions = collections.Counter()
    annotated = output_of('callgrind_annotate', '--auto=no', '--threshold=100', profile)
    for line in annotated.splitlines():
        # "1,234 ( 5.6%)  file:function [object]". A function with parts from several files counts
        # once.
        if entry := re.match(r'\s*([\d,]+) \(.*?\)\s+\S*?:(.+)', line):
            functions[short(entry[2])] += int(entry[1].replace(',', ''))
    return total, functions


def print_counts(scratch, parts):
    print('| part | instructions an item | at ten times the size | most of them in |')
    print('|---|--:|--:|---|')
    for part in parts:
        total, functions = counted(scratch, part, ITEMS)
        larger, _ = counted(scratch, part, 10 * ITEMS)
        most = ', '.join(f'{name} {100 * own / total:.0f} %'
                         for name, own in functions.most_common(FUNCTIONS) if own >= total / 50)
        print(f'| {part} | {total / ITEMS:.0f} | {larger / total / 10:.2f} | {most} |', flush=True)


class Symbols:
    """Names by address. An address between two known ones has the name of the lower."""

    def __init__(self, pairs):
        self.addresses, self.names = zip(*sorted(pairs)) if pairs else ((), ())

    def at(self, address):
        found = bisect.bisect_right(self.addresses, address)
        return self.names[found - 1] if found else '?'


def program_symbols(program):
    pairs = []
    for line in output_of(f'{TARGET_TOOLS}nm', '-C', program).splitlines():
        if symbol := re.match(r'([0-9a-f]+) [Tt] (.+)', line):
            if not symbol[2].startswith('.'):
                pairs.append((int(symbol[1], 16), short(symbol[2])))
    return Symbols(pairs)


def library_symbols(library):
    """What a library of Wine exports, by offset, which is the same in its file and in memory."""
    told = output_of(f'{TARGET_TOOLS}objdump', '-p', library)
    addresses = {int(place): int(offset, 16) for place, offset in re.findall(
        r'\[ *(\d+)\] \+base\[ *\d+\] ([0-9a-f]+) Export RVA', told)}
    names = re.findall(r'^\t\[ *(\d+)\] (\w+)$', told, re.MULTILINE)
    return Symbols([(addresses[int(place)], name) for place, name in names
                    if int(place) in addresses])


def print_samples(scratch, name, size):
    row = next((row for row in ROWS if row.name == name), None)
    if row is None:
        sys.exit(f'profile: no row is named {name}')
    program = f'build/bench/bench/{row.program}_bench.exe'
    samples = f'{scratch}/samples'
    output_of('perf', 'record', '-q', '-e', 'cpu-clock', '-F', '997', '-o', samples,
              os.environ['WINE'], program, name, '3', size)
    reported = subprocess.run(
        ['perf', 'report', '-i', samples, '--stdio', '-v', '-F', 'sample,comm,dso,sym',
         '-t', ';'],
        stdin=subprocess.DEVNULL, stdout=subprocess.PIPE, stderr=subprocess.DEVNULL, text=True,
        check=True).stdout
    # Wine loads a program into memory that no file backs. Linux keeps 15 characters of a name.
    programs = {pathlib.PurePath(path).name[:15]: program_symbols(path)
                for path in (program, 'build/bench/larkspine.exe')}
    libraries = {}
    met = collections.Counter()
    places = collections.Counter()
    for line in reported.splitlines():
        entry = re.match(r' *(\d+) *;(\S+) *;(\S+) *;0x([0-9a-f]+) .*\[[.k]\] (\S+)', line)
        if not entry:
            continue
        process, where, address = entry[2], entry[3], int(entry[4], 16)
        place = pathlib.PurePath(where).name
        if where.endswith('.dll'):
            if where not in libraries:
                libraries[where] = library_symbols(where)
            function = f'{place}: {libraries[where].at(address)}+'
        elif where.startswith('['):
            place = 'kernel'
            function = f'kernel: {entry[5]}'
        elif where.endswith('.map') and process in programs:
            place = process
            function = programs[process].at(address)
        else:
            function = f'{place}: {entry[5]}'
        met[function] += int(entry[1])
        places[place] += int(entry[1])
    total = met.total()
    print(f'{name}, {size}: {total:,} samples; ' +
          ', '.join(f'{place} {100 * count / total:.0f} %'
                    for place, count in places.most_common() if count >= total / 100))
    for function, count in met.most_common(25):
        print(f'{100 * count / total:5.1f} %  {function}')


def main():
    scratch, *asked = sys.argv[1:]
    if asked[:1] == ['--samples']:
        print_samples(scratch, *asked[1:])
        return
    unknown = set(asked) - set(PARTS)
    if unknown:
        sys.exit(f'profile: no part is named {", ".join(sorted(unknown))}')
    print_counts(scratch, asked or PARTS)


if __name__ == '__main__':
    main()
