"""Starts the finished program under Wine, and collects what a run leaves behind.

Expects in the environment LARKSPINE_EXE, LARKSPINE_LOCK_FILE_EXE and LARKSPINE_HASH_PROBE_EXE
(Linux paths of the program and of the two tools built beside it) and WINEPREFIX (already set up);
WINE may name another wine64. Every run gets a fresh current directory and a fresh index directory
unless the test names one, so that no run sees what another one left.
"""
import contextlib
import dataclasses
import os
import pathlib
import re
import shutil
import subprocess
import sys
import tempfile
import time
import unittest

REPORT_NAME = re.compile(r"Fennick_Resultats_(\d{4}-\d\d-\d\d_\d\d-\d\d-\d\d)\.csv")
REPORT_TIME = "%Y-%m-%d_%H-%M-%S"
BANNER_END = b"Version 0.0.5\nAuteur : Pelvane\nEntreprise : Ostrell\n" + 40 * b"-" + b"\n\n"
TIME_LIMIT = 60  # seconds; a run takes one or two

def required(variable):
    """The value of an environment variable without which nothing can be tested."""
    value = os.environ.get(variable)
    if not value:
        raise RuntimeError(f"set {variable}: see the head of {__file__}")
    return value

def exe():
    return windows_path(required("LARKSPINE_EXE"))

def wine():
    return os.environ.get("WINE", "/usr/lib/wine/wine64")

def skip(reason):
    """Skips the running test, and prints the reason, which some test runners do not show."""
    print(f"\nskipped: {reason}", file=sys.stderr)
    raise unittest.SkipTest(reason)

def windows_path(path):
    """The Windows path of a Linux path: drive Z: is the root folder."""
    return "Z:" + os.path.abspath(path).replace("/", "\\")

def wine_environment(prefix=None):
    environment = dict(os.environ)
    for unwanted in ("DISPLAY", "LOCALAPPDATA", "LARKSPINE_INDEX_DIRECTORY"):
        environment.pop(unwanted, None)
    environment["LC_ALL"] = "C.UTF-8"  # in the C locale accented arguments arrive as garbage
    environment["WINEPREFIX"] = str(prefix or required("WINEPREFIX"))
    environment.setdefault("WINEDEBUG", "-all")
    # A crash ends the program at once instead of starting a debugger.
    environment.setdefault("WINEDLLOVERRIDES", "mscoree,mshtml=;winedbg.exe=d")
    return environment

def completed(command, time_limit=TIME_LIMIT, **settings):
    """subprocess.run for a command that starts Wine; its output is kept as bytes."""
    for attempt in range(3):
        # Files, not pipes: Wine's services may inherit them and would hold a pipe open.
        with tempfile.TemporaryFile() as out, tempfile.TemporaryFile() as err:
            began = time.monotonic()
            code = subprocess.run(command, stdin=subprocess.DEVNULL, stdout=out, stderr=err,
                                  timeout=time_limit, check=False, **settings).returncode
            took = time.monotonic() - began
            out.seek(0)
            err.seek(0)
            done = subprocess.CompletedProcess(command, code, out.read(), err.read())
        if attempt == 2 or done.stdout or done.stderr or not was_refused(code, took):
            return done

def was_refused(code, seconds):
    """Whether a program that ended like this without output was never started: see tests/wine_program."""
    return code == 1 and seconds < 0.5

def run_helper(variable, *arguments):
    """The output of a helper program; the environment variable `variable` holds its Linux path."""
    done = completed([wine(), windows_path(required(variable)), *arguments], env=wine_environment())
    done.check_returncode()
    return done.stdout

@contextlib.contextmanager
def lock_helper(paths):
    """A program that holds the files open without sharing, and the first line of its output. It ends
    when its input is closed, or at once when it cannot open a file."""
    # In long form, so that a name may end in a space or a full stop.
    command = [wine(), windows_path(required("LARKSPINE_LOCK_FILE_EXE")),
               *("\\\\?\\" + windows_path(path) for path in paths)]
    for attempt in range(3):
        began = time.monotonic()
        with subprocess.Popen(command, env=wine_environment(), stdin=subprocess.PIPE,
                              stdout=subprocess.PIPE, stderr=subprocess.DEVNULL) as helper:
            said = helper.stdout.readline().strip()
            if attempt == 2 or said or not was_refused(helper.wait(), time.monotonic() - began):
                yield helper, said
                return

@dataclasses.dataclass(frozen=True)
class Run:
    """What one run of the program printed and wrote."""

    code: int
    stdout: bytes
    stderr: bytes
    folder: pathlib.Path  # the current directory of the run
    reports: tuple  # paths of the reports that the run wrote there

    @property
    def report_path(self):
        if len(self.reports) != 1:
            raise AssertionError(f"{len(self.reports)} reports, {self.code=}, {self.stderr=}")
        return self.reports[0]

    @property
    def report(self):
        return self.report_path.read_bytes()

    @property
    def shown_report(self):
        """The report's path as the program should print it."""
        return windows_path(self.report_path)

    @property
    def banner(self):
        return self.stdout[:self._banner_length()]

    @property
    def after_banner(self):
        return self.stdout[self._banner_length():]

    def _banner_length(self):
        at = self.stdout.find(BANNER_END)
        if at < 0:
            raise AssertionError(f"no banner in {self.stdout=}, {self.stderr=}")
        return at + len(BANNER_END)

def summary(documents, duplicates, report):
    """The text after the banner of a successful run; `report` is the path as the program shows it."""
    found = f"Doublons trouvés : {duplicates}\n" if duplicates else "Aucun doublon trouvé.\n"
    return ("Analyse terminée.\n\n" f"Documents détectés : {documents}\n" f"{found}"
            f"Résultats enregistrés dans :\n{report}\n").encode()

class Workspace:
    """A temporary directory below which a test keeps all its files; close() removes it."""

    def __init__(self):
        self.path = pathlib.Path(tempfile.mkdtemp(prefix="larkspine-e2e-")).resolve()

    def close(self):
        # Folders that a test made unreadable must be readable again to be emptied.
        for folder, _, _ in os.walk(self.path, onerror=lambda error: _reopen(error.filename)):
            _reopen(folder)
        shutil.rmtree(self.path)

    def new_folder(self, name):
        return pathlib.Path(tempfile.mkdtemp(prefix=name + "-", dir=self.path))

    def run(self, *arguments, folder=None, environment=None, prefix=None, command=None,
            time_limit=TIME_LIMIT):
        """Runs the program. `environment` adds variables (None removes one); `command` replaces
        the program, as by a shell that starts it; `time_limit` is in seconds."""
        folder = pathlib.Path(folder) if folder else self.new_folder("run")
        variables = wine_environment(prefix.path if prefix else None)
        variables["LARKSPINE_INDEX_DIRECTORY"] = windows_path(self.new_folder("index"))
        for name, value in (environment or {}).items():
            if value is None:
                variables.pop(name, None)
            else:
                variables[name] = value
        launcher = prefix.launcher if prefix else ()
        before = set(_reports_in(folder))
        done = completed([*launcher, wine(), *(command or [exe()]), *arguments],
                         cwd=folder, env=variables, time_limit=time_limit)
        written = tuple(sorted(set(_reports_in(folder)) - before))
        return Run(done.returncode, done.stdout, done.stderr, folder, written)

def _reports_in(folder):
    return [path for path in folder.iterdir() if REPORT_NAME.fullmatch(path.name)]

def _reopen(folder):
    os.chmod(folder, 0o700)
