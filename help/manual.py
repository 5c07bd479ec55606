"""The manual page: the hand-written part in manual.in with the options of the usage text."""

import re
from pathlib import Path

TEMPLATE = Path(__file__).with_name("manual.in")


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
    words = [rf"\fB{escape(word)}\fR" for word in entry.words] or [rf"\fI{escape(entry.value)}\fR"]
    return f"{names} " + "|".join(words)


def paragraphs(entries):
    return "\n".join(f".TP\n{heading(entry)}\n{sentence(entry.description)}" for entry in entries)


def synopsis(usage):
    lines = []
    for line in usage.synopsis:
        program, *rest = line.split(" ")
        rest = [word if word.startswith("[") else rf"\fI{escape(word).removesuffix('...')}\fR" + "..." * word.endswith("...")
                if word.isupper() or word.endswith("...") else rf"\fB{escape(word)}\fR" for word in rest]
        lines.append(rf"\fB{escape(program)}\fR {' '.join(rest)}")
    return "\n.br\n".join(lines)


def manual_page(usage, version):
    """The page as roff; reads the template. KeyError when the template asks for something unknown."""
    parts = {
        "VERSION": escape(version),
        "SYNOPSIS": synopsis(usage),
        "SUMMARY": escape(usage.summary),
        "OPTIONS": paragraphs(usage.options),
        "CHECK_SUPPORT": sentence(usage.command.description),
        "CHECK_OPTIONS": paragraphs(usage.check_only),
    }
    return re.sub(r"@([A-Z_]+)@", lambda match: parts[match.group(1)], TEMPLATE.read_text(encoding="utf-8"))
