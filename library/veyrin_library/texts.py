"""How numbers and names are written for people."""


def count(number, noun):
    """The number with its noun, which gets an s where it needs one."""
    return f"{number} {noun}" if number == 1 else f"{number} {noun}s"


def size_text(number):
    for unit in ("B", "kB", "MB", "GB"):
        if number < 1000:
            return f"{number:.0f} {unit}" if unit == "B" or number >= 100 else f"{number:.1f} {unit}"
        number /= 1000
    return f"{number:.1f} TB"


def time_text(seconds):
    if seconds < 90:
        return f"{max(0, seconds):.0f} s"
    if seconds < 90 * 60:
        return f"{seconds / 60:.0f} min"
    if seconds < 48 * 3600:
        return f"{seconds / 3600:.1f} h"
    return f"{seconds / 86400:.1f} days"


def printable(text):
    """Names as they can be shown: one line, whatever they hold."""
    shown = text.encode("utf-8", "replace").decode("utf-8")
    return "".join(character if character.isprintable() else "?" for character in shown)
