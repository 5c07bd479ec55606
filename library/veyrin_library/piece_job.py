"""The conversion of one piece of a long recording."""

import os
import time

from . import converter, journal, marks, pieces, system
from .errors import JobFailed
from .job import Job
from .recordings import stamp
from .store import remove, write_json


class PieceJob(Job):
    """Converts one piece; the task's `piece` is its number. The movie itself is made by the job that joins them."""

    def __init__(self, store, task, stop=None):
        super().__init__(store, task, stop)
        self.number = task["piece"]
        self.piece = pieces.of(self.entry)[self.number]

    def is_done(self):
        return super().is_done() or pieces.made(self.store, self.task, self.number) is not None

    def convert(self, begun):
        self.check_recording("has changed since the plan was made; run again")
        if marks.recover(self.store, self.key):
            return "already done"
        # Before the hours that a conversion takes, not after.
        self.check_place()
        self.make_private_folder()
        self.run_program([self.task["converter"], *pieces.options_of(self.piece, self.task["options"]), "--output-root",
                          self.private, converter.path_argument(self.recording)])
        frames = converter.frames_in(self.lines)
        if frames not in self.piece["frames"]:
            raise JobFailed(f"piece {self.number + 1} has {frames} frames instead of " +
                            " or ".join(map(str, self.piece["frames"])))
        made = self.made_file()
        self.check_recording("changed while it was converted; run again")
        target = pieces.piece_file(self.store, self.entry, self.number)
        os.makedirs(os.path.dirname(target), exist_ok=True)
        system.sync_file(made)
        os.replace(made, target)
        system.sync_folder(os.path.dirname(target))
        mark = {"cut": self.piece, "movie": self.entry["movie"], "movie_stamp": list(stamp(os.stat(target))),
                "node": system.node_name(), "job": self.job, "frames": frames, "program": self.task["version"],
                "seconds": round(time.monotonic() - begun, 3)}
        write_json(self.store.path("pieces", self.task["id"]), mark)
        remove(self.store.path("failed", self.task["id"]))
        journal.write(self.store, "piece", self.key, job=self.job, task=self.task["id"])
        return "done"
