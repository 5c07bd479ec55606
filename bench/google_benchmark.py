"""Programs made with Google Benchmark: running one and reading its report."""

import json

from programs import run


def counter_values(report, counter):
    """A counter's value in each repetition, by the benchmark's name, from a report as JSON text."""
    values = {}
    for entry in json.loads(report)["benchmarks"]:
        if entry["run_type"] != "iteration":
            continue
        # What follows the slash tells how time was taken.
        name = entry["run_name"].split("/")[0]
        values.setdefault(name, []).append(entry[counter])
    return values


def measure(program, repetitions, counter, scratch):
    """Runs all benchmarks of a program, mixed; the counter's values by name."""
    report = scratch / f"{program.name}.json"
    run([program, f"--benchmark_repetitions={repetitions}", f"--benchmark_out={report}",
         "--benchmark_out_format=json"])
    return counter_values(report.read_text(encoding="utf-8"), counter)
