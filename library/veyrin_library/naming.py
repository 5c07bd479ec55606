"""The converter's own rule for the names of movies, needed to know them all without running it for each recording.

Each job compares the name that the converter really gave.
"""

import os

from .converter import option_value

PADDING = {"none": "", "4x3": "_pad4x3", "16x9": "_pad16x9"}


def stem(file_name):
    """The name without its extension; what follows a colon does not count either."""
    name = file_name.split(":", 1)[0]
    dot = name.rfind(".")
    return name if dot <= 0 or name == ".." else name[:dot]


def movie_name(file_name, options, hdr):
    """The movie's file name. `hdr` matters for spatial movies only."""
    name = stem(file_name) + PADDING.get(option_value(options, "--sbs-aspect-ratio-padding", "none"), "")
    extension = ".mov" if option_value(options, "--sbs-codec", "hevc") == "prores" else ".mp4"
    packing = "_HALF_SBS_LR" if option_value(options, "--sbs-mode", "full") == "half" else "_FULL_SBS_LR"
    kind = option_value(options, "--output-format", "sbs")
    if kind == "spatial":
        return f"{name}{packing}_mv_hevc_spatial_{'hdr' if hdr else 'sdr'}.mov"
    if kind == "mono":
        return f"{name}_MONO_{'LEFT' if option_value(options, '--mono-eye') == 'left' else 'RIGHT'}{extension}"
    return name + packing + extension


def movie_path(recording, options, hdr):
    """The movie's path below the movies' folder, for a recording's path below the recordings' folder; with slashes."""
    folder, name = os.path.split(recording)
    return "/".join(part for part in (folder, movie_name(name, options, hdr)) if part)
