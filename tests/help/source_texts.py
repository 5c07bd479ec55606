"""The texts in the product's sources that a user can come to read.

How a text becomes a message is not followed: texts are handed to fail(), stand in tables of words, in constants, in printf
formats, in exceptions, and come through pipes. Instead every string literal that reads like a sentence counts, wherever it
stands, and every literal at all in a statement that sets or prints a message.
"""

import re
from dataclasses import dataclass
from pathlib import Path

REPOSITORY = Path(__file__).resolve().parents[2]
FOLDERS = ("app", "common", "convert", "decode", "join", "media", "metadata", "processing", "rectification", "spatial",
           "thumbnail", "two_view_encoder")

TOKEN = re.compile(r'''
    (?P<comment>//[^\n]*|/\*.*?\*/)
  | (?P<directive>^[ \t]*\#[ \t]*(?:include|pragma|error)\b(?:\\\n|[^\n])*)
  | (?P<character>(?<![0-9a-fA-F])'(?:\\.|[^'\\\n])+')
  | (?:u8|u|U|L)?R"(?P<mark>\w*)\((?P<raw>.*?)\)(?P=mark)"
  | (?:u8|u|U|L)?"(?P<text>(?:\\.|[^"\\\n])*)"
''', re.VERBOSE | re.DOTALL | re.MULTILINE)
# What sets, throws or prints a message.
SPEAKING = re.compile(r"\b(?:fail\w*|say|console_line|console_log|v?f?printf|\w*(?:runtime|logic|filesystem)_error)\s*\("
                      r"|\b(?:error|reason|failure)_?\s*\+?=(?!=)")
CONVERSION = re.compile(r"%[-+ #0]*[\d.*]*(?:hh|h|ll|l|z)?[diouxXcsfFeEgGp]|%%")
ESCAPES = {"n": "\n", "t": "\t", "r": "\r", "0": "\0"}


@dataclass(frozen=True)
class SourceText:
    """One literal; literals with nothing but space between them are one."""

    file: str
    line: int
    text: str
    spoken: bool  # in a statement that sets or prints a message

    def __str__(self):
        return f"{self.file}:{self.line}: {self.text!r}"

    @property
    def pieces(self):
        """What is left of it without printf's conversions: the parts with a word in them, without space around."""
        return [piece.strip() for piece in CONVERSION.split(self.text) if re.search("[A-Za-z]{2}", piece)]

    @property
    def is_sentence(self):
        """Two words at least: written for people."""
        words = [word for word in " ".join(self.pieces).split() if re.search("[a-z]{2}|[A-Z]{3}", word)]
        return len(words) >= 2


def unescape(text):
    return re.sub(r"\\(.)", lambda match: ESCAPES.get(match.group(1), match.group(1)), text)


def statements(code):
    """Where the statements that speak begin and end, in code without literals."""
    found = []
    for match in SPEAKING.finditer(code):
        end, depth = match.end(), code[match.end() - 1] == "("
        while end < len(code) and (depth > 0 or match.group().endswith("=") and code[end] != ";"):
            depth += (code[end] == "(") - (code[end] == ")")
            end += 1
        found.append((match.start(), end))
    return found


def texts_of(source, file):
    """The literals of one source file, in order."""
    code = TOKEN.sub(lambda match: re.sub(r"[^\n]", " ", match.group()), source)
    speaking = statements(code)
    found, end = [], None
    for match in TOKEN.finditer(source):
        if match.group("text") is None and match.group("raw") is None:
            # A comment between two halves of a literal does not part them.
            end = match.end() if end is not None and match.group("comment") and not source[end:match.start()].strip() else None
            continue
        text = match.group("raw") if match.group("raw") is not None else unescape(match.group("text"))
        if end is not None and not source[end:match.start()].strip():
            found[-1] = SourceText(file, found[-1].line, found[-1].text + text, found[-1].spoken)
        else:
            spoken = any(begin <= match.start() < stop for begin, stop in speaking)
            found.append(SourceText(file, source.count("\n", 0, match.start()) + 1, text, spoken))
        end = match.end()
    return found


def product_texts():
    """All literals of the product, the files of both systems included."""
    paths = sorted(path for folder in FOLDERS for path in (REPOSITORY / folder).rglob("*") if path.suffix in (".h", ".cpp"))
    return [text for path in paths for text in texts_of(path.read_text(encoding="utf-8"), str(path.relative_to(REPOSITORY)))]
