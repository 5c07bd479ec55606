"""Done and failed marks: the truth about which movies are there."""

import contextlib
import os
import re
import shutil
import time

from . import journal, system
from .recordings import stamp
from .store import FOLDER, create_json, read_json, remove, write_json


# The hidden folder of a key beside its movie: there each job has a folder of its own, and pieces wait for each other.
PRIVATE = ".veyrin-"
PRIVATE_FOLDER = re.compile(re.escape(PRIVATE) + "([0-9a-f]{24})(-.*)?", re.DOTALL)


def movie_of(identity):
    """The key of the movie to which a task belongs."""
    return identity.split(".")[0]


def piece_of(identity):
    """The number of the piece that a task makes; None for the task of the movie itself."""
    number = identity.partition(".")[2]
    return int(number) if number.isdecimal() else None


def key_folder(store, key, movie):
    """Where the jobs of a key work; it goes when the movie is done."""
    return os.path.join(os.path.dirname(movie_file(store, movie)), PRIVATE + key)


def movie_file(store, movie):
    """A movie's path on this machine."""
    return os.path.join(store.movies, *movie.split("/"))


def fits(store, mark):
    """Whether the movie is still the one that the mark was written for."""
    try:
        return list(stamp(os.stat(movie_file(store, mark["movie"])))) == mark["movie_stamp"]
    except (OSError, KeyError, TypeError):
        return False


def done(store, key):
    """The done mark whose movie is there and unchanged, or None."""
    mark = read_json(store.path("done", key))
    return mark if mark and fits(store, mark) else None


def drop(store, key):
    """Takes back a done mark whose movie is missing or changed."""
    remove(store.path("done", key))
    journal.write(store, "dropped", key, message="the movie is missing or was changed")


def announce(store, key, figures):
    """Notes what is about to get its final name, so that a crash between the name and the mark loses nothing."""
    write_json(store.path("pending", key), figures)


def complete(store, key, figures):
    """Writes the done mark and the journal's line; returns False if another job was first.

    What dead jobs of the key left behind goes first: nobody looks after a key that is done.
    """
    shutil.rmtree(key_folder(store, key, figures["movie"]), ignore_errors=True)
    first = create_json(store.path("done", key), figures)
    if not first and not done(store, key):
        # The mark is that of a movie that is gone, and would keep this one from counting.
        drop(store, key)
        first = create_json(store.path("done", key), figures)
    if first:
        journal.write(store, "completed", key, job=figures["job"], movie=figures["movie"])
    remove(store.path("pending", key))
    remove(store.path("failed", key))
    for number in range(figures.get("pieces", 0)):
        for part in ("pieces", "failed"):
            remove(store.path(part, piece_id(key, number)))
    return first


def piece_id(key, number):
    """The name of a piece's task and of its mark."""
    return f"{key}.{number:05d}"


def key_folders(store):
    """Keys and paths of all hidden folders of keys below the movies' folder, but not those of libraries within it."""
    for folder, names, _ in os.walk(store.movies):
        if FOLDER in names and folder != str(store.movies):
            names.clear()
        for name in names:
            found = PRIVATE_FOLDER.fullmatch(name)
            if found:
                yield found.group(1), os.path.join(folder, name)
        names[:] = [name for name in names if not name.startswith(".")]


def recover(store, key):
    """The done mark of a movie that got its name just before its job died, or None."""
    figures = read_json(store.path("pending", key))
    if not figures or not fits(store, figures):
        return None
    complete(store, key, figures)
    return done(store, key)


def fail(store, key, message, job):
    """Keeps the message for the summary, the status and the page. A full disk may refuse even that."""
    mark = {"key": key, "message": message, "job": job, "node": system.node_name(), "time": time.time()}
    with contextlib.suppress(OSError):
        write_json(store.path("failed", key), mark)
    with contextlib.suppress(OSError):
        journal.write(store, "failed", key, job=job, message=message)


class States:
    """The state of each entry of a plan: done, refused, failed or to do, with its mark."""

    def __init__(self, store, plan):
        marked, failed = store.keys("done"), store.keys("failed")
        self.of = {}
        self.marks = {}
        self.stale = []
        for entry in plan["entries"]:
            key = entry["key"]
            mark = done(store, key) if key in marked else None
            if mark:
                state = "done"
            elif "refused" in entry:
                state, mark = "refused", {"message": entry["refused"]}
            elif key in failed:
                state, mark = "failed", read_json(store.path("failed", key)) or {"message": "no message was kept"}
            else:
                state = "to do"
            if key in marked and state != "done":
                self.stale.append(key)
            self.of[key], self.marks[key] = state, mark

    def count(self, *states):
        return sum(state in states for state in self.of.values())


def mend_journal(store):
    """Adds the line that a job which died right after its done mark did not write any more."""
    told = {}
    for event in journal.Reader(store).events():
        if event["event"] in ("completed", "dropped"):
            told[event["key"]] = told.get(event["key"], 0) + (1 if event["event"] == "completed" else -1)
    for key in store.keys("done"):
        mark = read_json(store.path("done", key))
        if mark and told.get(key, 0) < 1:
            journal.write(store, "completed", key, job=mark["job"], movie=mark["movie"], found_later=True)
