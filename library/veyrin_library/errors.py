"""Errors whose text is meant for the user."""


class LibraryError(Exception):
    """Ends the command with one message: lower case, no full stop."""


class JobFailed(Exception):
    """One recording could not be converted; the others go on."""


class Interrupted(Exception):
    """The user, or the cluster, asked this job to stop."""


def reason(error):
    """What the system says about an OSError, without numbers and paths."""
    return (error.strerror or str(error)) if isinstance(error, OSError) else str(error)
