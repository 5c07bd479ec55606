"""A library in a test: recordings, the command line, and what must hold after any run."""

import contextlib
import hashlib
import json
import os
import re
import shutil
import subprocess
import sys
import time
from pathlib import Path

REPOSITORY = Path(__file__).resolve().parents[2]
PROGRAM = REPOSITORY / "library" / "veyrin-library"

# A program that, where a movie of a recording with "slow" in its name is asked for, leaves a half one behind and waits
# until it may go on.
SLOW_PROGRAM = """\
#!/bin/bash
root=
for ((i = 1; i < $#; ++i)); do
  j=$((i + 1))
  case ${!i} in
    --output-root) root=${!j} ;;
    --output) root=$(dirname "${!j}") ;;
  esac
done
if [ -n "$root" ] && [[ $* == *slow* ]] && [ "$VEYRIN_TEST_SLOW" = {variable} ]; then
  echo half > "$root/half.tmp"
  echo "$$" >> "$VEYRIN_TEST_HOLD.seen"
  while [ -e "$VEYRIN_TEST_HOLD" ]; do sleep 0.05; done
  rm -f "$root/half.tmp"
fi
exec "{program}" "$@"
"""


class Library:
    def __init__(self, folder, converter, recordings="recordings", movies="movies", environment=None):
        self.folder = Path(folder)
        self.recordings, self.movies = self.folder / recordings, self.folder / movies
        self.recordings.mkdir(parents=True, exist_ok=True)
        self.state = self.movies / ".veyrin-library"
        self.converter = converter
        self.environment = {**(environment or os.environ), "VEYRIN_CONVERTER": str(converter),
                            "XDG_STATE_HOME": str(self.folder / "state"), "PYTHONDONTWRITEBYTECODE": "1"}
        self.hold = self.folder / "hold"
        self.start = [str(PROGRAM)]

    def add(self, source, *names):
        for name in names:
            path = self.recordings / name
            path.parent.mkdir(parents=True, exist_ok=True)
            shutil.copyfile(source, path)

    def command(self, *words):
        return [sys.executable, *self.start, *map(str, words)]

    def call(self, *words, status=0, **settings):
        """Runs a command, checks its exit status and returns what it printed."""
        done = subprocess.run(self.command(*words), env=self.environment, stdout=subprocess.PIPE,
                              stderr=subprocess.STDOUT, text=True, errors="replace", timeout=150, check=False,
                              cwd=self.folder, **settings)
        assert done.returncode == status, f"status {done.returncode}\n{done.stdout}\n{self.snakemake_log()}"
        return done.stdout

    def plan(self, *options, status=0, settle="0"):
        return self.call("plan", "--settle", settle, self.recordings, self.movies, *options, status=status)

    def run(self, *options, status=0):
        return self.call("run", "--movies", self.movies, *options, status=status)

    def use_batches(self, most):
        """From now on Snakemake gets at most so many tasks at a time."""
        self.start = ["-c", "import sys\nfrom veyrin_library import command_line, snakemake_runner\n"
                      f"snakemake_runner.BATCH = {most}\nsys.exit(command_line.main(sys.argv[1:]))"]
        self.environment["PYTHONPATH"] = str(PROGRAM.parent)

    def begin(self, *options):
        """Starts a run and returns at once."""
        return subprocess.Popen(self.command("run", "--movies", self.movies, *options), env=self.environment,
                                stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True, start_new_session=True)

    def snakemake_log(self):
        log = self.state / "logs" / "snakemake.log"
        return log.read_text(encoding="utf-8", errors="replace") if log.exists() else ""

    def make_slow(self, program="VEYRIN_CONVERTER"):
        """Lets the program that this variable names wait with slow recordings until `let_go`, and no other."""
        programs = {"VEYRIN_CONVERTER": self.converter, "VEYRIN_JOIN": self.converter.with_name("veyrin-join")}
        wrapper = self.folder / f"slow-{program}"
        text = SLOW_PROGRAM.replace("{program}", str(programs[program])).replace("{variable}", program)
        wrapper.write_text(text, encoding="ascii")
        wrapper.chmod(0o755)
        self.hold.touch()
        # One that was slow before stays in its place: another converter would make all pieces again.
        self.environment |= {program: str(wrapper), "VEYRIN_TEST_SLOW": program, "VEYRIN_TEST_HOLD": str(self.hold)}

    def let_go(self):
        self.hold.unlink()

    def waiting_converters(self):
        seen = Path(f"{self.hold}.seen")
        return seen.read_text(encoding="ascii").split() if seen.exists() else []

    def wait_for_converters(self, count, seconds=30):
        wait_until(lambda: len(self.waiting_converters()) >= count, seconds)

    def made(self):
        """The movies by their paths below the movies' folder, with digests of their contents."""
        return {str(path.relative_to(self.movies)): hashlib.sha256(path.read_bytes()).hexdigest()
                for path in self.movies.rglob("*") if path.is_file() and self.state not in path.parents}

    def journal(self, *kinds):
        events = []
        for file in sorted((self.state / "journal").glob("*.jsonl")):
            events += [json.loads(line) for line in file.read_text(encoding="ascii").splitlines()]
        return [event for event in events if event["event"] in kinds] if kinds else events

    def entries(self):
        return json.loads((self.state / "plan.json").read_text(encoding="ascii"))["entries"]

    def key(self, recording):
        return next(entry["key"] for entry in self.entries() if entry["recording"] == recording)

    def done_marks(self):
        return {path.stem: json.loads(path.read_text(encoding="ascii"))
                for path in (self.state / "done").glob("*.json")}

    def leftovers(self):
        """Whatever a job may have left behind anywhere."""
        found = [path for path in self.movies.rglob("*") if path.name.startswith(".veyrin-") and path != self.state]
        found += [path for path in self.state.rglob("*") if re.search(r"\.(part|new)$", path.name)]
        return found + list((self.state / "pending").iterdir())

    def check_all_done(self, count):
        """Every movie is there, was completed once, and nothing else is left."""
        keys = sorted(entry["key"] for entry in self.entries())
        assert len(keys) == count
        assert sorted(event["key"] for event in self.journal("completed")) == keys
        assert sorted(self.done_marks()) == keys
        assert sorted(self.made()) == sorted(entry["movie"] for entry in self.entries())
        assert self.leftovers() == []
        assert list((self.state / "failed").iterdir()) == []


def processes_with(*words):
    """The processes that have these words, one after the other, in their command lines."""
    wanted, found = "\0".join(words).encode(), []
    for folder in Path("/proc").glob("[0-9]*"):
        with contextlib.suppress(OSError):
            if b"\0" + wanted + b"\0" in b"\0" + (folder / "cmdline").read_bytes():
                found.append(int(folder.name))
    return found


def wait_until(condition, seconds=30):
    end = time.monotonic() + seconds
    while not condition():
        assert time.monotonic() < end, "waited in vain"
        time.sleep(0.05)
