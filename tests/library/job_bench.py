"""A library of one recording for jobs that are called directly, with small scripts in the place of the programs."""

import os

from veyrin_library import marks, pieces, recordings, store
from veyrin_library.job import Job
from veyrin_library.piece_job import PieceJob

KEY = "0123456789abcdef01234567"
MOVIE = "a_FULL_SBS_LR.mov"
CUT = {"start": 0.0, "duration": 1.0, "frames": [12]}
CONVERTER = f"""\
#!/bin/sh
while [ "$1" != --output-root ]; do shift; done
echo begun >> "$0.begun"
echo movie > "$2/{MOVIE}"
echo "  encoded_frames: 12"
"""
JOINER = """\
#!/bin/sh
while [ "$1" != --output ]; do shift; done
if [ -e "$0.message" ]; then cat "$0.message"; exit 1; fi
shift; target=$1; shift
cat "$@" > "$target"
"""


class Bench:
    """A library of one recording, whose movie has `parts` pieces."""

    def __init__(self, folder, parts):
        self.folder = folder
        self.store = store.Store(folder / "movies")
        self.store.make_folders()
        self.recording = folder / "a.mp4"
        self.recording.write_bytes(b"x")
        self.converter, self.joiner = folder / "converter", folder / "veyrin-join"
        for path, text in ((self.converter, CONVERTER), (self.joiner, JOINER)):
            path.write_text(text, encoding="ascii")
            path.chmod(0o755)
        size, changed = recordings.stamp(os.stat(self.recording))
        self.entry = {"key": KEY, "recording": "a.mp4", "movie": MOVIE, "size": size, "changed": changed, "header": {}}
        if parts:
            self.entry["cuts"] = {"joiner": str(self.joiner), "pieces": [CUT] * parts}
        self.plan = {"entries": [self.entry], "waiting": [], "options": [], "recordings": str(folder),
                     "movies": str(self.store.movies), "piece_minutes": 0.01}
        self.movie = self.store.movies / MOVIE

    def job(self, number=None, stop=None, version="1"):
        task = {"id": KEY, "entry": self.entry, "recordings": str(self.folder), "options": [], "version": version,
                "converter": str(self.converter), "overwrite": False, "work": 10 ** 6}
        if number is None:
            return Job(self.store, task, stop)
        return PieceJob(self.store, {**task, "id": pieces.piece_id(self.entry, number), "piece": number}, stop)

    def run_pieces(self, **words):
        return [self.job(number, **words).run() for number in range(len(pieces.of(self.entry)))]

    def message(self):
        return store.read_json(self.store.path("failed", KEY))["message"]

    def begun(self):
        log = self.folder / "converter.begun"
        return len(log.read_text(encoding="ascii").split()) if log.exists() else 0

    def states(self):
        return marks.States(self.store, self.plan)

    def hidden(self):
        return sorted(path.name for path in self.store.movies.iterdir() if path != self.store.folder)
