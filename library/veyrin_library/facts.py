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
    known = store.keys("facts")
    keys = {entry["key"]: facts_key(entry) for entry in plan["entries"]}
    missing = [entry for entry in plan["entries"] if keys[entry["key"]] not in known]
    if missing:
        program = converter.find_converter()
        with concurrent.futures.ThreadPoolExecutor(jobs) as pool:
            work = [pool.submit(ask, store, program, plan["recordings"], entry) for entry in missing]
            for number, future in enumerate(concurrent.futures.as_completed(work), 1):
                future.result()
                tell(number, len(missing))
    return {key: read_json(store.path("facts", facts)) or {} for key, facts in keys.items()}


def ask(store, program, top, entry):
    """Lets the converter inspect one recording and write its preview. A broken recording has neither."""
    key = facts_key(entry)
    recording = converter.path_argument(os.path.join(top, *entry["recording"].split("/")))
    try:
        # A dry run tells what an inspection does, and the share of valid pixels.
        _, lines = converter.run(program, ["--dry-run", recording])
        facts = converter.facts_in(lines)
        target = preview(store, key)
        status, _ = converter.run(program, ["--thumbnail", "--thumbnail-width", str(PREVIEW_WIDTH), "--overwrite",
                                            "--output", str(target), recording])
        facts["preview"] = status == 0 and target.exists()
    except LibraryError as error:
        facts = {"error": str(error)}
    write_json(store.path("facts", key), facts, lasting=False)
