"""A terminal that runs the program and whose screen can be read: tmux without a client."""
import os
import re
import shlex
import shutil
import subprocess
import time

from program import TIME_LIMIT, exe, skip, windows_path, wine, wine_environment

BLOCK = (re.compile(r"Analyse : \[(█*)(░*)\] (\d+) %"), re.compile(r"Temps écoulé : \d\d:\d\d:\d\d"),
         re.compile(r"Documents détectés : (\d+)"), re.compile(r"Doublons trouvés : (\d+)"))

class Terminal:
    """Runs one command on its own screen; close() ends whatever still runs there."""

    COLUMNS, ROWS = 100, 40

    def __init__(self, work, *arguments, prefix=None, through=(), redirection="",
                 index=None):
        """`through` is put between Wine and the program; `redirection` is the shell's;
        `index` is the folder of the index files, a new one unless it is given."""
        if not shutil.which("tmux"):
            skip("tmux is not installed")
        self.folder = work.new_folder("terminal")
        self._code = self.folder / "code"
        self._socket = f"larkspine-{os.getpid()}-{self.folder.name}"
        environment = wine_environment(prefix.path if prefix else None)
        environment["LARKSPINE_INDEX_DIRECTORY"] = windows_path(
            index or work.new_folder("index"))
        environment.pop("TMUX", None)
        command = shlex.join([*(prefix.launcher if prefix else ()), "env", "TERM=xterm-256color",
                              wine(), *through, exe(), *arguments])
        # A program that Wine did not start (see tests/wine_program) ends long before the first frame
        # of a console or the first key.
        script = (f"began=$(date +%s%3N); {command} {redirection}; code=$?; "
                  f"if [ $code = 1 ] && [ $(($(date +%s%3N) - began)) -lt 100 ]; "
                  f"then {command} {redirection}; code=$?; fi; "
                  f"echo $code >code.new; mv code.new code; exec sleep 600")
        subprocess.run(
            [*self._tmux(), "-f", "/dev/null", "new-session", "-d", "-s", "s",
             "-x", str(self.COLUMNS), "-y", str(self.ROWS), "-c", str(self.folder), script],
            env=environment, stdin=subprocess.DEVNULL, timeout=TIME_LIMIT, check=True)

    def close(self):
        subprocess.run([*self._tmux(), "kill-server"], stderr=subprocess.DEVNULL, check=False)

    def rows(self):
        """The screen, without the blank rows at its end."""
        return self._ask("capture-pane", "-p", "-t", "s").rstrip("\n").split("\n")

    def cursor(self):
        """(column, row, whether it is visible)"""
        told = self._ask("display", "-p", "-t", "s", "#{cursor_x} #{cursor_y} #{cursor_flag}")
        column, row, flag = map(int, told.split())
        return column, row, flag == 1

    def press(self, key):
        self._ask("send-keys", "-t", "s", key)

    def press_ctrl_c(self):
        self._ask("send-keys", "-t", "s", "C-c")

    @property
    def code(self):
        """The exit code, or None while the command runs."""
        return int(self._code.read_text()) if self._code.exists() else None

    def wait_until(self, reached):
        """The first answer of `reached` that is true."""
        latest = time.monotonic() + TIME_LIMIT
        while time.monotonic() < latest:
            answer = reached()
            if answer:
                return answer
            time.sleep(0.02)
        raise AssertionError("\n".join(["not reached in time; the screen shows:", *self.rows()]))

    def wait_for_text(self, text):
        self.wait_until(lambda: any(text in row for row in self.rows()))

    def press_enter_until_the_end(self):
        """Presses Enter each second until the program ends, and returns its exit code: Wine's console may
        lose a key that is pressed between its output and its next read."""
        latest = time.monotonic() + TIME_LIMIT
        while self.code is None and time.monotonic() < latest:
            self.press("Enter")
            soon = time.monotonic() + 1
            while self.code is None and time.monotonic() < soon:
                time.sleep(0.02)
        return self.wait_for_end()

    def wait_for_end(self):
        self.wait_until(lambda: self.code is not None)
        return self.code

    def judge(self, judgement):
        """Calls `judgement` with the rows of the screen. A capture may show half an update, so a first
        failure is tried again with a second capture."""
        try:
            return judgement(self.rows())
        except AssertionError:
            time.sleep(0.3)
            return judgement(self.rows())

    def _tmux(self):
        return "tmux", "-u", "-L", self._socket

    def _ask(self, *command):
        return subprocess.run([*self._tmux(), *command], capture_output=True, timeout=TIME_LIMIT,
                              check=True).stdout.decode()

def block_row(rows):
    """Where the progress block begins, or None."""
    found = [at for at, row in enumerate(rows) if row.startswith("Analyse : [")]
    return found[0] if found else None

def percentage(rows):
    """The percentage that the block shows, or -1 without a block."""
    at = block_row(rows)
    line = BLOCK[0].fullmatch(rows[at].rstrip()) if at is not None else None
    return int(line.group(3)) if line else -1
