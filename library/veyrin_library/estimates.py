"""How long recordings take and what their jobs need, from what was measured."""

from . import texts
from .converter import option_value

# Million pixels of both eyes a second on one machine of two cores; only until the library has movies of its own.
DEFAULT_RATES = {"hevc": 8.0, "h264": 15.0, "prores": 20.0, "spatial": 5.0}
# Bytes of a recording converted in a second when its headers do not tell its size.
DEFAULT_BYTES = 1_000_000
JOB_SECONDS = 0.5
PRORES_BITS_PER_PIXEL = 2.4

# Up to how many pixels an eye has, the memory of its job in MB; library/README.md has the table.
MEMORY = ((1300 * 1300, 1500), (2000 * 2000, 3500), (3000 * 3000, 7000), (4200 * 4200, 14000))
MEMORY_BEYOND = 24000


def kind_of(options):
    """What is encoded: the codec, or "spatial"."""
    if option_value(options, "--output-format") == "spatial":
        return "spatial"
    return option_value(options, "--sbs-codec", "hevc")


def seconds_option(options, name):
    """The option's value in seconds, or None."""
    try:
        return float(option_value(options, name))
    except (TypeError, ValueError):
        return None


def shown_seconds(entry, options):
    """How much of a recording its movie shows; None when the headers do not tell."""
    if "seconds" not in entry["header"]:
        return None
    rest = max(0.0, entry["header"]["seconds"] - (seconds_option(options, "--start") or 0.0))
    duration = seconds_option(options, "--duration")
    return rest if duration is None else min(rest, duration)


def work_of(entry, options):
    """The pixels of both eyes over all frames that are shown; None when the headers do not tell."""
    header = entry["header"]
    pixels = 2 * header.get("width", 0) * header.get("height", 0) * header.get("frames", 0)
    return round(pixels * shown_seconds(entry, options) / header["seconds"]) if pixels and header["seconds"] else None


class Rate:
    """Pixels a second, from the done marks of the same options or from the stated default."""

    def __init__(self, options, marks):
        fitting = [mark for mark in marks if mark and mark.get("work") and mark.get("options") == options]
        # Joining pieces is no conversion.
        times = [mark["seconds"] - mark.get("join_seconds", 0) for mark in fitting]
        pairs = [(mark["work"], max(time - JOB_SECONDS, time / 2)) for mark, time in zip(fitting, times)]
        self.options = options
        self.movies = len(pairs)
        self.rate = DEFAULT_RATES.get(kind_of(options), DEFAULT_RATES["hevc"]) * 1e6
        if pairs:
            self.rate = sum(work for work, _ in pairs) / max(1e-3, sum(seconds for _, seconds in pairs))

    def seconds(self, entry):
        """How long the job of a recording takes, roughly."""
        work = work_of(entry, self.options)
        return JOB_SECONDS + (work / self.rate if work else entry["size"] / DEFAULT_BYTES)

    def origin(self):
        """Says where the rate comes from."""
        if self.movies:
            return f"measured on {texts.count(self.movies, 'movie')} of this library"
        return "a guess until the first movies are there"


def movie_bytes(entry, options):
    """The size of the movie, by its bit rate; None when the headers do not tell."""
    header = entry["header"]
    if kind_of(options) == "prores":
        work = work_of(entry, options)
        return work and work * PRORES_BITS_PER_PIXEL / 8
    name, default = ("--hdr-bitrate", "90M") if header.get("hdr") else ("--sdr-bitrate", "55M")
    text = option_value(options, name, default)
    scale = {"k": 1e3, "m": 1e6, "g": 1e9}.get(text[-1:].lower())
    try:
        rate = float(text[:-1]) * scale if scale else float(text)
    except ValueError:
        return None
    seconds = shown_seconds(entry, options)
    return None if seconds is None else seconds * rate / 8


def memory_mb(entry):
    """What a recording's job may use, in MB."""
    pixels = entry["header"].get("width", 0) * entry["header"].get("height", 0)
    return next((memory for most, memory in MEMORY if pixels <= most), MEMORY_BEYOND)


def minutes_limit(seconds):
    """The time limit of a job: four times what is expected, because nodes differ, and an hour at least."""
    return max(60, int(seconds * 4 / 60) + 1)
