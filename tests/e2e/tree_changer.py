"""Changes a tree while it is scanned, and records all contents that each name ever had.

One thread writes, truncates, appends to, replaces, renames and deletes files and renames their folders.
It records each state before it makes it. Another thread keeps starting a process that locks some files.
All contents are prefixes of a few texts, so that many files are equal for a while. Each change of
contents gives a file a time that no other state has, as a clock fine enough would. No file gets an
earlier name back.
"""
import os
import pathlib
import random
import threading

from program import lock_helper

LENGTHS = (0, 600, 1200, 2400)  # below a page, so that each is read and written as a whole
TEXTS = tuple((b"%d texte " % number) * 400 for number in range(5))
CONTENTS = tuple(text[:length] for text in TEXTS for length in LENGTHS)
FIRST_TIME = 1_000_000_000 * 10**9  # in 2001, before any file of a test was written
FOLDERS = 6

def last(name):
    return name.rpartition("/")[2]

class File:
    """One physical file: its contents since the scan began, the present ones last."""

    def __init__(self, contents):
        self.held = [contents]

class Writer:
    def __init__(self, root, seed, files=90):
        self.root = pathlib.Path(root)
        self.random = random.Random(seed)
        self.counter = 0
        self.changes = 0
        self.locks = 0
        self.names = {}  # the file of each name, below the root
        # All files that each name had since the scan began. The names are without their folder: a
        # listing of a folder that is renamed meanwhile shows later files under the folder's old name.
        self.bound = {}
        self.folders = [self.fresh("dossier") for _ in range(FOLDERS)]
        for folder in self.folders:
            (self.root / folder).mkdir(parents=True)
        for _ in range(files):
            self.create()

    def __enter__(self):
        for file in self.names.values():
            del file.held[:-1]
        self.bound = {last(name): [file] for name, file in self.names.items()}
        self.stopped = threading.Event()
        self.error = None
        begun = threading.Event()
        self.threads = [threading.Thread(target=self.work, args=(begun,)),
                        threading.Thread(target=self.keep_locking, args=(self.random.random(),))]
        for thread in self.threads:
            thread.start()
        begun.wait()
        return self

    def __exit__(self, *_):
        self.stopped.set()
        for thread in self.threads:
            thread.join()
        if self.error:
            raise self.error

    def possible(self, name):
        """All contents that could have been read under that name since the scan began."""
        return {contents for file in self.bound.get(last(name), ()) for contents in file.held}

    # ---- the changes --------------------------------------------------------------------------

    def work(self, begun):
        try:
            while not self.stopped.is_set():
                self.random.choice((self.write, self.write, self.write, self.cut, self.append,
                                    self.replace, self.rename, self.delete, self.create,
                                    self.rename_folder))()
                self.changes += 1
                begun.set()
                self.stopped.wait(self.random.random() * 0.003)
        except BaseException as error:  # raised by the thread that leaves the block
            self.error = error
        finally:
            begun.set()

    def fresh(self, kind):
        self.counter += 1
        return f"{kind} {self.counter}"

    def any_name(self):
        return self.random.choice(sorted(self.names))

    def fresh_name(self):
        return f"{self.random.choice(self.folders)}/{self.fresh('fichier')}"

    def bind(self, name, file):
        self.names[name] = file
        self.bound.setdefault(last(name), []).append(file)

    def stamp(self, name):
        self.counter += 1
        time = FIRST_TIME + self.counter * 1000
        os.utime(self.root / name, ns=(time, time))

    def put(self, name, contents):
        file = self.names[name]
        file.held += [b"", contents]
        with open(self.root / name, "wb", buffering=0) as opened:
            opened.write(contents)
        self.stamp(name)

    def create(self, name=None):
        name = name or self.fresh_name()
        self.bind(name, File(b""))
        self.put(name, self.random.choice(CONTENTS))
        return name

    def write(self):
        self.put(self.any_name(), self.random.choice(CONTENTS))

    def cut(self):
        name = self.any_name()
        contents = self.names[name].held[-1]
        contents = contents[:self.random.choice([length for length in LENGTHS
                                                 if length <= len(contents)])]
        self.names[name].held.append(contents)
        os.truncate(self.root / name, len(contents))
        self.stamp(name)

    def append(self):
        name = self.any_name()
        contents = self.names[name].held[-1]
        longer = [whole for whole in CONTENTS if len(whole) > len(contents)
                  and whole.startswith(contents)]
        if longer:
            whole = self.random.choice(longer)
            self.names[name].held.append(whole)
            with open(self.root / name, "ab", buffering=0) as opened:
                opened.write(whole[len(contents):])
            self.stamp(name)

    def replace(self):
        beside = self.create()
        name = self.any_name()
        if name != beside:
            self.bind(name, self.names.pop(beside))
            os.replace(self.root / beside, self.root / name)

    def rename(self):
        name, to = self.any_name(), self.fresh_name()
        self.bind(to, self.names.pop(name))
        os.rename(self.root / name, self.root / to)

    def delete(self):
        if len(self.names) > 50:
            name = self.any_name()
            del self.names[name]
            os.unlink(self.root / name)

    def rename_folder(self):
        place = self.random.randrange(len(self.folders))
        folder, to = self.folders[place], self.fresh("dossier")
        for name in [name for name in self.names if name.startswith(folder + "/")]:
            self.bind(to + name[len(folder):], self.names.pop(name))
        self.folders[place] = to
        os.rename(self.root / folder, self.root / to)

    # ---- the locks ----------------------------------------------------------------------------

    def keep_locking(self, seed):
        """A process gives up when one of its files is gone meanwhile; the next one has other files."""
        choice = random.Random(seed)
        try:
            while not self.stopped.is_set():
                names = choice.sample(sorted(list(self.names)), 3)
                with lock_helper(self.root / name for name in names) as (helper, said):
                    self.locks += said == b"locked"
                    self.stopped.wait(choice.random() * 0.1)
                    helper.stdin.close()
        except BaseException as error:  # raised by the thread that leaves the block
            self.error = error
