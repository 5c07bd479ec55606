"""Repeated measurements of two sides, and their ratio."""

import dataclasses
import statistics


@dataclasses.dataclass(frozen=True)
class Row:
    """One row of the table: what our side and its peer took in runs that took turns."""

    section: str
    name: str
    peer: str  # what the other side is
    unit: str
    ours: list  # one figure for each run
    theirs: list
    # How often our figure holds theirs, or the other way round where less is better and the row tells a speed.
    inverse: bool = False

    def __post_init__(self):
        if not self.ours or len(self.ours) != len(self.theirs):
            raise ValueError(f"{self.key}: {len(self.ours)} runs of ours, {len(self.theirs)} of the peer")

    @property
    def key(self):
        return f"{self.section}: {self.name}"

    @property
    def ratios(self):
        """Run by run: what slows the machine for a while slows both sides of a pair."""
        pairs = zip(self.ours, self.theirs)
        return [theirs / ours if self.inverse else ours / theirs for ours, theirs in pairs]

    @property
    def ratio(self):
        return statistics.median(self.ratios)

    @property
    def spread(self):
        return min(self.ratios), max(self.ratios)

    @property
    def our_median(self):
        return statistics.median(self.ours)

    @property
    def peer_median(self):
        return statistics.median(self.theirs)


def speed(section, name, peer, unit, ours, theirs):
    """A row that tells how many times as fast we are, from figures of which less is better."""
    return Row(section, name, peer, unit, ours, theirs, inverse=True)


def share(section, name, peer, unit, ours, theirs):
    """A row that tells how many times the peer's figure ours is."""
    return Row(section, name, peer, unit, ours, theirs)


def take_turns(runs, *actions):
    """The results of each action, run by run; the order turns around with every run, so that none is always first."""
    results = [[] for _ in actions]
    for run in range(runs):
        numbers = range(len(actions))
        for number in numbers if run % 2 == 0 else reversed(numbers):
            results[number].append(actions[number]())
    return results
