"""Long recordings in pieces: where they are cut, the jobs of the pieces, and how they become one movie again.

Cutting and joining are done by the companion program veyrin-join.
"""

import concurrent.futures
import contextlib
import errno
import json
import os
import shutil
import sys

from . import converter, estimates, marks
from .errors import JobFailed, LibraryError
from .recordings import stamp
from .store import Store, read_json, remove

JOINER = "veyrin-join"
# The folder of the pieces within that of the key.
FOLDER = "pieces"
# How long the joiner may think about one recording.
QUESTION_SECONDS = 3600
# What a machine lacks, in the words of the system.
SHORTAGES = (errno.ENOSPC, errno.EDQUOT, errno.ENOMEM)
# Options that say which part of the recording the whole movie shows; each piece has its own.
TRIMS = ("--start", "--duration")


def find_joiner():
    return converter.find_program(JOINER, "VEYRIN_JOIN")


def words_of(options, names):
    """The words of those options that the names choose."""
    return [word for name in names if name in options for word in (name, converter.option_value(options, name))]


def plan_cuts(plan):
    """Asks the joiner where to cut each long recording; entries keep their cuts, or nothing when it is not worth it."""
    minutes = plan["piece_minutes"]
    if not minutes:
        for entry in plan["entries"]:
            entry.pop("cuts", None)
        return
    question = {"minutes": minutes, "joiner": find_joiner(),
                "words": words_of(plan["options"], (*TRIMS, "--output-fps"))}
    unknown = []
    states = marks.States(Store(plan["movies"]), plan)
    for entry in plan["entries"]:
        cuts = entry.get("cuts", {})
        if question.items() <= cuts.items() and not cuts.get("unanswered"):
            continue
        entry.pop("cuts", None)
        long = (estimates.shown_seconds(entry, plan["options"]) or 0) > minutes * 60
        if long and states.of[entry["key"]] in ("to do", "failed"):
            unknown.append(entry)
    with concurrent.futures.ThreadPoolExecutor(min(8, os.cpu_count() or 1)) as pool:
        paths = [os.path.join(plan["recordings"], *entry["recording"].split("/")) for entry in unknown]
        for entry, cuts in zip(unknown, pool.map(lambda path: ask(question, path), paths)):
            entry["cuts"] = cuts


def ask(question, recording):
    """The question with the joiner's answer about one recording; without pieces it is converted in one go."""
    cuts = {**question, "pieces": []}
    try:
        status, lines = converter.run(question["joiner"], ["--cuts", repr(question["minutes"]), *question["words"],
                                                           converter.path_argument(recording)], QUESTION_SECONDS)
    except LibraryError as error:
        # It may be answered the next time.
        return {**cuts, "reason": str(error), "unanswered": True}
    if status != 0:
        return {**cuts, "reason": converter.error_message(lines) or f"{JOINER} ended with status {status}"}
    try:
        answer = json.loads(lines[-1])
        found = [piece_of(piece) for piece in answer["pieces"]] if len(answer["pieces"]) > 1 else []
    except (ValueError, KeyError, TypeError, IndexError):
        return {**cuts, "reason": f"{JOINER} gave no answer that could be read"}
    if found:
        return {**cuts, "pieces": found}
    return {**cuts, "reason": answer.get("reason", "one piece is enough")}


def piece_of(answer):
    """One piece as the plan keeps it. `frames` has two counts where those of the packaged encoder differ."""
    counts = {int(answer["frames"]), int(answer.get("packaged_frames", answer["frames"]))}
    duration = answer.get("duration")
    return {"start": float(answer["start"]), "duration": None if duration is None else float(duration),
            "frames": sorted(counts)}


def of(entry):
    """The pieces of an entry; none when it is converted in one go."""
    return (entry.get("cuts") or {}).get("pieces", [])


def options_of(piece, options):
    """The converter's options for one piece of a movie with these options."""
    rest = list(options)
    for name in TRIMS:
        if name in rest:
            place = rest.index(name)
            del rest[place:place + 2]
    # Each number as the joiner gave it, to its last digit.
    rest += ["--start", repr(piece["start"])]
    return rest + (["--duration", repr(piece["duration"])] if piece["duration"] is not None else [])


