"""The recordings that are converted: made once, then kept in the cache."""

import hashlib
import os
import tempfile
from pathlib import Path

from programs import BIN, run, say

# Raised when make_recording makes other recordings from the same options.
EDITION = 1


def cache_folder():
    return Path(os.environ.get("XDG_CACHE_HOME") or Path.home() / ".cache") / "veyrin" / "bench"


def recording(name, *options, folder=None, maker=BIN / "make_recording"):
    """The path of the recording with these options of make_recording."""
    folder = folder or cache_folder()
    words = [str(word) for word in options]
    digest = hashlib.sha256("\0".join([str(EDITION), *words]).encode()).hexdigest()[:12]
    path = folder / f"{name}-{digest}.mp4"
    if path.exists():
        return path
    say(f"making a recording, once: {name}")
    folder.mkdir(parents=True, exist_ok=True)
    # Beside its place and renamed once complete: half a recording never has the name.
    with tempfile.TemporaryDirectory(dir=folder) as unfinished:
        made = Path(unfinished) / path.name
        run([maker, *words, made])
        made.rename(path)
    return path
