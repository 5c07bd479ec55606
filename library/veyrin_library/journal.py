"""What happened, one line of JSON per event, for people and for the progress line. Lines are only ever added.

Each machine writes a file of its own: appending is safe among the processes of one machine, but not between the
machines that share a network file system.
"""

import contextlib
import json
import time

from . import system


def write(store, event, key, **details):
    """Adds a line about a movie's key."""
    line = {"time": time.strftime("%Y-%m-%dT%H:%M:%SZ", time.gmtime()), "event": event, "key": key,
            "node": system.node_name(), **details}
    system.append_line(store.folder / "journal" / (system.node_name() + ".jsonl"), json.dumps(line))


class Reader:
    """Gives the events that were added since the last call."""

    def __init__(self, store, from_now=False):
        self.folder = store.folder / "journal"
        self.places = {}
        if from_now:
            self.places = {file.name: file.stat().st_size for file in self.files()}

    def files(self):
        return sorted(self.folder.glob("*.jsonl"))

    def events(self):
        """What was added since the last call."""
        for path in self.files():
            place = self.places.get(path.name, 0)
            try:
                with open(path, "rb") as file:
                    file.seek(place)
                    text = file.read()
            except OSError:
                continue
            complete = text[:text.rfind(b"\n") + 1]
            self.places[path.name] = place + len(complete)
            for line in complete.splitlines():
                with contextlib.suppress(ValueError):
                    event = json.loads(line)
                    if isinstance(event, dict) and "event" in event and "key" in event:
                        yield event
