"""What bash, zsh and fish offer, asked of the shells themselves."""

import os
import pty
import re
import select
import shutil
import subprocess
import sys
import time
from pathlib import Path

import pytest

from conftest import REPOSITORY

sys.path.insert(0, str(REPOSITORY / "library"))

from veyrin_library import converter  # noqa: E402

TESTS = Path(__file__).resolve().parent
PROGRAM = "veyrin-video-converter"


class Shell:
    """Answers what one shell offers at the end of command lines."""

    def __init__(self, name, help_files, program=PROGRAM):
        self.name = name
        self.help_files = help_files
        self.program = program
        self.file = help_files / {"bash": f"share/bash-completion/completions/{program}",
                                  "zsh": f"share/zsh/vendor-completions/_{program}",
                                  "fish": f"share/fish/vendor_completions.d/{program}.fish"}[name]
        assert self.file.is_file()

    def of(self, program):
        return Shell(self.name, self.help_files, program)

    def command(self):
        return {"bash": ["bash", "--norc", str(TESTS / "bash_candidates.bash"), str(self.file)],
                "zsh": ["zsh", "-f", str(TESTS / "zsh_candidates.zsh"), str(self.file.parent)],
                "fish": ["fish", "--no-config", str(TESTS / "fish_candidates.fish"), str(self.file)]}[self.name]

    def offers(self, lines, folder):
        """The sets of candidates for the command lines, which stand without the program's name."""
        run = subprocess.run(self.command(), input="".join(f"{self.program} {line}\n" for line in lines), cwd=folder,
                             capture_output=True, text=True, timeout=60, check=False)
        assert run.returncode == 0 and not run.stderr, run.stderr
        # zsh shows names as they are to be written.
        blocks = run.stdout.replace("\\ ", " ").split(".\n")
        assert blocks.pop() == "" and len(blocks) == len(lines), run.stdout
        return [{line.rstrip("/") for line in block.splitlines()} for block in blocks]


@pytest.fixture(scope="module", params=["bash", "zsh", "fish"])
def shell(request, help_files):
    if request.param == "fish" and not shutil.which("fish"):
        pytest.skip("fish is not installed")
    return Shell(request.param, help_files)


@pytest.fixture
def folder(tmp_path):
    for name in ("clip.mp4", "LOUD.MP4", "tape.mov", "two words.mp4", "notes.txt"):
        (tmp_path / name).touch()
    (tmp_path / "folder").mkdir()
    return tmp_path


RECORDINGS = {"clip.mp4", "LOUD.MP4", "tape.mov", "two words.mp4", "folder"}


def test_every_option_is_offered_where_it_has_a_meaning(shell, options, folder):
    general = {option.name for option in options if not option.check_only}
    special = {option.name for option in options if option.check_only}
    assert special and general
    plain, checking, late, short = shell.offers(["--", "check-support --", "clip.mp4 check-support --", "-"], folder)
    assert plain == general
    assert checking == general | special
    # Only as the first argument it is the command.
    assert late == general
    assert short - {"-h"} == general and (shell.name != "bash" or "-h" in short)


def test_every_option_is_found_by_its_beginning(shell, options, folder):
    names = [option.name for option in options]
    for name, offered in zip(names, shell.offers([f"check-support {name[:-1]}" for name in names], folder)):
        assert offered == {other for other in names if other.startswith(name[:-1])}, name


def test_every_word_of_an_option_is_offered(shell, options, folder):
    closed = [option for option in options if option.words]
    assert len(closed) == 7
    offered = shell.offers([f"check-support {option.name} " for option in closed], folder)
    for option, words in zip(closed, offered):
        assert words == set(option.words), option.name


def test_words_are_found_by_their_beginning(shell, folder):
    assert shell.offers(["--output-format s", "--sbs-codec h", "--sbs-aspect-ratio-padding 1"], folder) == [
        {"sbs", "spatial"}, {"h264", "hevc"}, {"16x9"}]


def test_paths_are_offered_where_paths_are_taken(shell, options, folder):
    paths = [option.name for option in options if option.value == "PATH"]
    assert paths == ["--output-root", "--output"]
    root, output = shell.offers([f"{name} " for name in paths], folder)
    assert root == {"folder"}
    assert output == RECORDINGS | {"notes.txt"}


def test_nothing_is_offered_for_numbers(shell, options, folder):
    numbers = [option for option in options if option.value and not option.words and option.value != "PATH"]
    assert len(numbers) == 10
    assert shell.offers([f"check-support {option.name} " for option in numbers], folder) == [set()] * len(numbers)


