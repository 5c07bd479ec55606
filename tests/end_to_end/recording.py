"""A recording made by make_recording, and the truth about it that is written beside it."""

import json
from functools import cached_property
from pathlib import Path

import numpy as np

from rig import Camera, Rig


class Recording:
    def __init__(self, path):
        self.path = Path(path)

    @cached_property
    def truth(self):
        return json.loads(Path(f"{self.path}.points.json").read_text())

    @cached_property
    def rig(self):
        return Rig(Camera.from_truth(self.truth["left"]), Camera.from_truth(self.truth["right"]))

    @property
    def rate(self):
        return tuple(self.truth["rate"])

    @property
    def frame_count(self):
        return self.truth["frame_count"]

    @property
    def eye_size(self):
        return tuple(self.truth["eye_size"])

    @property
    def flash_times(self):
        return [flash["seconds"] for flash in self.truth["flashes"]]

    def points(self, frame):
        """Name to position of each target in the stage, for a frame."""
        [entry] = [entry for entry in self.truth["frames"] if entry["frame"] == frame]
        return {point["name"]: np.array(point["position"]) for point in entry["points"]}
