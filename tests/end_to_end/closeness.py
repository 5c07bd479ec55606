"""Compares numbers, for checks that also run on machines without pytest."""

import numpy as np


def check_near(found, expected, tolerance, what):
    """Each number of `found` is within `tolerance` of its counterpart; `what` names them in the message."""
    found, expected = np.atleast_1d(np.array(found, dtype=float)), np.atleast_1d(np.array(expected, dtype=float))
    assert found.shape == expected.shape, f"{what}: {found.size} values, expected {expected.size}"
    if not found.size:
        return
    worst = int(np.argmax(np.abs(found - expected)))
    # Not the other way round: a value that is no number is not near.
    assert abs(found[worst] - expected[worst]) <= tolerance, (
        f"{what}: {found[worst]:.6f}, expected {expected[worst]:.6f}" + (f" at {worst}" if found.size > 1 else ""))
