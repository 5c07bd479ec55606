#!/usr/bin/env python3
"""Makes manual pages and the shells' completions from the usage texts, as a folder to be installed.

    help/make_help.py [--program PROGRAM]... [--usage FILE]... --version VERSION OUTPUT

Each PROGRAM is asked for its usage text; a FILE holds what one has printed elsewhere for --help. veyrin-video-converter and
veyrin-join are known; veyrin-library comes along with the converter, some of whose options it takes. The files are laid out
below OUTPUT as below /usr: the folder `share` can be copied there, or into a package, as it is.
"""

import argparse
import subprocess
import sys
from pathlib import Path

sys.dont_write_bytecode = True

from completions import bash_completion, fish_completion, zsh_completion  # noqa: E402
from library_usage import read_library_usage  # noqa: E402
from manual import manual_page  # noqa: E402
from usage import CONVERTER, UsageError, read_usage  # noqa: E402


def help_files(usage, version):
    """What each file below the output folder holds."""
    return {
        f"share/man/man1/{usage.program}.1": manual_page(usage, version),
        f"share/bash-completion/completions/{usage.program}": bash_completion(usage),
        f"share/zsh/vendor-completions/_{usage.program}": zsh_completion(usage),
        f"share/fish/vendor_completions.d/{usage.program}.fish": fish_completion(usage),
    }


def usage_text(program):
    return subprocess.run([program.resolve(), "--help"], stdout=subprocess.PIPE, encoding="utf-8", check=True).stdout


def read_usages(programs, texts):
    """The usage of every program; on a failure its message is printed and the script ends."""
    usages = []
    for source in programs + texts:
        try:
            usages.append(read_usage(usage_text(source) if source in programs else source.read_text(encoding="utf-8")))
        except (UsageError, OSError, subprocess.CalledProcessError) as error:
            print(f"{source}: error: {error}", file=sys.stderr)
            sys.exit(1)
    return usages + [read_library_usage(usage) for usage in usages if usage.program == CONVERTER]


def main():
    parser = argparse.ArgumentParser(description="Makes manual pages and completions from the usage texts.")
    parser.add_argument("--program", type=Path, action="append", default=[], help="a program that this machine can run")
    parser.add_argument("--usage", type=Path, action="append", default=[], help="file with a usage text")
    parser.add_argument("--version", required=True, help="the programs' version")
    parser.add_argument("output", type=Path, help="folder that gets the files; made when missing")
    options = parser.parse_args()
    for usage in read_usages(options.program, options.usage):
        for name, text in help_files(usage, options.version).items():
            path = options.output / name
            path.parent.mkdir(parents=True, exist_ok=True)
            # The same bytes on every system.
            path.write_bytes(text.encode("utf-8"))
    return 0


if __name__ == "__main__":
    sys.exit(main())
