"""What the page shows about each recording: its preview and what the converter finds in it. Made once per recording."""

import concurrent.futures
import hashlib
import json
import os

from . import converter
from .errors import LibraryError
from .store import read_json, write_json

PREVIEW_WIDTH = 320


def facts_key(entry):
    """The same for all options, because previews and calibration do not depend on them."""
    parts = json.dumps([entry["recording"], entry["size"], entry["changed"]])
    return hashlib.sha256(parts.encode("ascii")).hexdigest()[:24]


def preview(store, key):
    return store.path("previews", key, ".png")


def gather(store, plan, jobs, tell):
    """Facts of all entries by their keys, gathered anew where there are none; `tell` is called with counts of those."""
    found = {entry["key"]: read_json(store.path("facts", facts_key(entry))) or {} for entry in plan["entries"]}
    missing = [entry for entry in plan["entries"] if not is_settled(found[entry["key"]])]
    if missing:
        program = converter.find_converter()
        with concurrent.futures.ThreadPoolExecutor(jobs) as pool:
            work = [pool.submit(ask, store, program, plan["recordings"], entry) for entry in missing]
            for number, future in enumerate(concurrent.futures.as_completed(work), 1):
                key, facts = future.result()
                found[key] = facts
                tell(number, len(missing))
    return found


def is_settled(facts):
    """Whether asking again would give the same: a preview, or the converter's reason why there is none."""
    return facts.get("preview", False) or "error" in facts


def ask(store, program, top, entry):
    """The entry's key, and what the converter finds in its recording, whose preview it writes.

    A broken recording has its message instead.
    """
    key = facts_key(entry)
    recording = converter.path_argument(os.path.join(top, *entry["recording"].split("/")))
    try:
        # A dry run tells what an inspection does, and the share of valid pixels.
        _, lines = converter.run(program, ["--dry-run", recording])
        facts = converter.facts_in(lines)
        target = preview(store, key)
        status, lines = converter.run(program, ["--thumbnail", "--thumbnail-width", str(PREVIEW_WIDTH), "--overwrite",
                                                "--output", str(target), recording])
        facts["preview"] = status == 0 and target.exists()
        message = converter.error_message(lines)
        if message:
            facts["error"] = message
    except LibraryError:
        facts = {}  # the program could not be run; the next page asks again
    write_json(store.path("facts", key), facts, lasting=False)
    return entry["key"], facts