def test_recordings_and_folders_are_offered_as_inputs(shell, folder):
    first, second, begun = shell.offers(["", "--overwrite ", "cl"], folder)
    # fish offers all files.
    inputs = RECORDINGS | {"notes.txt"} if shell.name == "fish" else RECORDINGS
    assert first == inputs | {"check-support"}
    assert second == inputs
    assert begun == {"clip.mp4"}


def test_veyrin_join_is_completed(shell, join_options, folder):
    shell = shell.of("veyrin-join")
    names = {option.name for option in join_options}
    plain, late, begun, minutes, rate, recording, movie, pieces = shell.offers(
        ["--", "clip.mp4 --", "--re", "--cuts ", "--output-fps ", "--recording ", "--output ", "--overwrite "], folder)
    assert plain == late == names
    assert begun == {"--recording"}
    assert minutes == rate == set()
    assert recording == movie == RECORDINGS | {"notes.txt"}
    assert pieces == (RECORDINGS | {"notes.txt"} if shell.name == "fish" else RECORDINGS)


def test_commands_of_veyrin_library_are_offered(shell, library_usage_texts, library_options, folder):
    shell = shell.of("veyrin-library")
    named = re.search(r"^usage: .* (\S+) \.\.\.$", library_usage_texts[""], re.MULTILINE).group(1).split("|")
    first, begun, general = shell.offers(["", "st", "--"], folder)
    assert first == set(named) == set(library_options) - {""}
    assert begun == {"status"}
    assert general == {option.name for option in library_options[""]} == {"--help"}


def test_options_of_veyrin_library_are_those_of_its_command(shell, options, library_options, folder):
    shell = shell.of("veyrin-library")
    commands = [name for name in library_options if name]
    for command, offered in zip(commands, shell.offers([f"{name} --" for name in commands], folder)):
        own = {option.name for option in library_options[command]}
        if command == "plan":
            # The library's own tests compare these with what it takes.
            own |= {option.name for option in options if option.name not in converter.REFUSED}
            assert "--sbs-codec" in own > {"--list"}
        assert offered == own, command


def test_values_of_veyrin_library_are_offered(shell, folder):
    shell = shell.of("veyrin-library")
    movies, number, codec, begun, word = shell.offers(
        ["run --movies ", "run --jobs ", "plan a b --sbs-codec ", "run --profile s", "run --partition "], folder)
    assert movies == {"folder"}
    assert codec == {"h264", "hevc", "prores"}
    assert begun == {"slurm"}
    assert number == word == set()
    profile, = shell.offers(["run --profile "], folder)
    assert profile == {"local", "slurm", "plain", "folder"}


def test_inputs_of_veyrin_library_are_folders(shell, folder):
    plan, second, run, status = shell.of("veyrin-library").offers(["plan ", "plan folder ", "run ", "status cl"], folder)
    assert plan == second == {"folder"}
    assert run == status == set()


def type_into_bash(completion, keys, folder):
    """What an interactive bash makes of keys on a terminal: the line that is then printed by `echo`."""
    process, terminal = pty.fork()
    if process == 0:
        os.chdir(folder)
        os.environ.update(TERM="dumb", PS1="", INPUTRC="/dev/null", HOME=str(folder))
        os.execvp("bash", ["bash", "--norc", "--noprofile", "-i"])
    os.write(terminal, f". '{completion}'; veyrin-video-converter() {{ printf 'got<%s>\\n' \"$*\"; exit; }}\n".encode())
    os.write(terminal, keys.encode() + b"\n")
    seen, deadline = b"", time.monotonic() + 20
    while b"\ngot<" not in seen.replace(b"\r", b"\n") and time.monotonic() < deadline:
        if select.select([terminal], [], [], 0.2)[0]:
            try:
                seen += os.read(terminal, 4096)
            except OSError:
                break
    os.close(terminal)
    os.waitpid(process, 0)
    return seen.decode(errors="replace").replace("\r", "\n").split("\ngot<")[-1].split(">")[0]


@pytest.mark.parametrize("keys, line", [
    ("--output-fo\tsp\tcl\t", "--output-format spatial clip.mp4"),
    ("--start \t3 two\t", "--start 3 two words.mp4"),
    ("--output-root fo\t tape\t", "--output-root folder/ tape.mov"),
    ("check\t--input-b\t1\t", "check-support --input-bit-depth 10"),
    ("~/LO\t", "{home}/LOUD.MP4")])
def test_keys_on_a_terminal_are_completed_by_bash(help_files, folder, keys, line):
    completion = Shell("bash", help_files).file
    assert type_into_bash(completion, f"{PROGRAM} {keys}", folder).rstrip() == line.format(home=folder)
