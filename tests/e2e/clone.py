"""A fresh repository with the files of the working tree, committed and with nothing built. A change is
tested there as in a new clone, before it is committed."""
import os
import pathlib
import shutil
import subprocess

PROJECT = pathlib.Path(__file__).resolve().parents[2]
COMMITTED = 1_700_000_000  # the time of the commit


def git(folder, *arguments):
    identity = {"GIT_CONFIG_GLOBAL": os.devnull, "GIT_CONFIG_NOSYSTEM": "1",
                **{f"GIT_{who}_{what}": value for who in ("AUTHOR", "COMMITTER") for what, value in
                   (("NAME", "tests"), ("EMAIL", "tests"), ("DATE", f"{COMMITTED} +0000"))}}
    return subprocess.run(["git", "-C", folder, *arguments], env={**os.environ, **identity},
                          stdout=subprocess.PIPE, check=True).stdout


def of_the_working_tree(workspace):
    """The folder of a new repository below the workspace."""
    folder = workspace.new_folder("depot")
    listed = git(PROJECT, "ls-files", "-z", "--cached", "--others", "--exclude-standard")
    for name in listed.decode().split("\0")[:-1]:
        if (PROJECT / name).exists():  # a deletion may not be committed yet
            (folder / name).parent.mkdir(parents=True, exist_ok=True)
            shutil.copy2(PROJECT / name, folder / name)
    git(folder, "init", "--quiet")
    git(folder, "add", "--all")
    git(folder, "commit", "--quiet", "--message", "candidate")
    return folder
