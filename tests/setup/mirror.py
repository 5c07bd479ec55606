"""A made-up Debian mirror in a folder, with tiny source packages, and made-up sources of FFmpeg that the set-up can build."""

import hashlib
import io
import tarfile
from pathlib import Path

REPOSITORY = Path(__file__).resolve().parents[2]
TEN_BIT_PATCH = REPOSITORY / "scripts" / "patches" / "ffmpeg-mv-hevc-10-bit.patch"


def patched_part(added):
    """The lines that the 10-bit patch changes, before it or, with `added`, after it."""
    hunk = TEN_BIT_PATCH.read_text().split("@@\n", 1)[1].splitlines()
    return "".join(line[1:] + "\n" for line in hunk if not line.startswith("-" if added else "+"))


FITTING = patched_part(added=False)
CHANGED_ALREADY = patched_part(added=True)
UNFIT = "int something_else;\n"

CONFIGURE = """#!/bin/sh
# Stops here, as long as the test wants, to be interrupted.
if [ -n "$STOP_FILE" ]; then
  touch "$STOP_FILE.reached"
  while [ -e "$STOP_FILE" ]; do sleep 0.1; done
fi
prefix=$(echo "$1" | sed s/--prefix=//)
printf 'all:\\ninstall:\\n\\tmkdir -p %s/lib && cp RELEASE %s/lib/\\n' "$prefix" "$prefix" >Makefile
"""


def ffmpeg_source(release, nvenc=FITTING):
    return {"RELEASE": release + "\n", "libavcodec/nvenc.c": nvenc, "LICENSE.md": "", "COPYING.LGPLv2.1": "",
            "configure": CONFIGURE}


def headers_source(major=13):
    return {"include/ffnvcodec/nvEncodeAPI.h": f"#define NVENCAPI_MAJOR_VERSION {major}\n",
            "Makefile": "install:\n\tmkdir -p $(PREFIX)/include\n"}


def tarball(folder, files):
    data = io.BytesIO()
    with tarfile.open(fileobj=data, mode="w:xz") as archive:
        for name, text in files.items():
            entry = tarfile.TarInfo(f"{folder}/{name}")
            entry.mode = 0o755 if name == "configure" else 0o644
            entry.size = len(text)
            archive.addfile(entry, io.BytesIO(text.encode()))
    return data.getvalue()


class Mirror:
    """Suites that nothing was added to cannot be read."""

    def __init__(self, folder):
        self.folder = folder
        self.entries = {}

    @property
    def address(self):
        return f"file:{self.folder}"

    def add(self, suite, package, version, files):
        """Offers the source in the suite; the tarball's path and digest are the result."""
        upstream = version.split(":")[-1].rsplit("-", 1)[0]
        data = tarball(f"{package}-{upstream}", files)
        place = Path("pool") / suite / package
        name = f"{package}_{upstream}.orig.tar.xz"
        (self.folder / place).mkdir(parents=True, exist_ok=True)
        (self.folder / place / name).write_bytes(data)
        digest = hashlib.sha256(data).hexdigest()
        self.entries.setdefault(suite, []).append(
            f"Package: {package}\nBinary: {package}\nVersion: {version}\nArchitecture: any\nFormat: 3.0 (quilt)\n"
            f"Directory: {place}\nFiles:\n {hashlib.md5(data).hexdigest()} {len(data)} {name}\n"
            f"Checksums-Sha256:\n {digest} {len(data)} {name}\n")
        self.write(suite)
        return self.folder / place / name, digest

    def write(self, suite):
        sources = "\n".join(self.entries[suite]).encode()
        folder = self.folder / "dists" / suite
        (folder / "main" / "source").mkdir(parents=True, exist_ok=True)
        (folder / "main" / "source" / "Sources").write_bytes(sources)
        (folder / "Release").write_text(
            f"Suite: {suite}\nCodename: {suite}\nDate: Thu, 01 Jan 2026 00:00:00 UTC\nComponents: main\n"
            f"SHA256:\n {hashlib.sha256(sources).hexdigest()} {len(sources)} main/source/Sources\n")
