"""The recordings below a folder, and which of them are still being written."""

import os
import time

from .errors import LibraryError, reason

SUFFIXES = (".mp4", ".mov")
UNFINISHED = ".partial"
OF_THE_SYSTEM = ("lost+found", "System Volume Information", "$RECYCLE.BIN")


class Found:
    """A file below the recordings' folder: path with slashes, size in bytes, time of change in milliseconds."""

    def __init__(self, path, size, changed):
        self.path = path
        self.size = size
        self.changed = changed


def stamp(status):
    """Size and time of change, which tell one state of a file from another.

    Milliseconds, because machines that share a folder do not all see finer ones.
    """
    return status.st_size, status.st_mtime_ns // 1_000_000


def is_recording(name):
    return name.lower().endswith(SUFFIXES) and not name.startswith(".")


def is_unfinished(name):
    return name.lower().endswith(tuple(suffix + UNFINISHED for suffix in SUFFIXES)) and not name.startswith(".")


def find_recordings(top, without, settle, pause=time.sleep):
    """The recordings below `top` in order of their paths, and those that must wait as pairs of path and reason.

    `without` is a folder that is left out. A file must not have changed for `settle` seconds; those that changed
    within the last minute are looked at twice.
    """
    ready, waiting = [], []
    begun = time.time()
    for path, name, status in files_below(top, without, waiting):
        if is_unfinished(name):
            waiting.append((path, "it is still being written (" + name[name.rfind(UNFINISHED):] + ")"))
        elif is_recording(name):
            size, changed = stamp(status)
            ready.append(Found(path, size, changed))
    # Also when the clock of the file's machine is ahead of ours.
    recent = [file for file in ready if begun - file.changed / 1000 < 60] if settle > 0 else []
    if recent:
        # Long enough for a file that grows to be seen growing.
        pause(max(0.0, min(1.0, settle) - (time.time() - begun)))
    now = time.time()
    growing = {file.path for file in recent if abs(now - file.changed / 1000) < settle or changed_since(top, file)}
    waiting += [(path, "it is still being written") for path in growing]
    ready = [file for file in ready if file.path not in growing]
    return sorted(ready, key=lambda file: file.path), sorted(waiting)


def changed_since(top, file):
    try:
        return stamp(os.stat(os.path.join(top, file.path))) != (file.size, file.changed)
    except OSError:
        return True


def identity_of(status):
    """The same for two paths of one folder, whichever links or mounts they lead through."""
    return status.st_dev, status.st_ino


def files_below(top, without, unreadable):
    """Path, name and status of all files, following links to folders but never into a folder that is open already.

    Folders that cannot be read are added to `unreadable` as pairs of path and reason.
    """
    try:
        left_out = identity_of(os.stat(without))
    except OSError:
        left_out = None  # there is no such folder yet
    if not os.path.isdir(top):
        raise LibraryError(f"could not find the recordings: no folder {top}")
    waiting = [("", ())]
    while waiting:
        below, above = waiting.pop()
        folder = os.path.join(top, below) if below else top
        try:
            status = os.stat(folder)
            with os.scandir(folder) as found:
                entries = list(found)
        except OSError as error:
            if not below:
                raise LibraryError(f"could not read the folder {folder}: {reason(error)}") from error
            unreadable.append((below, f"its folder could not be read: {reason(error)}"))
            continue
        identity = identity_of(status)
        if identity in above or identity == left_out:
            continue
        for entry in entries:
            path = f"{below}/{entry.name}" if below else entry.name
            try:
                if entry.is_dir():
                    if not entry.name.startswith(".") and entry.name not in OF_THE_SYSTEM:
                        waiting.append((path, (*above, identity)))
                elif entry.is_file() and (is_recording(entry.name) or is_unfinished(entry.name)):
                    yield path, entry.name, entry.stat()
            except OSError:
                continue  # it went away meanwhile
