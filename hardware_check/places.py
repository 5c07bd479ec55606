"""Where the checks, the converter and its companions are: in the repository or in the Windows package."""

import os
import shutil
import subprocess
import sys
from pathlib import Path

HERE = Path(__file__).resolve().parent
TOP = HERE.parent
# The package has all modules in one folder.
CHECKS = [HERE / "checks"] if (HERE / "checks").is_dir() else [TOP / "tests" / "end_to_end",
                                                              TOP / "tests" / "two_view_encoder"]
SUFFIX = ".exe" if os.name == "nt" else ""
OLDEST_FFMPEG = (5, 1)
FFMPEG_PACKAGE = ("the package Gyan.FFmpeg (winget install Gyan.FFmpeg)" if os.name == "nt" else
                  "your system's package ffmpeg")


class Unusable(Exception):
    """Something is missing without which nothing can be checked."""


def use_checks():
    """Makes the modules of the checks importable. They are made of assertions."""
    if not __debug__:
        raise Unusable("python must not run with -O, which removes the checks")
    sys.dont_write_bytecode = True
    sys.path[1:1] = [str(folder) for folder in CHECKS]


def default_program():
    """The converter of the package, or of the release build."""
    name = "veyrin-video-converter" + SUFFIX
    places = [TOP / name, TOP / "build" / "release" / "bin" / name]
    return next((place for place in places if place.exists()), places[-1])


def source():
    """The commit of the repository, or that there is none."""
    if not (TOP / ".git").exists():
        return "package"
    try:
        done = subprocess.run(["git", "-C", str(TOP), "rev-parse", "--short=12", "HEAD"], capture_output=True, text=True,
                              check=False)
    except OSError:
        return "unknown commit"
    return done.stdout.strip() or "unknown commit"


def companion(program, name):
    """The path of a program that comes with the converter."""
    path = program.parent / (name + SUFFIX)
    if not path.exists():
        raise Unusable(f"{name} is not beside the converter in {program.parent}")
    return path


def ffmpeg_version():
    """First line of `ffmpeg -version`. The checks read movies with the ffmpeg and ffprobe in the search path."""
    for name in ("ffmpeg", "ffprobe"):
        if shutil.which(name) is None:
            raise Unusable(f"{name} was not found; install {FFMPEG_PACKAGE} and start again in a new terminal")
    line = subprocess.run(["ffmpeg", "-version"], capture_output=True, text=True, errors="replace", check=False).stdout
    line = line.splitlines()[0] if line else "no version"
    # Builds from the development branch have no number and are new enough.
    number = line.removeprefix("ffmpeg version ").split("-")[0].removeprefix("n").split(".")
    if len(number) > 1 and all(part.isdigit() for part in number[:2]) and tuple(map(int, number[:2])) < OLDEST_FFMPEG:
        raise Unusable(f"ffmpeg is older than {'.'.join(map(str, OLDEST_FFMPEG))}; install a newer {FFMPEG_PACKAGE}")
    return line.split(" Copyright")[0]


def recording_encoder(program):
    """An ffmpeg program that encodes sample recordings, which takes libx264 and libx265."""
    candidates = [program.parent / ("ffmpeg-gpl" + SUFFIX), Path(shutil.which("ffmpeg") or "ffmpeg")]
    for candidate in candidates:
        try:
            listed = subprocess.run([str(candidate), "-hide_banner", "-encoders"], capture_output=True, check=False).stdout
        except OSError:
            continue
        if b" libx264 " in listed and b" libx265 " in listed:
            return candidate
    raise Unusable(f"no ffmpeg with libx264 and libx265, which make the sample recording; install {FFMPEG_PACKAGE}")
