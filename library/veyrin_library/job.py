"""One conversion from the recording to the movie with its done mark; the same under every runner."""

import contextlib
import os
import secrets
import shutil
import subprocess
import time

from . import converter, journal, marks, pieces, system
from .errors import Interrupted, JobFailed, ProgramFailed, reason
from .recordings import stamp


class Stop:
    """Lets another thread, or a signal, end a job's program."""

    def __init__(self):
        self.asked = False
        self.processes = set()

    def ask(self):
        """Ends the programs that run and keeps further ones from starting."""
        self.asked = True
        for process in list(self.processes):
            system.stop(process)

    def check(self):
        """Raises Interrupted once the stop was asked for."""
        if self.asked:
            raise Interrupted()


def job_name():
    """Tells this job from all others, also from one that the cluster started again; safe in a file name."""
    environment = os.environ
    if "SLURM_JOB_ID" in environment:
        return f"{environment['SLURM_JOB_ID']}-{environment.get('SLURM_RESTART_COUNT', '0')}"
    return f"{os.getpid()}-0"


def under_slurm():
    return "SLURM_JOB_ID" in os.environ


class Job:
    """What one task asks for. A task is a dictionary that the run wrote (tasks.py); `key` is that of the movie."""

    def __init__(self, store, task, stop=None):
        self.store, self.task, self.stop = store, task, stop or Stop()
        self.entry = task["entry"]
        self.key = self.entry["key"]
        self.recording = os.path.join(task["recordings"], *self.entry["recording"].split("/"))
        self.movie = marks.movie_file(store, self.entry["movie"])
        self.folder = os.path.dirname(self.movie)
        self.job = job_name()
        self.private = os.path.join(marks.key_folder(store, self.key, self.entry["movie"]), self.private_name())
        self.lines = []
        self.piece_marks = []

    def private_name(self):
        """A folder's name that no other job has; numbers of jobs and processes come again after a restart."""
        part = marks.piece_of(self.task["id"])
        part = "movie" if part is None else f"{part:05d}"
        return f"{part}-{system.node_name()}-{self.job}-{secrets.token_hex(4)}"

    def run(self):
        """Does the task. Returns "done", "already done" or "failed"; raises Interrupted."""
        try:
            if self.is_done():
                return "already done"
            with self.turn():
                if self.is_done():  # by the one that we waited for
                    return "already done"
                journal.write(self.store, "started", self.key, job=self.job, task=self.task["id"])
                begun = time.monotonic()
                try:
                    return self.convert(begun)
                finally:
                    # Before any message is written: the disk may be full.
                    shutil.rmtree(self.private, ignore_errors=True)
                    with contextlib.suppress(OSError):  # others work there as well
                        os.rmdir(os.path.dirname(self.private))
        except Interrupted:
            with contextlib.suppress(OSError):
                journal.write(self.store, "interrupted", self.key, job=self.job, task=self.task["id"])
            raise
        except (JobFailed, OSError) as error:
            # Another job may have won meanwhile and removed our files.
            if self.is_done():
                return "already done"
            message = str(error) if isinstance(error, JobFailed) else self.system_message(error)
            marks.fail(self.store, self.task["id"], message, self.job)
            return "failed"

    @contextlib.contextmanager
    def turn(self):
        """Lets one job of a key work at a time on this machine; between machines the cluster sees to that."""
        if under_slurm():
            yield
            return
        with system.locked(self.store.path("locks", self.task["id"], ".lock"), wait=True, check=self.stop.check):
            yield

    def system_message(self, error):
        name = f": {error.filename}" if error.filename and str(self.store.folder) not in str(error.filename) else ""
        return f"could not write the movie{name}: {reason(error)}"

    def is_done(self):
        return marks.done(self.store, self.key) is not None

    def convert(self, begun):
        """Makes the movie, gives it its name and writes its marks; `begun` is when the job began."""
        self.check_recording("has changed since the plan was made; run again")
        if marks.recover(self.store, self.key):
            return "done"
        self.check_place()
        self.make_private_folder()
        frames = self.produce()
        made = self.made_file()
        self.check_recording("changed while it was converted; run again")
        system.sync_file(made)
        if self.is_done():  # by a job on another machine
            return "already done"
        figures = self.figures(made, frames, time.monotonic() - begun)
        marks.announce(self.store, self.key, figures)
        try:
            system.publish(made, self.movie, self.task["overwrite"])
        except FileExistsError:
            raise JobFailed(f"{self.entry['movie']} appeared while it was made; nothing was replaced") from None
        system.sync_folder(self.folder)
        marks.complete(self.store, self.key, figures)
        return "done"

    def check_place(self):
        """Raises JobFailed if the movie's name is taken by somebody else's file."""
        if not self.task["overwrite"] and os.path.lexists(self.movie):
            raise JobFailed(f"{self.entry['movie']} is there already and was not made by this plan; "
                            "run with --overwrite to replace it")

    def check_recording(self, what):
        """Raises JobFailed, saying `what` of it, if the recording is not the one that was planned."""
        try:
            now = stamp(os.stat(self.recording))
        except OSError as error:
            raise JobFailed(f"could not find the recording: {reason(error)}") from error
        if now != (self.entry["size"], self.entry["changed"]):
            raise JobFailed(f"the recording {what}")

    def make_private_folder(self):
        try:
            for _ in range(10):
                # The job of another piece, which ends just now, may remove the folder above as empty.
                with contextlib.suppress(FileNotFoundError):
                    os.makedirs(self.private)
                    return
            os.makedirs(self.private)
        except OSError as error:
            place = os.path.dirname(self.entry["movie"]) or "."
            raise JobFailed(f"could not write into the movie's folder {place}: {reason(error)}") from error

    def produce(self):
        """Makes the movie in the private folder; returns its count of frames."""
        if pieces.of(self.entry):
            return self.join()
        self.run_program([self.task["converter"], *self.task["options"], "--output-root", self.private,
                          converter.path_argument(self.recording)])
        return converter.frames_in(self.lines)

    def join(self):
        """Makes the movie of its pieces; returns its count of frames."""
        self.piece_marks = pieces.all_made(self.store, self.task)
        try:
            self.run_program(pieces.join_command(self.store, self.entry, self.task["options"], self.recording,
                                                 self.private))
        except ProgramFailed as error:
            if pieces.drop_suspects(self.store, self.entry, str(error), (self.recording, self.private)):
                raise JobFailed(f"{error}; the next run makes the pieces again") from error
            raise
        frames = converter.frames_in(self.lines)
        return sum(mark["frames"] for mark in self.piece_marks) if frames is None else frames

    def run_program(self, words):
        """Runs a program, keeps what it prints in the log and raises JobFailed with its message."""
        self.stop.check()
        with open(self.store.log(self.task["id"]), "w", encoding="utf-8", errors="replace") as log:
            try:
                process = system.start(words, stdin=subprocess.DEVNULL, stdout=subprocess.PIPE,
                                       stderr=subprocess.STDOUT)
            except OSError as error:
                raise JobFailed(f"could not start {words[0]}: {reason(error)}") from error
            self.stop.processes.add(process)
            try:
                if self.stop.asked:
                    raise Interrupted()
                for line in process.stdout:
                    self.take_line(line.decode("utf-8", "replace").rstrip("\r\n"), log)
                status = process.wait()
            finally:
                system.stop(process)
                process.stdout.close()
                self.stop.processes.discard(process)
        self.stop.check()
        if status != 0:
            raise ProgramFailed(converter.failure(status, self.lines))

    def take_line(self, line, log):
        """Keeps a line that the program printed, in memory only so many."""
        if line.startswith("  progress_percent:"):
            return
        if len(self.lines) < 2000 or line.startswith(("Error: ", "  encoded_frames:")):
            self.lines.append(line)
        with contextlib.suppress(OSError):
            log.write(line + "\n")

    def made_file(self):
        """The one movie in the private folder, which must have the name that was planned."""
        # Network file systems keep a removed file that is still open under a hidden name.
        made = [name for name in os.listdir(self.private) if not name.startswith(".")]
        if made != [os.path.basename(self.movie)]:
            raise JobFailed("the converter made " + (" and ".join(sorted(made)) or "no movie") +
                            f" where {os.path.basename(self.movie)} was expected")
        return os.path.join(self.private, made[0])

    def figures(self, made, frames, seconds):
        """What the done mark tells of the movie, whose job took so many seconds; the time of all jobs is `seconds`."""
        status = os.stat(made)
        of_pieces = {"join_seconds": round(seconds, 3), "pieces": len(self.piece_marks)} if self.piece_marks else {}
        seconds += sum(mark["seconds"] for mark in self.piece_marks)
        return {"key": self.key, "recording": self.entry["recording"], "movie": self.entry["movie"],
                "options": self.task["options"], "seconds": round(seconds, 3), "frames": frames,
                "bytes": status.st_size, "movie_stamp": list(stamp(status)), "work": self.task.get("work"),
                "node": system.node_name(), "job": self.job, "program": self.task["version"],
                "finished": time.strftime("%Y-%m-%dT%H:%M:%SZ", time.gmtime()), **of_pieces}
