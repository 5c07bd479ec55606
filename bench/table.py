"""The table of all rows, for a terminal and for a document."""

HEADINGS = ("row", "ours", "peer", "ratio", "spread", "runs", "bar")


def number(value):
    """Three digits that count."""
    return f"{value:.0f}" if value >= 100 else f"{value:.1f}" if value >= 10 else f"{value:.2f}"


def cells(verdict):
    row = verdict.row
    low, high = row.spread
    bar = "" if verdict.bar is None else verdict.bar.text(row) + (" (missed)" if verdict.fails else "")
    return (row.key, f"{number(row.our_median)} {row.unit}", f"{number(row.peer_median)} {row.unit}, {row.peer}",
            f"{row.ratio:.2f}", f"{low:.2f} to {high:.2f}" if len(row.ours) > 1 else "", str(len(row.ours)), bar)


def text_table(verdicts):
    lines = [HEADINGS, *map(cells, verdicts)]
    widths = [max(len(line[column]) for line in lines) for column in range(len(HEADINGS))]
    return "\n".join("  ".join(cell.ljust(width) for cell, width in zip(line, widths)).rstrip() for line in lines)


def markdown_table(verdicts):
    rule = ["---:" if name in ("ratio", "runs") else "---" for name in HEADINGS]
    lines = [HEADINGS, rule, *map(cells, verdicts)]
    return "\n".join("| " + " | ".join(line) + " |" for line in lines)
