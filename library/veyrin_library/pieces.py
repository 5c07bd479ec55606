"""Long recordings in pieces: where they are cut, the jobs of the pieces, and how they become one movie again.

Cutting and joining are done by the companion program veyrin-join.
"""

import json
import os

from . import converter, marks
from .errors import JobFailed, LibraryError
from .recordings import stamp
from .store import read_json

JOINER = "veyrin-join"
# Options that choose a part of the recording themselves.
TRIMS = ("--start", "--duration", "--output-fps")


def find_joiner():
    return converter.find_program(JOINER, "VEYRIN_JOIN")


def check(options):
    for name in TRIMS:
        if name in options:
            raise LibraryError(f"--piece-minutes cannot be used with {name}")


def is_long(entry, minutes):
    return entry["header"].get("seconds", 0) > minutes * 60


def plan_cuts(plan):
    """Asks the joiner where to cut each long recording; entries keep their cuts, or nothing when it is not worth it."""
    minutes = plan["piece_minutes"]
    if not minutes:
        for entry in plan["entries"]:
            entry.pop("cuts", None)
        return
    program = find_joiner()
    for entry in plan["entries"]:
        cuts = entry.get("cuts")
        if not is_long(entry, minutes):
            entry.pop("cuts", None)
        elif not cuts or cuts["minutes"] != minutes or cuts["joiner"] != program:
            entry["cuts"] = ask(program, minutes, os.path.join(plan["recordings"], *entry["recording"].split("/")))


def ask(program, minutes, recording):
    """The answer about one recording; one piece means that it is converted in one go."""
    cuts = {"minutes": minutes, "joiner": program, "pieces": []}
    status, lines = converter.run(program, ["--cuts", f"{minutes:g}", converter.path_argument(recording)], 3600)
    if status != 0:
        return {**cuts, "reason": converter.error_message(lines) or f"{JOINER} ended with status {status}"}
    try:
        answer = json.loads(lines[-1])
        found = [{"start": float(piece["start"]), "duration": piece.get("duration"), "frames": int(piece["frames"])}
                 for piece in answer["pieces"]]
    except (ValueError, KeyError, TypeError, IndexError):
        return {**cuts, "reason": f"{JOINER} gave no answer that could be read"}
    if len(found) > 1:
        return {**cuts, "pieces": found}
    return {**cuts, "reason": answer.get("reason", "one piece is enough")}


def of(entry):
    """The pieces of an entry; none when it is converted in one go."""
    return (entry.get("cuts") or {}).get("pieces", [])


def frames(entry):
    return sum(piece["frames"] for piece in of(entry)) or None


def trim(piece):
    """The converter's options for one piece."""
    words = ["--start", f"{piece['start']:.9f}"] if piece["start"] > 0 else []
    return words + (["--duration", f"{piece['duration']:.9f}"] if piece["duration"] is not None else [])


def piece_folder(store, entry):
    return os.path.join(os.path.dirname(marks.movie_file(store, entry["movie"])), f".veyrin-{entry['key']}-pieces")


def piece_file(store, entry, number):
    return os.path.join(piece_folder(store, entry), f"{number:05d}{os.path.splitext(entry['movie'])[1]}")


def piece_id(entry, number):
    return f"{entry['key']}.{number:05d}"


def is_made(store, entry, number):
    """Whether a piece is there, as its mark says."""
    mark = read_json(store.path("pieces", piece_id(entry, number)))
    try:
        return bool(mark) and mark["cut"] == of(entry)[number] and \
            list(stamp(os.stat(piece_file(store, entry, number)))) == mark["movie_stamp"]
    except (OSError, KeyError, IndexError):
        return False


def join_command(store, entry, recording, private):
    missing = [number for number in range(len(of(entry))) if not is_made(store, entry, number)]
    if missing:
        first = read_json(store.path("failed", piece_id(entry, missing[0]))) or {}
        raise JobFailed(f"piece {missing[0] + 1} of {len(of(entry))} is missing: " +
                        first.get("message", "its job did not end well"))
    movie = os.path.join(private, os.path.basename(entry["movie"]))
    return [entry["cuts"]["joiner"], "--recording", converter.path_argument(recording), "--output", movie,
            *(piece_file(store, entry, number) for number in range(len(of(entry))))]
