"""The report: one text file that can be read by people and sent to others."""

REPORT_NAME = "hardware-check-report.txt"
PASSED, FAILED, NOT_AVAILABLE = "passed", "failed", "not available"
HOW_TO_SEND = """Before you send this file, read it: names of people, machines and folders have been replaced, but look
yourself.
To send it, open an issue in the project's repository, fill in the form docs/hardware-report.md and attach this file."""


class Report:
    def __init__(self, scrubber):
        self.scrubber = scrubber
        self.facts = []
        self.outcomes = []

    @property
    def failed(self):
        return [outcome for outcome in self.outcomes if outcome.state == FAILED]

    def summary(self):
        counts = [f"{sum(outcome.state == state for outcome in self.outcomes)} {state}"
                  for state in (PASSED, FAILED, NOT_AVAILABLE)]
        return ", ".join(counts)

    def text(self):
        parts = ["veyrin hardware check, report format 1", ""]
        parts += [f"{label}: {value}" for label, value in self.facts]
        parts += ["", f"result: {self.summary()}", ""]
        parts += [line for outcome in self.outcomes for line in outcome.lines()]
        for outcome in self.failed:
            parts += ["", f"=== {outcome.row.name}: console output", outcome.console.strip() or "(none)"]
        return self.scrubber.clean("\n".join(parts)) + "\n\n" + HOW_TO_SEND + "\n"

    def write(self, folder):
        path = folder / REPORT_NAME
        path.write_text(self.text(), encoding="utf-8")
        return path


class Outcome:
    """What came out of one row; `console` is what the converter printed, without its progress."""

    def __init__(self, row, state, reasons=(), values=(), observations=(), console=""):
        self.row = row
        self.state = state
        self.reasons = list(reasons)
        self.values = list(values)
        self.observations = list(observations)
        lines = [line for line in console.splitlines() if "progress_percent: " not in line]
        self.console = "\n".join(lines)

    def headline(self):
        reason = f" ({self.reasons[0].splitlines()[0]})" if self.reasons else ""
        return f"[{self.state}] {self.row.name}{reason}"

    def lines(self):
        found = [f"[{self.state}] {self.row.name}"]
        found += ["    " + line for reason in self.reasons for line in reason.splitlines()]
        found += [f"    {value}" for value in self.values]
        return found + [f"    observed: {line}" for line in self.observations]
