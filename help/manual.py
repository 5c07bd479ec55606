"""The manual pages: the hand-written part in PROGRAM.1.in with the options of the usage text."""

import re
from pathlib import Path

TEMPLATES = Path(__file__).resolve().parent


def escape(text):
    """Plain text as roff prints it letter by letter; hyphens become those that can be copied into a shell."""
    escaped = text.replace("\\", r"\e").replace("-", r"\-")
    return re.sub(r"^(?=[.'])", r"\\&", escaped)


def sentence(text):
    """A description, which has no full stop, as a sentence of its own."""
    return escape(text[:1].upper() + text[1:]) + "."


def heading(entry):
    """The spellings in bold, then the value: words in bold, a placeholder in italics."""
    names = ", ".join(rf"\fB{escape(name)}\fR" for name in entry.names)
    if not entry.value:
        return names
    pieces = entry.value.split("|")
    return f"{names} " + "|".join(rf"\f{'B' if piece in entry.words else 'I'}{escape(piece)}\fR" for piece in pieces)


def paragraphs(entries):
    return "\n".join(f".TP\n{heading(entry)}\n{sentence(entry.description)}" for entry in entries)


def synopsis(usage):
    lines = []
    for line in usage.synopsis:
        program, *rest = line.split(" ")
        rest = [escape(word) if word.startswith("[") or word.endswith("]") else
                rf"\fI{escape(word).removesuffix('...')}\fR" + "..." * word.endswith("...")
                if word.isupper() or word.endswith("...") else rf"\fB{escape(word)}\fR" for word in rest]
        lines.append(rf"\fB{escape(program)}\fR {' '.join(rest)}")
    return "\n.br\n".join(lines)


def command_parts(usage):
    """For each command what it does and its own options, as NAME and NAME_OPTIONS."""
    parts = {}
    for command in usage.commands:
        name = command.entry.name.upper().replace("-", "_")
        parts[name] = sentence(command.entry.description)
        parts[f"{name}_OPTIONS"] = paragraphs(usage.options_of(command))
    return parts


def manual_page(usage, version):
    """The page as roff; reads the template. KeyError when the template asks for something unknown."""
    parts = {
        "VERSION": escape(version),
        "SYNOPSIS": synopsis(usage),
        "SUMMARY": escape(usage.summary),
        "OPTIONS": paragraphs(usage.options),
        **command_parts(usage),
    }
    template = (TEMPLATES / f"{usage.program}.1.in").read_text(encoding="utf-8")
    return re.sub(r"@([A-Z_]+)@", lambda match: parts[match.group(1)], template)
