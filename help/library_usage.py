"""What veyrin-library's options are called and take, taken from the parser that also prints its usage text."""

import argparse
import sys
from pathlib import Path

from usage import Command, Entry, Usage

LIBRARY = Path(__file__).resolve().parents[1] / "library"


def option(action):
    value = "" if action.nargs == 0 else action.metavar or action.dest.upper()
    return Entry(tuple(sorted(action.option_strings, key=len)), value, action.help)


def options_of(parser):
    return tuple(option(action) for action in parser._actions if action.option_strings)


def arguments_of(parser):
    """The words behind the options, as in a usage line."""
    found = [action for action in parser._actions if not action.option_strings]
    return [f"[{action.metavar}]" if action.nargs == argparse.REMAINDER else action.metavar for action in found]


def passed_on(converter, refused):
    """The converter's options that a library takes for every recording."""
    return tuple(entry for entry in converter.options if entry.name not in refused and entry.name != "--help")


def read_library_usage(converter):
    """The usage of veyrin-library, whose command plan also takes options of the converter, whose usage is given."""
    sys.path.insert(0, str(LIBRARY))
    from veyrin_library import command_line
    from veyrin_library.converter import REFUSED

    top = command_line.parser()
    parsers = next(action for action in top._actions if isinstance(action, argparse._SubParsersAction))
    synopsis, commands = [], []
    # Commands that are not described are not for users.
    for entry in parsers._choices_actions:
        parser, name = parsers.choices[entry.dest], entry.dest
        arguments = arguments_of(parser)
        synopsis.append(" ".join([top.prog, name, "[options]", *arguments]))
        commands.append(Command(Entry((name,), "", entry.help), options_of(parser), "folders" if arguments else "",
                                passed_on(converter, REFUSED) if name == "plan" else ()))
    return Usage(top.prog, tuple(synopsis), top.description, options_of(top), "", tuple(commands))
