"""Long recordings in pieces: where they are cut, the jobs of the pieces, and how they become one movie again.

Cutting and joining are done by the companion program veyrin-join.
"""

import concurrent.futures
import json
import os

from . import converter, estimates, marks
from .errors import JobFailed
from .recordings import stamp
from .store import read_json, remove

JOINER = "veyrin-join"
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
    for entry in plan["entries"]:
        if (estimates.shown_seconds(entry, plan["options"]) or 0) <= minutes * 60:
            entry.pop("cuts", None)
        elif not question.items() <= entry.get("cuts", {}).items():
            unknown.append(entry)
    with concurrent.futures.ThreadPoolExecutor(min(8, os.cpu_count() or 1)) as pool:
        paths = [os.path.join(plan["recordings"], *entry["recording"].split("/")) for entry in unknown]
        for entry, cuts in zip(unknown, pool.map(lambda path: ask(question, path), paths)):
            entry["cuts"] = cuts


def ask(question, recording):
    """The question with the joiner's answer about one recording; without pieces it is converted in one go."""
    cuts = {**question, "pieces": []}
    status, lines = converter.run(question["joiner"], ["--cuts", repr(question["minutes"]), *question["words"],
                                                       converter.path_argument(recording)], 3600)
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


def piece_folder(store, entry):
    """Where the pieces wait for each other; like a job's folder it goes when the movie is done."""
    folder = os.path.dirname(marks.movie_file(store, entry["movie"]))
    return os.path.join(folder, f"{marks.PRIVATE}{entry['key']}-pieces")


def piece_file(store, entry, number):
    return os.path.join(piece_folder(store, entry), f"{number:05d}{os.path.splitext(entry['movie'])[1]}")


def piece_id(entry, number):
    """The name of the piece's task and of its mark."""
    return f"{entry['key']}.{number:05d}"


def made(store, entry, number):
    """The mark of a piece that is there and unchanged, or None."""
    mark = read_json(store.path("pieces", piece_id(entry, number)))
    try:
        there = mark["cut"] == of(entry)[number] and \
            list(stamp(os.stat(piece_file(store, entry, number)))) == mark["movie_stamp"]
        return mark if there else None
    except (OSError, KeyError, IndexError, TypeError):
        return None


def frames(store, entry):
    """How many frames the pieces have together; None where one is missing."""
    marks_of_pieces = [made(store, entry, number) for number in range(len(of(entry)))]
    return sum(mark["frames"] for mark in marks_of_pieces) if all(marks_of_pieces) else None


def log_of(store, entry):
    """The log that tells most about an entry: that of the first piece that failed, else the movie's; None without."""
    failed = (piece_id(entry, number) for number in range(len(of(entry))))
    for identity in (*(each for each in failed if store.path("failed", each).exists()), entry["key"]):
        if store.log(identity).exists():
            return store.log(identity)
    return None


def forget(store, key):
    """Removes the marks of a movie's pieces; their files go with the movie's leftovers."""
    for part in ("pieces", "failed"):
        for identity in store.keys(part):
            if identity.startswith(key + "."):
                remove(store.path(part, identity))


def drop_unwanted(store, plan):
    """Removes the pieces of movies that the plan has no more; they may be large."""
    wanted = {entry["key"] for entry in plan["entries"]}
    for identity in store.keys("pieces"):
        key = identity.split(".")[0]
        mark = key not in wanted and read_json(store.path("pieces", identity))
        if mark:
            marks.remove_leftovers(store, key, mark["movie"])
            remove(store.path("pieces", identity))


def join_command(store, entry, options, recording, private):
    """The command that joins the pieces in the private folder; raises JobFailed where one is missing."""
    count = len(of(entry))
    for number in range(count):
        if not made(store, entry, number):
            why = read_json(store.path("failed", piece_id(entry, number))) or {}
            raise JobFailed(f"piece {number + 1} of {count} is missing: " +
                            why.get("message", "its job did not end well"))
    movie = os.path.join(private, os.path.basename(entry["movie"]))
    return [entry["cuts"]["joiner"], *words_of(options, TRIMS), "--recording", converter.path_argument(recording),
            "--output", movie, *(piece_file(store, entry, number) for number in range(count))]
