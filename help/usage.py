"""Reads the usage text, which is the one source of what the options are called and take.

The program prints it for --help; the manual page and the completions are made from what is read here.
"""

from dataclasses import dataclass

DESCRIPTION_COLUMN = 28


class UsageError(Exception):
    """The text has another form than app/option_table.cpp gives it."""


@dataclass(frozen=True)
class Entry:
    """An option, or the command check-support."""

    names: tuple       # all spellings, the short one first if there is one
    value: str         # what the usage text shows for the value; empty for a flag
    description: str

    @property
    def name(self):
        """The long spelling."""
        return self.names[-1]

    @property
    def words(self):
        """The values that the option can have; none when it takes any."""
        return tuple(self.value.split("|")) if "|" in self.value else ()


@dataclass(frozen=True)
class Usage:
    synopsis: tuple     # command lines without the word before them
    summary: str        # one sentence
    command: Entry      # check-support
    check_only: tuple   # entries of options that belong to the command
    options: tuple      # entries of all other options

    def all_options(self):
        return self.check_only + self.options


def split_names(heading):
    """The spellings and the value of "-h, --help" or "--start SECONDS"."""
    words = heading.split(" ")
    names = [words.pop(0)]
    while names[-1].endswith(","):
        names[-1] = names[-1].removesuffix(",")
        names.append(words.pop(0))
    if len(words) > 1:
        raise UsageError(f"more than one value: {heading}")
    return tuple(names), "".join(words)


def read_entry(lines):
    """Takes the lines of one entry from the front of the list."""
    line = lines.pop(0)
    heading, description = line[:DESCRIPTION_COLUMN], line[DESCRIPTION_COLUMN:]
    if not description or heading[-1] != " ":
        # The heading has a line of its own.
        heading = line
        if not lines or lines[0][:DESCRIPTION_COLUMN].strip():
            raise UsageError(f"no description: {line}")
        description = lines.pop(0)[DESCRIPTION_COLUMN:]
    if not heading.startswith("  ") or heading[2] == " " or not description or description[0] == " ":
        raise UsageError(f"no entry: {line}")
    names, value = split_names(heading.strip())
    return Entry(names, value, description)


def read_entries(block):
    lines, entries = block.split("\n"), []
    while lines:
        entries.append(read_entry(lines))
    return entries


def read_usage(text):
    """The usage text taken apart."""
    blocks = text.removesuffix("\n").split("\n\n")
    if len(blocks) != 4 or not blocks[0].startswith("Usage: "):
        raise UsageError("not the usage text of veyrin-video-converter")
    synopsis = tuple(line.removeprefix("Usage:").strip() for line in blocks[0].split("\n"))
    command, *check_only = read_entries(blocks[2])
    options = read_entries(blocks[3])
    if command.name.startswith("-") or not all(entry.name.startswith("--") for entry in check_only + options):
        raise UsageError("the command or an option is not where it was")
    return Usage(synopsis, blocks[1], command, tuple(check_only), tuple(options))
