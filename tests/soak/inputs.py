"""The inputs of a soak run: number k of a seed is the same file on every machine with the same encoder."""

import random
import re
import subprocess
from dataclasses import dataclass, field

import box_mutations
import sample_mutations
from movie_model import Recording

VARIANTS = [
    (), ("--codec", "hevc"), ("--codec", "hevc10"), ("--codec", "hevc", "--b-frames", "2"), ("--b-frames", "3"),
    ("--codec", "hevc10", "--no-audio"), ("--swap-cameras",), ("--swap-tracks", "--codec", "hevc"), ("--single-camera",),
    ("--legacy-keys",), ("--extra-data-stream",), ("--empty-right",), ("--right-offset", "0.1"),
    ("--start-offset", "0.5"), ("--rotation", "90", "--codec", "hevc"), ("--bad-interleaving",), ("--splines",),
    ("--full-range",), ("--untagged",), ("--pix-fmt", "yuv422p"), ("--pinhole-only",), ("--rate", "60", "--gop", "3"),
    ("--rate", "24000/1001"), ("--size", "96x80", "--codec", "hevc10"), ("--size", "128x128"), ("--index-first",),
    ("--metadata-interval", "0.05"),
]


@dataclass
class Input:
    number: int
    data: bytes
    suffix: str
    trimmed: bool     # its times may be anything, so that a whole conversion could take for ever
    steps: list = field(default_factory=list)


def known_faults(maker):
    """The faults that the recording maker knows."""
    text = subprocess.run([str(maker), "--help"], capture_output=True, text=True, check=True).stdout
    return re.findall(r"^  ([a-z0-9-]+) ", text.split("Faults for --malformed:")[1], re.MULTILINE)


class InputSource:
    def __init__(self, shelf, seed):
        self.shelf = shelf
        self.seed = seed
        self.faults = known_faults(shelf.maker)

    def _recording(self, options):
        size = () if "--size" in options else ("--size", "64x64")
        return self.shelf.get(*size, "--seconds", "0.2", *options).path.read_bytes()

    def make(self, number):
        """The first inputs are the known faults as they are, then the variants in other layouts."""
        chance = random.Random(f"{self.seed}:{number}")
        suffix = chance.choice((".mp4", ".mov"))
        if number < len(self.faults):
            options = ("--malformed", self.faults[number])
            return Input(number, self._recording(options), suffix, True, [" ".join(options)])
        options = chance.choice(VARIANTS)
        if chance.random() < 0.15:
            options += ("--malformed", chance.choice(self.faults))
        made = Input(number, self._recording(options), suffix, False, [" ".join(options)])
        readable = "--malformed" not in options
        if readable and chance.random() < 0.7:
            self._change_samples(chance, made)
        kind = chance.random()
        if kind < 0.45 or not readable:
            made.data, names = box_mutations.change_boxes(chance, made.data, chance.choice((1, 1, 1, 2, 3, 6)))
            made.steps += names
            made.trimmed = True
        if kind > 0.8:
            change = chance.choice(box_mutations.BYTES)
            made.data = change(chance, made.data)
            made.steps.append(change.__name__)
            made.trimmed = True
        return made

    @staticmethod
    def _change_samples(chance, made):
        recording = Recording(made.data)
        changes = chance.choice((sample_mutations.PICTURES, sample_mutations.TIMES, sample_mutations.DOCUMENTS,
                                 [sample_mutations.random_edits], []))
        for _ in range(chance.choice((1, 1, 2, 4)) if changes else 0):
            change = chance.choice(changes)
            change(chance, recording)
            made.steps.append(change.__name__)
            made.trimmed |= change in sample_mutations.TIMES or change == sample_mutations.random_edits
        layout = chance.choice(("plain", "plain", "index first", "fragmented"))
        made.steps.append(layout)
        if layout == "fragmented":
            made.data = recording.fragmented(chance.choice((1, 2, 5)))
        else:
            made.data = recording.plain(index_first=layout == "index first")
