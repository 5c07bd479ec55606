"""Everything that differs between Linux and Windows, and what the file system must guarantee."""

import contextlib
import errno
import os
import shutil
import signal
import socket
import subprocess
import sys
import time
from pathlib import Path

WINDOWS = os.name == "nt"

if WINDOWS:
    import msvcrt
else:
    import fcntl

# What file systems answer that have no hard links.
NO_LINKS = {errno.EPERM, errno.ENOTSUP, errno.EOPNOTSUPP, errno.ENOSYS, errno.EMLINK, errno.EXDEV, errno.EINVAL}


def node_name():
    """The machine's name, or the cluster's name for it; safe in a file name."""
    name = os.environ.get("SLURMD_NODENAME") or socket.gethostname().split(".")[0] or "host"
    return "".join(character if character.isalnum() else "_" for character in name)


def state_home():
    """Where the user's programs remember things."""
    if WINDOWS:
        return Path(os.environ.get("LOCALAPPDATA") or Path.home() / "AppData" / "Local")
    return Path(os.environ.get("XDG_STATE_HOME") or Path.home() / ".local" / "state")


def sync_file(path):
    """Returns when the file's contents are on disk."""
    # Windows flushes only what is open for writing.
    with open(path, "r+b") as file:
        os.fsync(file.fileno())


def sync_folder(path):
    """Returns when the folder's names are on disk; Windows has no such call and needs none."""
    if WINDOWS:
        return
    descriptor = os.open(path, os.O_RDONLY)
    try:
        os.fsync(descriptor)
    except OSError as error:
        # Some network file systems refuse this for folders; they are synchronous themselves.
        if error.errno not in (errno.EINVAL, errno.ENOTSUP):
            raise
    finally:
        os.close(descriptor)


def publish(source, target, overwrite):
    """Gives a complete file its final name in one step. Without `overwrite`, a taken name raises FileExistsError."""
    if overwrite:
        os.replace(source, target)
    elif WINDOWS:
        os.rename(source, target)
    else:
        try:
            os.link(source, target)
        except OSError as error:
            if error.errno not in NO_LINKS:
                raise
            if os.path.lexists(target):
                raise FileExistsError(errno.EEXIST, os.strerror(errno.EEXIST), str(target)) from None
            os.rename(source, target)
        else:
            os.unlink(source)


@contextlib.contextmanager
def locked(path, wait, check=None):
    """Holds the lock file while the block runs and yields its descriptor; None if another process has it.

    While it waits it calls `check`, which may raise.
    The system lets go of the lock when the last process that holds the descriptor ends, however it ends.
    """
    descriptor = os.open(path, os.O_RDWR | os.O_CREAT, 0o666)
    try:
        yield descriptor if take_lock(descriptor, wait, check) else None
    finally:
        os.close(descriptor)


def take_lock(descriptor, wait, check=None):
    """Takes the lock of an open file; returns False if another process has it and we do not wait."""
    while True:
        try:
            if WINDOWS:
                msvcrt.locking(descriptor, msvcrt.LK_NBLCK, 1)
            else:
                fcntl.flock(descriptor, fcntl.LOCK_EX | fcntl.LOCK_NB)
            return True
        except OSError as error:
            if error.errno in (errno.ENOTSUP, errno.ENOSYS, errno.ENOLCK):
                return True  # no locks on this file system: the done marks still let one job win
            if not wait:
                return False
            if check:
                check()
            time.sleep(0.2)


def append_line(path, text):
    """Appends one line in one write, so that lines of several processes never mix."""
    descriptor = os.open(path, os.O_WRONLY | os.O_APPEND | os.O_CREAT | getattr(os, "O_BINARY", 0), 0o666)
    try:
        os.write(descriptor, (text + "\n").encode("ascii"))
    finally:
        os.close(descriptor)


def start(command, **settings):
    """Starts a program in a session of its own that ends with us; returns the process."""
    if WINDOWS:
        return subprocess.Popen(command, creationflags=subprocess.CREATE_NEW_PROCESS_GROUP, **settings)
    return subprocess.Popen(ending_with_parent("KILL") + command, start_new_session=True, **settings)


def is_alive(process):
    """Whether a process of this machine runs; True where the system cannot be asked without disturbing it."""
    if WINDOWS:
        return True
    try:
        os.kill(process, 0)
    except ProcessLookupError:
        return False
    except OSError:
        pass
    return True


def ending_with_parent(signal_name):
    """Words before a command that let the system send it the signal when its parent is killed."""
    program = None if sys.platform != "linux" else shutil.which("setpriv")
    return [program, "--pdeathsig", signal_name, "--"] if program else []


def stop(process):
    """Ends a program of `start` with its children and waits for it."""
    if process.poll() is None:
        with contextlib.suppress(OSError):
            if WINDOWS:
                process.terminate()
            else:
                os.killpg(process.pid, signal.SIGTERM)
        try:
            process.wait(5)
        except subprocess.TimeoutExpired:
            with contextlib.suppress(OSError):
                if WINDOWS:
                    process.kill()
                else:
                    os.killpg(process.pid, signal.SIGKILL)
    process.wait()


def interrupt(process):
    """Sends what Ctrl-C sends to a program of `start` and to its children."""
    with contextlib.suppress(OSError):
        if WINDOWS:
            process.send_signal(signal.CTRL_BREAK_EVENT)
        else:
            os.killpg(process.pid, signal.SIGINT)


def same_file_name(path):
    """Text that is equal for two paths that this system takes for one file."""
    return os.path.normcase(path)
