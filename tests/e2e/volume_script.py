"""Scripts for volume_program, the finished program on a fake volume."""
from program import required, windows_path


class VolumeScript:
    """Collects steps and runs. go() executes them in one process on a new volume."""

    def __init__(self, workspace):
        self.work = workspace
        self.folder = workspace.new_folder("script")
        self.lines = []
        self.runs = 0
        self.contents = {}  # the Windows path of a file with each

    def follow(self, steps):
        for what, name, *more in steps:
            words = [what, _below_root(name)]
            for word in more:
                if isinstance(word, bytes):
                    words.append(self._file_with(word))
                else:
                    words.append(_below_root(word) if isinstance(word, str) else str(word))
            self.lines.append("\t".join(words))

    def system(self, *words):
        """Adds a step that changes no file: a line of the script with these words."""
        self.lines.append("\t".join(words))

    def run(self, *options):
        """Adds a run. Returns its number, which is its key in what go() returns."""
        self.lines.append("\t".join(("run", *options)))
        self.runs += 1
        return self.runs

    def go(self):
        """Executes the script. Returns (report, text) of each run by its number."""
        path = self.folder / "script"
        path.write_text("".join(line + "\n" for line in self.lines), encoding="utf-8", newline="\n")
        done = self.work.run(command=[
            windows_path(required("LARKSPINE_VOLUME_PROGRAM_EXE")), windows_path(path)])
        if (done.code, done.stderr, len(done.reports)) != (0, b"", self.runs):
            raise AssertionError(f"{done.code=}, {done.stderr=}, {len(done.reports)} reports")
        texts = done.stdout.decode().split("== ")[1:]
        return {number: (report.read_bytes(), text)
                for number, (report, text) in enumerate(zip(done.reports, texts), start=1)}

    def _file_with(self, contents):
        if contents not in self.contents:
            path = self.folder / f"contents {len(self.contents)}"
            path.write_bytes(contents)
            self.contents[contents] = windows_path(path)
        return self.contents[contents]


def _below_root(path):
    return path.replace("/", "\\")
