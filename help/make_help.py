#!/usr/bin/env python3
"""Makes the manual page and the shells' completions from the usage text, as a folder to be installed.

    help/make_help.py --program PROGRAM|--usage FILE --version VERSION OUTPUT

PROGRAM is asked for its usage text; FILE holds what `veyrin-video-converter --help` has printed elsewhere. The files are laid
out below OUTPUT as below /usr: the folder `share` can be copied there, or into a package, as it is.
"""

import argparse
import subprocess
import sys
from pathlib import Path

from completions import bash_completion, fish_completion, zsh_completion
from manual import manual_page
from usage import UsageError, read_usage

PROGRAM = "veyrin-video-converter"


def help_files(usage, version):
    """What each file below the output folder holds."""
    return {
        f"share/man/man1/{PROGRAM}.1": manual_page(usage, version),
        f"share/bash-completion/completions/{PROGRAM}": bash_completion(usage),
        f"share/zsh/vendor-completions/_{PROGRAM}": zsh_completion(usage),
        f"share/fish/vendor_completions.d/{PROGRAM}.fish": fish_completion(usage),
    }


def usage_text(options):
    if options.usage:
        return options.usage.read_text(encoding="utf-8")
    return subprocess.run([options.program.resolve(), "--help"], stdout=subprocess.PIPE, encoding="utf-8", check=True).stdout


def main():
    parser = argparse.ArgumentParser(description="Makes the manual page and the completions from the usage text.")
    source = parser.add_mutually_exclusive_group(required=True)
    source.add_argument("--program", type=Path, help="the converter, which this machine can run")
    source.add_argument("--usage", type=Path, help="file with the usage text")
    parser.add_argument("--version", required=True, help="the program's version")
    parser.add_argument("output", type=Path, help="folder that gets the files; made when missing")
    options = parser.parse_args()
    try:
        files = help_files(read_usage(usage_text(options)), options.version)
    except (UsageError, OSError, subprocess.CalledProcessError) as error:
        print(f"{options.usage or options.program}: error: {error}", file=sys.stderr)
        return 1
    for name, text in files.items():
        path = options.output / name
        path.parent.mkdir(parents=True, exist_ok=True)
        # The same bytes on every system.
        path.write_bytes(text.encode("utf-8"))
    return 0


if __name__ == "__main__":
    sys.exit(main())
