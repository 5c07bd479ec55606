"""What a run of the benchmarks measures: its sections, how often, and where its files are."""

import dataclasses
from pathlib import Path

from machine import Machine

# Runs of each side by section: usually, and with --quick. What is exact takes one.
RUNS = {"kernels": (9, 3), "start-up": (5, 3), "job": (3, 1), "seeking": (15, 5), "reading": (1, 1), "memory": (3, 1),
        "scaling": (5, 3)}


@dataclasses.dataclass(frozen=True)
class Plan:
    machine: Machine
    scratch: Path  # an empty folder
    quick: bool = False

    def runs(self, section):
        usual, quick = RUNS[section]
        return quick if self.quick else usual


def thread_counts(threads):
    """1, 2, 4 and so on, and all threads as the last."""
    counts = [1]
    while counts[-1] * 2 < threads:
        counts.append(counts[-1] * 2)
    return counts if threads == 1 else [*counts, threads]
