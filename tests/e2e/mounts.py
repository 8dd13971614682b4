"""Mounts volumes for a test. Where the machine does not allow it, the test is skipped."""
import os
import shutil
import subprocess

from program import skip

# The tools of the superuser are not on everybody's path.
TOOL_PATH = os.environ.get("PATH", "") + ":/usr/sbin:/sbin"


def run_tool(purpose, *command):
    if not shutil.which(command[0], path=TOOL_PATH):
        skip(f"{purpose}: {command[0]} is not installed")
    # ntfs-3g writes names in the encoding of its locale.
    environment = {**os.environ, "LC_ALL": "C.UTF-8", "PATH": TOOL_PATH}
    done = subprocess.run(command, stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL,
                          stderr=subprocess.PIPE, env=environment, timeout=60, check=False)
    if done.returncode != 0:
        skip(f"{purpose}: {done.stderr.decode(errors='replace').strip()}")


def mount(folder, *command):
    """Runs a command that mounts something on `folder`. The caller must call unmount(folder)."""
    run_tool(f"mounting by {command[0]}", *map(str, command))
    if not os.path.ismount(folder):
        skip(f"{command[0]} says that it has mounted {folder}, but nothing is mounted there")


def unmount(folder):
    if not os.path.ismount(folder):
        return
    # Lazily as a last resort: a program that failed may still hold a file open there.
    if subprocess.run(["umount", folder], capture_output=True, check=False).returncode != 0:
        subprocess.run(["umount", "-l", folder], check=True)
