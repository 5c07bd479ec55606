"""Maps and tables of both eyes: all threads beside one, and the peak of memory beside what stays."""

import json

from figures import share, speed, take_turns
from programs import BIN, run

SECTION = "start-up"
SIZES = (1920, 2880, 3840)


def start_up(size, threads):
    return json.loads(run([BIN / "start_up_bench", size, threads]).output)


def rows_of_size(size, all_threads, one_thread):
    """The rows of one size from what the program told of each run."""
    def mib(key):
        return [run[key] / 2**20 for run in all_threads]
    return [speed(SECTION, f"time at {size}x{size}", "one thread", "s", [run["seconds"] for run in all_threads],
                  [run["seconds"] for run in one_thread]),
            share(SECTION, f"peak memory at {size}x{size}", "memory after it", "MiB", mib("peak"), mib("after"))]


def measure(plan):
    rows = []
    for size in SIZES:
        rows += rows_of_size(size, *take_turns(plan.runs(SECTION), lambda: start_up(size, plan.machine.threads),
                                               lambda: start_up(size, 1)))
    return rows
