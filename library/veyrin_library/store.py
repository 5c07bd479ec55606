"""The folder in which a library keeps its plan, marks, logs and journal: MOVIES/.veyrin-library."""

import contextlib
import json
import os
import time
from pathlib import Path

from . import system
from .errors import LibraryError, reason

FOLDER = ".veyrin-library"
PARTS = ("done", "failed", "pending", "pieces", "tasks", "locks", "work", "logs", "logs/slurm", "journal", "previews",
         "facts")


def last_library():
    """The file that remembers which library was planned last."""
    return system.state_home() / "veyrin" / "library.json"


class Store:
    """Paths inside the folder, and reading and writing of JSON there."""

    def __init__(self, movies):
        self.movies = Path(os.path.abspath(movies))
        self.folder = self.movies / FOLDER
        self.plan_file = self.folder / "plan.json"

    def path(self, part, key, suffix=".json"):
        return self.folder / part / (key + suffix)

    def log(self, key):
        # Browsers show this ending as text.
        return self.path("logs", key, ".txt")

    def make_folders(self):
        for part in PARTS:
            try:
                (self.folder / part).mkdir(parents=True, exist_ok=True)
            except OSError as error:
                raise LibraryError(f"could not create the folder {self.folder / part}: {reason(error)}") from error

    def keys(self, part, suffix=".json"):
        """The keys that have a file in the part; read in one go, because asking for each is slow on network shares."""
        with contextlib.suppress(OSError):
            with os.scandir(self.folder / part) as found:
                return {entry.name[:-len(suffix)] for entry in found if entry.name.endswith(suffix)}
        return set()

    def sweep(self):
        """Removes files that processes did not finish writing before they died."""
        for folder in (self.folder, *(self.folder / part for part in PARTS)):
            with os.scandir(folder) as found:
                for entry in found:
                    with contextlib.suppress(FileNotFoundError):
                        if is_half_written(entry.name, time.time() - entry.stat().st_mtime):
                            os.unlink(entry.path)

    def remember(self):
        """Makes this the library that later commands mean; only a convenience, so failures do not matter."""
        with contextlib.suppress(OSError):
            last_library().parent.mkdir(parents=True, exist_ok=True)
            write_json(last_library(), {"movies": str(self.movies)})


def is_half_written(name, age):
    """Whether a file of `write_json` was left by a process that has died; `age` in seconds."""
    words = name.rsplit(".", 3)
    if len(words) != 4 or words[3] not in ("part", "new") or not words[2].isdigit():
        return False
    return age > 86400 or words[1] == system.node_name() and not system.is_alive(int(words[2]))


def read_json(path):
    """The file's value, or None if there is none or it was not written completely."""
    try:
        with open(path, encoding="ascii") as file:
            return json.load(file)
    except (OSError, ValueError):
        return None


def write_json(path, value, lasting=True):
    """Replaces the file in one step, so that readers see the old or the new value.

    `lasting` brings it to disk at once, which takes a hundred times as long.
    """
    # Escapes keep names that are not valid text as they are.
    part = Path(f"{path}.{system.node_name()}.{os.getpid()}.part")
    try:
        with open(part, "w", encoding="ascii") as file:
            json.dump(value, file)
            if lasting:
                file.flush()
                os.fsync(file.fileno())
        os.replace(part, path)
    except OSError:
        with contextlib.suppress(OSError):
            part.unlink()
        raise


def create_json(path, value):
    """Writes the file only if there is none; returns whether this call made it. It is complete when it appears."""
    part = Path(f"{path}.{system.node_name()}.{os.getpid()}.new")
    write_json(part, value)
    try:
        system.publish(part, path, overwrite=False)
    except FileExistsError:
        part.unlink()
        return False
    return True


def remove(path):
    with contextlib.suppress(FileNotFoundError):
        os.unlink(path)


def find_library(given):
    """The library that a command means: the given one, the one around the current folder, or the one planned last."""
    if given:
        store = Store(given)
        if not store.plan_file.exists():
            raise LibraryError(f"no plan in {store.movies}; run first: veyrin-library plan RECORDINGS MOVIES")
        return store
    here = Path.cwd()
    for folder in (here, *here.parents):
        if (folder / FOLDER / "plan.json").exists():
            return Store(folder)
    last = read_json(last_library())
    if isinstance(last, dict) and Store(last.get("movies", "")).plan_file.exists():
        return Store(last["movies"])
    raise LibraryError("no library was planned yet; run first: veyrin-library plan RECORDINGS MOVIES")
