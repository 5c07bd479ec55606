"""What the rows of the table have to reach, and which of them do not."""

import dataclasses


@dataclasses.dataclass(frozen=True)
class Bar:
    relation: str  # "at least" or "at most"
    limit: float
    figure: str = "ratio"  # or "ours": our own figure in the row's unit

    def holds(self, row):
        value = row.ratio if self.figure == "ratio" else row.our_median
        return value >= self.limit if self.relation == "at least" else value <= self.limit

    def text(self, row):
        return f"{self.relation} {self.limit:.2f}" if self.figure == "ratio" else \
            f"{self.relation} {self.limit:.0f} {row.unit}"


def bars(machine):
    """The bars by the rows' keys, for a machine."""
    return {
        "kernels: luma 8-bit inside": Bar("at least", 6.5 if machine.permutes_wide else 5.0),
        # The same speed: within 5 percent.
        "kernels: luma P010 beside planar 10-bit": Bar("at least", 0.95),
        "start-up: time at 3840x3840": Bar("at least", 0.85 * machine.threads),
        "start-up: peak memory at 3840x3840": Bar("at most", 320, "ours"),
        "job: wall time beside the encoder alone": Bar("at most", 1.10),
        "seeking: --start at 95 %": Bar("at most", 1.30),
        "reading: behind the end of the sound": Bar("at most", 1.25),
        "memory: ProRes": Bar("at most", 1.15),
        "memory: HEVC": Bar("at most", 1.15),
    }


@dataclasses.dataclass(frozen=True)
class Verdict:
    row: object
    bar: Bar = None

    @property
    def fails(self):
        return self.bar is not None and not self.bar.holds(self.row)


def judge(rows, table):
    """A verdict for each row, in their order."""
    return [Verdict(row, table.get(row.key)) for row in rows]


def findings(verdicts, sections, table):
    """One line for each bar of the sections that does not hold, those whose row is not there included."""
    lines = [f"{verdict.row.key}: {verdict.bar.text(verdict.row)} wanted, "
             + (f"ratio {verdict.row.ratio:.2f}" if verdict.bar.figure == "ratio" else
                f"{verdict.row.our_median:.0f} {verdict.row.unit}")
             for verdict in verdicts if verdict.fails]
    measured = {verdict.row.key for verdict in verdicts}
    return lines + [f"{key}: not measured" for key in table
                    if key.split(":")[0] in sections and key not in measured]
