"""The converter's command line: where the program is, which options a library may pass on, what it reports."""

import hashlib
import os
import re
import shutil
import subprocess
from pathlib import Path

from . import system
from .errors import LibraryError, reason

NAME = "veyrin-video-converter"

# Options by what follows them. What a newer converter knows besides is passed on for the converter to judge.
WITH_VALUE = {"--sdr-bitrate", "--hdr-bitrate", "--eye-width", "--eye-height", "--output-fps", "--start", "--duration",
              "--output-format", "--mono-eye", "--sbs-codec", "--sbs-mode", "--sbs-aspect-ratio-padding",
              "--sbs-spatial-metadata"}
WITHOUT_VALUE = {"--software"}

REFUSED = {
    "--output": "the library names the movies itself",
    "--output-root": "the movies' folder is the second argument of plan",
    "--overwrite": "give --overwrite to run",
    "--dry-run": "plan converts nothing anyway",
    "--inspect": "page shows what is in the recordings",
    "--thumbnail": "page makes the previews",
    "--thumbnail-width": "page makes the previews",
    "--input-width": "it is for check-support only",
    "--input-height": "it is for check-support only",
    "--input-bit-depth": "it is for check-support only",
}

NO_INPUT = "at least one input is required"
FRAMES = re.compile(r"^  encoded_frames: (\d+)$")
FACT = re.compile(r"^  ([a-z_]+): (.*)$")


def find_program(name, variable):
    """The program's path: from the environment, beside these files, from the build, or from PATH."""
    named = os.environ.get(variable)
    if named:
        found = shutil.which(named)
        if not found:
            raise LibraryError(f"{variable} names no program: {named}")
        return os.path.abspath(found)
    here = Path(__file__).resolve().parents[1]
    for folder in (here, here.parent, here.parent / "bin", here.parent / "build" / "release" / "bin"):
        found = shutil.which(name, path=str(folder))
        if found:
            return os.path.abspath(found)
    found = shutil.which(name)
    if found:
        return os.path.abspath(found)
    raise LibraryError(f"could not find {name}: put it into PATH or name it in {variable}")


def find_converter():
    return find_program(NAME, "VEYRIN_CONVERTER")


def check_options(words):
    """The options as words in a fixed order, each once; raises LibraryError for what a library cannot pass on.

    The order is fixed so that the same options in another order are the same conversion.
    """
    chosen = {}
    words = list(words)
    while words:
        word = words.pop(0)
        if word in REFUSED:
            raise LibraryError(f"{word} cannot be used for a library: {REFUSED[word]}")
        if word in WITH_VALUE:
            if not words:
                raise LibraryError(f"{word} requires a value")
            chosen[word] = [words.pop(0)]
        elif word in WITHOUT_VALUE:
            chosen[word] = []
        elif word.startswith("-"):
            values = []
            while words and not words[0].startswith("-"):
                values.append(words.pop(0))
            chosen[word] = values
        else:
            raise LibraryError(f"one folder of recordings and one of movies are expected, not also: {word}")
    return [word for name in sorted(chosen) for word in (name, *chosen[name])]


def option_value(options, name, default=None):
    """The word behind an option in the words of `check_options`."""
    return options[options.index(name) + 1] if name in options else default


def validate(program, options):
    """Asks the converter itself whether it takes the options; raises LibraryError with its message."""
    status, lines = run(program, [*options, "--dry-run"])
    message = error_message(lines)
    if message != NO_INPUT:
        raise LibraryError(message or f"{program} ended with status {status} and no message")


def run(program, arguments, seconds=120):
    """Runs the converter for a short question; gives its status and the lines that it prints."""
    try:
        done = subprocess.run([program, *arguments], stdin=subprocess.DEVNULL, stdout=subprocess.PIPE,
                              stderr=subprocess.STDOUT, timeout=seconds, check=False)
    except (OSError, subprocess.TimeoutExpired) as error:
        raise LibraryError(f"could not run {program}: {reason(error)}") from error
    return done.returncode, done.stdout.decode("utf-8", "replace").splitlines()


def error_message(lines):
    """The text of the converter's last error line, or None."""
    for line in reversed(lines):
        if line.startswith("Error: "):
            return line[len("Error: "):]
    return None


def failure(status, lines):
    """One message for a conversion that failed."""
    message = error_message(lines)
    if message:
        return message
    if status < 0:
        return f"the converter was ended by signal {-status}"
    return f"the converter ended with status {status} and no message"


def frames_in(lines):
    """How many frames were encoded, by the last line that tells."""
    counts = [match.group(1) for match in map(FRAMES.match, lines) if match]
    return int(counts[-1]) if counts else None


def facts_in(lines):
    """The converter's report about one recording by the names that it uses itself."""
    return {match.group(1): match.group(2) for match in map(FACT.match, lines) if match}


def version(program):
    """Tells one build of the converter from another: it has no version of its own to ask for."""
    with open(program, "rb") as file:
        return f"{NAME} {hashlib.sha256(file.read()).hexdigest()[:12]}"


def path_argument(path):
    """A path as an argument that is never taken for an option."""
    text = os.path.abspath(path)
    # The Windows shell's limits do not hold for the prefix of long paths.
    return "\\\\?\\" + text if system.WINDOWS and len(text) > 240 and not text.startswith("\\\\") else text
