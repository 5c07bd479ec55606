"""The whole processor, both eyes of a frame: frames a second on several threads beside one."""

from figures import share
from google_benchmark import measure as measure_program
from plan import thread_counts
from programs import BIN

SECTION = "scaling"


def rows(values, threads):
    """The rows from frames a second by benchmark; each name ends with the number of threads."""
    made = []
    for name, alone in values.items():
        kind, count = name.rsplit(" ", 1)
        if count != "1":
            continue
        made += [share(SECTION, f"{kind}, {more} threads", "one thread", "frames/s", values[f"{kind} {more}"], alone)
                 for more in thread_counts(threads)[1:]]
    return sorted(made, key=lambda row: row.name)


def measure(plan):
    values = measure_program(BIN / "frame_rate_bench", plan.runs(SECTION), "fps", plan.scratch)
    return rows(values, plan.machine.threads)
