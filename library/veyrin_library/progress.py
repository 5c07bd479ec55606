"""The progress line of a run, from the journal, which all runners and machines write."""

import sys
import time

from . import journal, texts
from .marks import movie_of


class Progress:
    """Counts what the jobs of this run report. On a terminal one line is rewritten; elsewhere each event is a line."""

    def __init__(self, store, entries, expected_seconds, output=None):
        self.output = output or sys.stdout
        self.names = {entry["key"]: entry["recording"] for entry in entries}
        self.reader = journal.Reader(store, from_now=True)
        self.done, self.failed, self.running, self.started = set(), {}, set(), set()
        self.expected = expected_seconds
        self.begun = time.monotonic()
        self.live = self.output.isatty()
        self.width = 0

    def watch(self):
        """Takes in what happened since the last call and shows it."""
        for event in self.reader.events():
            key = movie_of(event["key"])
            if key in self.names:
                self.take(event["event"], key, event)
        if self.live:
            self.show_line()

    def take(self, kind, key, event):
        """Takes in one event of the movie `key`. A piece is a task of its own, which says nothing of the movie."""
        task = event.get("task", event["key"])
        if kind == "started":
            self.running.add(task)
            self.started.add(key)
        elif kind in ("piece", "failed", "interrupted"):
            self.running.discard(task)
        elif kind == "completed":
            # Other jobs of the movie find it there and say no more.
            self.running = {each for each in self.running if movie_of(each) != key}
        if kind == "completed":
            self.done.add(key)
            self.failed.pop(key, None)
            self.tell(f"[{len(self.done)}/{len(self.names)}] {self.name(key)}")
        elif kind == "failed" and event["key"] == key and key not in self.done:
            self.failed[key] = event.get("message", "")
            self.tell(f"failed: {self.name(key)}: {texts.printable(event.get('message', ''))}")

    def name(self, key):
        return texts.printable(self.names[key])

    def left(self):
        """Seconds left by the share that is done and the time that it took; the estimate before that."""
        finished = len(self.done) + len(self.failed)
        passed = time.monotonic() - self.begun
        if not finished:
            return max(0.0, self.expected - passed)
        return passed * (len(self.names) - finished) / finished

    def text(self):
        parts = [f"{len(self.done)} of {texts.count(len(self.names), 'movie')}"]
        if self.failed:
            parts.append(f"{len(self.failed)} failed")
        parts.append(f"{len(self.running)} running")
        parts.append(f"about {texts.time_text(self.left())} left")
        return ", ".join(parts)

    def tell(self, text):
        self.clear()
        print(text, file=self.output, flush=True)

    def show_line(self):
        text = self.text()
        print("\r" + text.ljust(self.width), end="", file=self.output, flush=True)
        self.width = len(text)

    def clear(self):
        if self.live and self.width:
            print("\r" + " " * self.width + "\r", end="", file=self.output, flush=True)
            self.width = 0
