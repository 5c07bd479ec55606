"""Takes names of people, machines and folders out of texts that are sent to others."""

import getpass
import os
import re
import socket
from pathlib import Path

# An absolute path with at least one folder: its folders go, its last name stays. Not the second half of "0/0" or "bt709/tv".
ABSOLUTE = re.compile(r"(?<![\w.)<>/\\])(?:[A-Za-z]:|\\)?[\\/](?:[^\\/\s:\"'<>|]+[\\/])+(?=[^\\/\s]|\s|$)")
WORD_END = r"(?![A-Za-z0-9])"
WORD_BEGIN = r"(?<![A-Za-z0-9])"


def user_names():
    names = {os.environ.get(name, "") for name in ("USER", "LOGNAME", "USERNAME", "SUDO_USER")}
    try:
        names.add(getpass.getuser())
    except (OSError, KeyError, ImportError):
        pass
    try:
        import pwd  # not on Windows
        entry = pwd.getpwuid(os.getuid())
        names |= {entry.pw_name, entry.pw_gecos.split(",")[0]}
    except (ImportError, KeyError):
        pass
    return names | {Path.home().name}


def host_names():
    names = {socket.gethostname(), os.environ.get("COMPUTERNAME", ""), os.environ.get("HOSTNAME", ""),
             os.environ.get("USERDOMAIN", "")}
    return names | {name.split(".")[0] for name in names}


class Scrubber:
    def __init__(self, folders):
        """`folders` maps paths to the words that stand for them."""
        known = {str(path): word for path, word in folders.items()} | {str(Path.home()): "<home>"}
        known |= {path.replace("\\", "/"): word for path, word in known.items()}
        # Longest first: one folder may be inside another.
        self.folders = sorted(((path, word) for path, word in known.items() if len(path) > 1),
                              key=lambda entry: -len(entry[0]))
        self.names = [(name, "<user>") for name in user_names()] + [(name, "<host>") for name in host_names()]
        self.names = sorted((entry for entry in self.names if len(entry[0]) > 1), key=lambda entry: -len(entry[0]))

    def clean(self, text):
        for path, word in self.folders:
            text = re.sub(re.escape(path), lambda _, word=word: word, text, flags=re.IGNORECASE)
        text = ABSOLUTE.sub("<folder>/", text)
        for name, word in self.names:
            text = re.sub(WORD_BEGIN + re.escape(name) + WORD_END, word, text, flags=re.IGNORECASE)
        return text
