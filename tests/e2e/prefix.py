"""A second Wine prefix beside the caller's, with its own server.

Wine's server opens the files for all programs of its prefix, and learns its drives when it starts. A
test that needs other rights or other drives therefore needs another server, and so another prefix.
Making a prefix takes seconds; this one borrows the registry and the Windows folder of the caller's.
"""
import os
import pathlib
import shutil
import subprocess

from program import required, skip, wine, wine_environment

# These two capabilities let the superuser pass every permission check.
WITHOUT_OVERRIDE = ("setpriv", "--bounding-set=-dac_override,-dac_read_search",
                    "--inh-caps=-dac_override,-dac_read_search")


class Prefix:
    """`drives` maps letters to folders. `launcher` is put before every command."""

    def __init__(self, workspace, drives=None, launcher=()):
        self.path = workspace.new_folder("prefix")
        self.launcher = tuple(launcher)
        self.drive_c = self.path / "drive_c"
        source = pathlib.Path(required("WINEPREFIX"))
        if not (source / "system.reg").exists():
            skip(f"{source} holds no registry yet: its server has not written it out")
        for name in (".update-timestamp", "system.reg", "user.reg", "userdef.reg"):
            if (source / name).exists():
                shutil.copy2(source / name, self.path / name)
        # A folder, not a link to one: a link would not be listed, whether excluded or not.
        (self.drive_c / "windows").mkdir(parents=True)
        for entry in (source / "drive_c" / "windows").resolve().iterdir():
            (self.drive_c / "windows" / entry.name).symlink_to(entry)
        (self.path / "dosdevices").mkdir()
        for letter, folder in {"c": self.drive_c, "z": "/", **(drives or {})}.items():
            (self.path / "dosdevices" / f"{letter}:").symlink_to(folder)
        try:
            self._call(self._server(), "-p")
            self._call(wine(), "cmd", "/c", "exit")  # starts the services, without our streams
        except BaseException:
            self.close()
            raise

    def close(self):
        self._call(self._server(), "-k")
        self._call(self._server(), "-w")

    def linux_path(self, windows_path):
        """The Linux path of a path on drive C:."""
        if windows_path[:3].lower() != "c:\\":
            raise ValueError(windows_path)
        return self.drive_c / windows_path[3:].replace("\\", "/")

    def _server(self):
        beside = pathlib.Path(wine()).with_name("wineserver64")
        return str(beside) if beside.exists() else shutil.which("wineserver") or "wineserver"

    def _call(self, *command):
        subprocess.run([*self.launcher, *command], env=wine_environment(self.path),
                       stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL,
                       stderr=subprocess.DEVNULL, timeout=60, check=False)


def restricted_launcher(workspace):
    """A launcher whose programs obey folder permissions. Skips the test where none can be had."""
    launcher = () if os.geteuid() else WITHOUT_OVERRIDE
    closed = workspace.new_folder("closed")
    closed.chmod(0)
    try:
        listed = subprocess.run([*launcher, "ls", closed], stdout=subprocess.DEVNULL,
                                stderr=subprocess.DEVNULL, check=False)
    except FileNotFoundError:
        skip("setpriv is not installed, and the superuser may read every folder")
    if listed.returncode != 2:  # "serious trouble": it could not list its argument
        skip("this machine does not let a program give up the right to read every folder")
    return launcher
