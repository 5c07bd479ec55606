"""Measures the program beside its peers and prints one table of ratios. scripts/bench runs it."""

import argparse
import sys
import tempfile
from pathlib import Path

import job
import kernels
import memory
import scaling
import start_up
import trims
from bars import bars, findings, judge
from machine import load_text, this_machine
from plan import Plan
from programs import BUILD, Failure, say, set_up_and_build
from table import markdown_table, text_table

SECTIONS = {
    "kernels": (kernels.measure, "one plane on one thread beside OpenCV's remap with Lanczos-4"),
    "start-up": (start_up.measure, "maps and tables: all threads beside one, peak memory"),
    "job": (job.measure, "a whole conversion beside the encoder alone and beside FFmpeg's v360"),
    "seeking": (trims.measure_seeking, "a trim near the end of ten minutes beside one at 0"),
    "reading": (trims.measure_reading, "what a trim reads when the sound ends first"),
    "memory": (memory.measure, "peak memory of a recording beside one of a tenth of its length"),
    "scaling": (scaling.measure, "frames a second on all threads beside one"),
}


def parse(words):
    listed = "\n".join(f"  {name:10} {text}" for name, (_, text) in SECTIONS.items())
    parser = argparse.ArgumentParser(prog="scripts/bench", formatter_class=argparse.RawDescriptionHelpFormatter,
                                     description="Sets up, builds, measures the program beside its peers and prints "
                                     "one table of ratios.", epilog=f"sections:\n{listed}\n\nThe bars are in bench/bars.py.")
    parser.add_argument("--check", action="store_true", help="fail and name the rows when bars do not hold")
    parser.add_argument("--quick", action="store_true", help="fewer runs")
    parser.add_argument("--only", metavar="SECTION", action="append", choices=list(SECTIONS),
                        help="measure this section; may be repeated")
    parser.add_argument("--markdown", action="store_true", help="print the table as docs/performance.md has it")
    return parser.parse_args(words)


def measure(plan, sections):
    """All rows, and one line for each section that could not be measured."""
    rows, failures = [], []
    for name in sections:
        say(f"measuring {name} (load {load_text()})")
        try:
            rows += SECTIONS[name][0](plan)
        except Failure as failure:
            failures.append(f"{name}: {failure}")
    return rows, failures


def main(words):
    options = parse(words)
    try:
        set_up_and_build()
    except Failure as failure:
        print(f"error: {failure}", file=sys.stderr)
        return 1
    machine = this_machine()
    sections = [name for name in SECTIONS if options.only is None or name in options.only]
    load = load_text()
    with tempfile.TemporaryDirectory(dir=BUILD, prefix="bench-") as scratch:
        rows, failures = measure(Plan(machine, Path(scratch), options.quick), sections)
    table = bars(machine)
    verdicts = judge(rows, table)
    print((markdown_table if options.markdown else text_table)(verdicts))
    print(f"\n{machine.text}; load average {load} at the start. Medians; the spread is that of the runs' ratios.")
    below = findings(verdicts, sections, table)
    for line in failures:
        print(f"error: {line}", file=sys.stderr)
    if options.check:
        for line in below:
            print(f"missed: {line}", file=sys.stderr)
        say("some bars do not hold" if below else "all bars hold")
    return 1 if failures or (options.check and below) else 0


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
