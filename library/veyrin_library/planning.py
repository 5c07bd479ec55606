"""What is to be done: one entry per recording, with its movie and its key."""

import concurrent.futures
import hashlib
import json
import os

from . import converter, headers, naming, system
from .errors import LibraryError
from .recordings import find_recordings
from .store import read_json, write_json

VERSION = 1


def key_of(recording, size, changed, movie, options):
    """A name for one conversion that holds for all machines: paths are those below the two folders."""
    parts = json.dumps([recording, size, changed, movie, options])
    return hashlib.sha256(parts.encode("ascii")).hexdigest()[:24]


def check_folders(recordings, movies):
    """The two folders as absolute paths; the movies must not be found as recordings."""
    recordings, movies = os.path.abspath(recordings), os.path.abspath(movies)
    real_recordings, real_movies = os.path.realpath(recordings), os.path.realpath(movies)
    if real_recordings == real_movies:
        raise LibraryError(f"the movies need a folder of their own, not that of the recordings: {recordings}")
    if real_recordings.startswith(real_movies.rstrip(os.sep) + os.sep):
        raise LibraryError(f"the recordings must not be inside the movies' folder: {recordings}")
    return recordings, movies


def make_plan(store, recordings, options, piece_minutes, settle):
    """Looks at the folders and returns the plan; what was read from unchanged files before is used again."""
    found, waiting = find_recordings(recordings, store.movies, settle)
    if not found and not waiting:
        raise LibraryError(f"no recordings (.mp4, .mov) in {recordings}")
    old = read_json(store.plan_file) or {}
    known = {}
    if old.get("version") == VERSION and old.get("recordings") == recordings:
        known = {(entry["recording"], entry["size"], entry["changed"]): entry for entry in old["entries"]}
    entries = [entry_of(file, known.get((file.path, file.size, file.changed))) for file in found]
    read_headers(recordings, [entry for entry in entries if "header" not in entry])
    for entry in entries:
        entry["movie"] = naming.movie_path(entry["recording"], options, entry["header"].get("hdr"))
        entry["key"] = key_of(entry["recording"], entry["size"], entry["changed"], entry["movie"], options)
    refuse_equal_movies(entries)
    return {"version": VERSION, "recordings": recordings, "movies": str(store.movies), "options": options,
            "piece_minutes": piece_minutes, "settle": settle, "entries": entries,
            "waiting": [{"recording": path, "reason": why} for path, why in waiting]}


def entry_of(file, known):
    """The entry of a file, with what an older plan knows of it."""
    entry = {"recording": file.path, "size": file.size, "changed": file.changed}
    for name in ("header", "cuts"):
        if known and name in known:
            entry[name] = known[name]
    return entry


def read_headers(top, entries):
    """Gives each entry its `header`."""
    # Reading is waiting, most of all on network shares.
    with concurrent.futures.ThreadPoolExecutor(8) as pool:
        paths = (os.path.join(top, entry["recording"]) for entry in entries)
        for entry, header in zip(entries, pool.map(headers.read_header, paths, chunksize=64)):
            entry["header"] = header


def refuse_equal_movies(entries):
    """Marks the recordings that would make one movie; each names the others."""
    makers = {}
    for entry in entries:
        makers.setdefault(system.same_file_name(entry["movie"]), []).append(entry)
    for same in makers.values():
        for entry in same if len(same) > 1 else ():
            others = " and ".join(other["recording"] for other in same if other is not entry)
            entry["refused"] = f"{others} would make the same movie, {entry['movie']}"


def refresh(store, plan):
    """The plan again, as the folders are now."""
    return make_plan(store, plan["recordings"], plan["options"], plan["piece_minutes"], plan["settle"])


def save(store, plan):
    write_json(store.plan_file, plan)


def load(store):
    """The plan that was saved; raises LibraryError if there is none that can be read."""
    plan = read_json(store.plan_file)
    if not isinstance(plan, dict) or plan.get("version") != VERSION:
        raise LibraryError(f"could not read the plan {store.plan_file}; run plan again")
    # The whole library may have moved, or be seen under another path by this machine.
    plan["movies"] = str(store.movies)
    return plan


def new_plan(store, recordings, words, piece_minutes, settle):
    """Checks the options with the converter and makes a plan from scratch."""
    options = converter.check_options(words)
    converter.validate(converter.find_converter(), options)
    return make_plan(store, recordings, options, piece_minutes, settle)
