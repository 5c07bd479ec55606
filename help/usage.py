"""What a program's options are called and take, read from the usage text that it prints for --help.

That text is the one source: the manual page and the completions are made from what is read here. The usage text of
veyrin-library is read in library_usage.py.
"""

from dataclasses import dataclass

DESCRIPTION_COLUMN = 28
CONVERTER, JOINER = "veyrin-video-converter", "veyrin-join"


class UsageError(Exception):
    """The text has another form than the programs give it."""


@dataclass(frozen=True)
class Entry:
    """An option, or a command such as check-support."""

    names: tuple       # all spellings, the short one first if there is one
    value: str         # what the usage text shows for the value; empty for a flag
    description: str

    @property
    def name(self):
        """The long spelling."""
        return self.names[-1]

    @property
    def words(self):
        """The words that the option takes; none when it has no list of them."""
        return tuple(word for word in self.value.split("|") if not word.isupper()) if "|" in self.value else ()


@dataclass(frozen=True)
class Command:
    entry: Entry
    options: tuple      # all that may follow it
    inputs: str         # as Usage.inputs
    passed_on: tuple = ()   # options of another program, for which it takes them

    def all_options(self):
        return self.options + self.passed_on


@dataclass(frozen=True)
class Usage:
    program: str
    synopsis: tuple     # command lines without the word before them
    summary: str        # sentences
    options: tuple      # without those that only a command has
    inputs: str         # what else is on the command line: "recordings", "folders" or nothing
    commands: tuple = ()

    def options_of(self, command):
        """Those that only the command has."""
        return tuple(entry for entry in command.options if entry not in self.options)

    def all_options(self):
        """One for each name, those of commands first."""
        found = [entry for command in self.commands for entry in self.options_of(command) + command.passed_on]
        return tuple({entry.name: entry for entry in [*found, *self.options]}.values())


def split_names(heading):
    """The spellings and the value of "-h, --help" or "--start SECONDS"."""
    words = heading.split(" ")
    names = [words.pop(0)]
    while names[-1].endswith(","):
        names[-1] = names[-1].removesuffix(",")
        names.append(words.pop(0))
    if len(words) > 1:
        raise UsageError(f"more than one value: {heading}")
    return tuple(sorted(names, key=len)), "".join(words)


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


def checked_options(entries):
    """A tuple of what must be options, all of them."""
    if not all(entry.name.startswith("--") for entry in entries):
        raise UsageError("the command or an option is not where it was")
    return tuple(entries)


def read_usage(text):
    """The usage text of the converter or the joiner taken apart: command lines, summary, then blocks of options. The
    converter's first block is its command with the options that only belong to it."""
    lines, summary, *blocks = text.removesuffix("\n").split("\n\n") if text.count("\n\n") > 1 else ("", "")
    synopsis = tuple(line.removeprefix("Usage:").strip() for line in lines.split("\n"))
    program = synopsis[0].split(" ")[0]
    if not lines.startswith("Usage: ") or program not in (CONVERTER, JOINER):
        raise UsageError(f"not the usage text of {CONVERTER} or {JOINER}")
    summary = summary.replace("\n", " ")
    if program == JOINER:
        options = checked_options([entry for block in blocks for entry in read_entries(block)])
        return Usage(program, synopsis, summary, options, "recordings")
    if len(blocks) != 2:
        raise UsageError(f"not the usage text of {CONVERTER}")
    command, *check_only = read_entries(blocks[0])
    if command.name.startswith("-"):
        raise UsageError("the command or an option is not where it was")
    options = checked_options(read_entries(blocks[1]))
    return Usage(program, synopsis, summary, options, "recordings",
                 (Command(command, checked_options(check_only) + options, "recordings"),))
