"""Runs the converter and records what is needed to repeat a run."""

import os
import shlex
import signal
import subprocess
from dataclasses import dataclass
from pathlib import Path


@dataclass
class Run:
    command: list
    folder: Path
    settings: dict
    status: int
    output: str
    errors: str

    @property
    def lines(self):
        return self.output.splitlines()

    def value(self, key):
        """The value of the report line `  key: value`."""
        found = [line for line in self.lines if line.startswith(f"  {key}: ")]
        assert len(found) == 1, f"{len(found)} lines of {key}\n{self}"
        return found[0].split(": ", 1)[1]

    def values(self, key):
        return [line.split(": ", 1)[1] for line in self.lines if line.startswith(f"  {key}: ")]

    @property
    def error(self):
        """The only error message; it may have several lines."""
        starts = [index for index, line in enumerate(self.lines) if line.startswith("Error: ")]
        assert len(starts) == 1, f"{len(starts)} error lines\n{self}"
        return "\n".join(self.lines[starts[0]:])[len("Error: "):]

    def succeeded(self):
        assert self.status == 0, f"the run failed\n{self}"
        assert not [line for line in self.lines if line.startswith("Error: ")], f"an error line\n{self}"
        return self

    def failed(self, message=None):
        """Status 1 and one message; exactly `message` when it is given."""
        assert self.status == 1, f"status {self.status}, expected 1\n{self}"
        if message is not None:
            assert self.error == message, f"expected the message: {message}\n{self}"
        else:
            assert self.error
        return self

    def __str__(self):
        words = [f"{name}={shlex.quote(value)}" for name, value in self.settings.items()]
        words += [shlex.quote(str(word)) for word in self.command]
        return (f"to repeat: cd {shlex.quote(str(self.folder))} && {' '.join(words)}\n"
                f"status: {self.status}\n--- output\n{self.output}--- errors\n{self.errors}")


class Converter:
    def __init__(self, program, prefix):
        self.program = program
        self.prefix = prefix

    def command(self, *arguments):
        return [*self.prefix, str(self.program), *map(str, arguments)]

    @staticmethod
    def environment(settings):
        # Variables of the developer's shell must not affect the tests.
        clean = {name: value for name, value in os.environ.items() if not name.startswith("VEYRIN_")}
        return {**clean, **settings}

    def run(self, *arguments, folder, settings=None, timeout=120, statuses=(0, 1)):
        settings = settings or {}
        command = self.command(*arguments)
        done = subprocess.run(command, cwd=folder, env=self.environment(settings), stdin=subprocess.DEVNULL,
                              stdout=subprocess.PIPE, stderr=subprocess.PIPE, timeout=timeout, check=False)
        run = Run(command, Path(folder), settings, done.returncode, done.stdout.decode(errors="replace"),
                  self.own_errors(done.stderr.decode(errors="replace")))
        assert run.status in statuses, f"status {run.status} {signal_name(run.status)}\n{run}"
        return run

    def own_errors(self, text):
        """Without what the runner says of its own services. A crash of the program shows in its status."""
        lines = text.splitlines(keepends=True)
        return "".join(line for line in lines if not self.prefix or not line.startswith("wine: "))

    def start(self, *arguments, folder, settings=None):
        return subprocess.Popen(self.command(*arguments), cwd=folder, env=self.environment(settings or {}),
                                stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)


def signal_name(status):
    return signal.Signals(-status).name if status < 0 else ""
