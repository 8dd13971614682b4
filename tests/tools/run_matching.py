"""Builds and runs the tests that match patterns: run_matching.py PRESET PATTERN...

Called by scripts/test, which has configured the preset and set the environment for Wine. Finds tests in
the sources, so nothing needs to be built first; the build tells which program holds a file. Starts each
program once with a filter, and each Python file once.
"""
import collections
import fnmatch
import json
import os
import pathlib
import re
import subprocess
import sys

PROJECT = pathlib.Path(__file__).resolve().parents[2]
TESTS = PROJECT / "tests"
PROGRAMS = ("larkspine", "windows_check")
HELPERS = (*PROGRAMS, "hash_probe", "lock_file", "volume_program", "planted_program")

class Gtest:
    def __init__(self, source, suite, name, parametrised):
        self.source = source
        self.suite = suite
        self.names = (f"{suite}.{name}", source.stem, str(source.relative_to(PROJECT)))
        self.filter = f"*/{suite}.{name}/*" if parametrised else f"{suite}.{name}"

class PythonTest:
    def __init__(self, source, suite, name):
        self.source = source
        self.target = f"{source.stem}.{suite}.{name}"
        self.names = (f"{suite}.{name}", source.stem, str(source.relative_to(PROJECT)))

def gtests():
    for source in sorted(TESTS.rglob("*_test.cpp")):
        text = source.read_text(encoding="utf-8")
        for kind, suite, name in re.findall(r"^TEST(_F|_P)?\(\s*(\w+),\s*(\w+)\)", text, re.M):
            yield Gtest(source, suite, name, kind == "_P")

def python_tests():
    for source in sorted(TESTS.rglob("*_test.py")):
        suite = None
        for word, name in re.findall(r"^(class|    def) (\w+)", source.read_text(encoding="utf-8"),
                                     re.M):
            if word == "class":
                suite = name
            elif name.startswith("test_"):
                yield PythonTest(source, suite, name)

def programs_by_source(build):
    """The test program that each source is compiled into, from the names of the object files."""
    programs = {}
    for command in json.loads((build / "compile_commands.json").read_text()):
        program = re.search(r"CMakeFiles/(\w+_tests)\.dir/", command.get("output",
                                                                        command["command"]))
        if program:
            programs[pathlib.Path(command["file"]).resolve()] = program[1]
    return programs

def filters_of(suites, wanted):
    """Filters for the wanted tests. A whole suite takes one: the length of a command line is limited."""
    for suite, tests in wanted.items():
        if len(tests) == suites[suite]:
            yield from (f"{suite}.*", f"*/{suite}.*")
        else:
            yield from (test.filter for test in tests)

def matches(test, patterns):
    return any(fnmatch.fnmatchcase(name.lower(), f"*{pattern.lower()}*")
               for pattern in patterns for name in test.names)

def run(command, **settings):
    print("+ " + " ".join(str(word) if len(str(word)) < 200 else f"{str(word)[:200]}..."
                          for word in command), flush=True)
    return subprocess.run(command, check=False, **settings).returncode

def main():
    preset, *patterns = sys.argv[1:]
    host = preset.startswith("host")
    build = PROJECT / "build" / preset
    holding = programs_by_source(build)
    suites = collections.Counter()
    wanted = collections.defaultdict(lambda: collections.defaultdict(list))
    for test in gtests():
        if test.source in holding:
            suites[test.suite] += 1
            if matches(test, patterns):
                wanted[holding[test.source]][test.suite].append(test)
    modules = {}
    for test in () if host else python_tests():
        if matches(test, patterns):
            modules.setdefault(test.source, []).append(test.target)
    count = (sum(len(tests) for found in wanted.values() for tests in found.values()) +
             sum(map(len, modules.values())))
    if count == 0:
        print(f"scripts/test: no test matches {' '.join(patterns)}", file=sys.stderr)
        return 1
    print(f"{count} tests in {', '.join([*wanted, *(path.name for path in modules)])}",
          flush=True)

    targets = [*wanted, *(HELPERS if modules else ())]
    if subprocess.run([PROJECT / "scripts" / "build", preset, *targets], check=False).returncode:
        return 1
    if not host and subprocess.run([TESTS / "wine_server"], check=False).returncode:
        return 1
    failed = 0
    for program, found in wanted.items():
        path = next(build.rglob(program if host else f"{program}.exe"))
        command = [path] if host else [TESTS / "wine_program", path]
        failed |= run([*command, "--gtest_brief=1", "--gtest_color=no",
                       f"--gtest_filter={':'.join(filters_of(suites, found))}"])
    environment = {**os.environ, "PYTHONPATH": str(TESTS / "e2e")}
    for helper in HELPERS:
        place = build / ("" if helper in PROGRAMS else "tests") / f"{helper}.exe"
        name = "EXE" if helper == "larkspine" else f"{helper.upper()}_EXE"
        environment[f"LARKSPINE_{name}"] = str(place)
    for source, targets in modules.items():
        failed |= run([sys.executable, "-m", "unittest", *targets], cwd=source.parent,
                      env=environment)
    return 1 if failed else 0

if __name__ == "__main__":
    sys.exit(main())
