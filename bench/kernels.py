"""One plane on one thread: our kernels beside OpenCV's remap with Lanczos-4 on the same map."""

from figures import speed
from google_benchmark import measure as measure_program
from programs import BIN

SECTION = "kernels"


def rows(values):
    """The rows from nanoseconds a sample by benchmark; each name ends with the side's."""
    made = []
    for name, ours in values.items():
        kind, side = name.rsplit(" ", 1)
        if side == "ours":
            made.append(speed(SECTION, kind, "OpenCV Lanczos-4", "ns", ours, values[f"{kind} opencv"]))
    made.sort(key=lambda row: ("inside" not in row.name, "luma" not in row.name, row.name))
    made.append(speed(SECTION, "luma P010 beside planar 10-bit", "our planar 10-bit", "ns",
                      values["luma P010 inside ours"], values["luma 10-bit inside ours"]))
    return made


def measure(plan):
    return rows(measure_program(BIN / "plane_bench", plan.runs(SECTION), "ns", plan.scratch))
