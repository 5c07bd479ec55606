"""Errors whose text is meant for the user."""

import subprocess


class LibraryError(Exception):
    """Ends the command with one message: lower case, no full stop."""


class JobFailed(Exception):
    """One recording could not be converted; the others go on."""


class ProgramFailed(JobFailed):
    """A program that ran to its end said that it failed."""


class Interrupted(Exception):
    """The user, or the cluster, asked this job to stop."""


def reason(error):
    """What the system says about an OSError, without numbers and paths; also for a program that took too long."""
    if isinstance(error, subprocess.TimeoutExpired):
        return f"it did not end within {error.timeout:g} s"
    return (error.strerror or str(error)) if isinstance(error, OSError) else str(error)