def piece_file(store, entry, number):
    """Where a piece waits for the others."""
    return os.path.join(marks.key_folder(store, entry["key"], entry["movie"]), FOLDER,
                        f"{number:05d}{os.path.splitext(entry['movie'])[1]}")


def piece_id(entry, number):
    """The name of the piece's task and of its mark."""
    return marks.piece_id(entry["key"], number)


def made(store, task, number):
    """The mark of a piece that is there, unchanged and by the task's converter, or None."""
    entry = task["entry"]
    mark = read_json(store.path("pieces", piece_id(entry, number)))
    try:
        there = mark["cut"] == of(entry)[number] and mark["program"] == task["version"] and \
            list(stamp(os.stat(piece_file(store, entry, number)))) == mark["movie_stamp"]
        return mark if there else None
    except (OSError, KeyError, IndexError, TypeError):
        return None


def all_made(store, task):
    """The marks of all pieces; raises JobFailed where one is missing."""
    entry, count, found = task["entry"], len(of(task["entry"])), []
    for number in range(count):
        found.append(made(store, task, number))
        if not found[-1]:
            why = read_json(store.path("failed", piece_id(entry, number))) or {}
            raise JobFailed(f"piece {number + 1} of {count} is missing: " +
                            why.get("message", "its job did not end well"))
    return found


def log_of(store, entry):
    """The log that tells most about an entry: that of the first piece that failed, else the movie's; None without."""
    failed = (piece_id(entry, number) for number in range(len(of(entry))))
    for identity in (*(each for each in failed if store.path("failed", each).exists()), entry["key"]):
        if store.log(identity).exists():
            return store.log(identity)
    return None


def drop_unwanted(store, plan, states):
    """Removes what nobody needs any more; it may be large.

    That are folders of keys that are done or that the plan does not have, and pieces that no plan cuts.
    """
    counts = {entry["key"]: len(of(entry)) for entry in plan["entries"] if states.of[entry["key"]] != "done"}
    if plan["waiting"]:
        # Perhaps in a folder that cannot be read just now: their recordings may come back.
        known = {entry["key"] for entry in plan["entries"]}
        gone = {marks.movie_of(identity) for identity in store.keys("pieces")} - known
        counts |= dict.fromkeys(gone, sys.maxsize)
    for key, folder in list(marks.key_folders(store)):
        if key not in counts:
            shutil.rmtree(folder, ignore_errors=True)
            continue
        with contextlib.suppress(OSError):
            for name in os.listdir(os.path.join(folder, FOLDER)):
                number = os.path.splitext(name)[0]
                if number.isdecimal() and int(number) >= counts[key]:
                    os.unlink(os.path.join(folder, FOLDER, name))
    for part in ("pieces", "failed"):
        for identity in store.keys(part):
            number = marks.piece_of(identity)
            if number is not None and number >= counts.get(marks.movie_of(identity), 0):
                remove(store.path(part, identity))


def drop_suspects(store, entry, message, innocent):
    """Removes the pieces that may be why a join failed with this message, so that the next run makes them again.

    Returns whether there are any. Full disks and what is `innocent`, the paths of other files, are no fault of pieces.
    """
    count = len(of(entry))
    named = [number for number in range(count) if piece_file(store, entry, number) in message]
    outside = any(path in message for path in innocent) or any(os.strerror(number) in message for number in SHORTAGES)
    # Those that end a program from outside are SIGKILL and SIGTERM.
    crashed = "ended by signal" in message and not message.endswith((" 9", " 15"))
    if outside or not (named or crashed or "piece" in message):
        return False
    # One that cannot be read is broken; one that does not go with the others may be the only good one.
    alone = message.startswith(("could not open", "could not read"))
    for number in named if alone and named else range(count):
        remove(store.path("pieces", piece_id(entry, number)))
        remove(piece_file(store, entry, number))
    return True


def join_command(store, entry, options, recording, private):
    """The command that joins the pieces in the private folder."""
    movie = os.path.join(private, os.path.basename(entry["movie"]))
    return [entry["cuts"]["joiner"], *words_of(options, TRIMS), "--recording", converter.path_argument(recording),
            "--output", movie, *(piece_file(store, entry, number) for number in range(len(of(entry))))]
