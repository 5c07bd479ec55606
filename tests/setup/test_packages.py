"""scripts/setup where it cannot install packages: it says which to install, by the names of the system."""

from pathlib import Path

import pytest

from mirror import REPOSITORY

TABLE = [line.split() for line in (REPOSITORY / "scripts" / "packages.txt").read_text().splitlines()
         if line and not line.startswith("#")]
SYSTEMS = {
    "debian": "ID=debian\nVERSION_CODENAME=bookworm\n",
    "ubuntu": "ID=ubuntu\nID_LIKE=debian\n",
    "fedora": "ID=fedora\n",
    "other": "ID=somethingelse\n",
}
# Each asks for one package, the last word.
DPKG_QUERY = 'for package; do :; done; case " $MISSING " in *" $package "*) exit 1 ;; esac; echo "install ok installed"'
RPM = 'for package; do :; done; case " $MISSING " in *" $package "*) exit 1 ;; esac'
PKG_CONFIG = '[ -n "$SYSTEM_FFMPEG" ] || exit 1; [ "$1" != --modversion ] || echo "$SYSTEM_FFMPEG"'


def names(column, *sets):
    return [row[column] for row in TABLE if row[0] in sets and row[column] != "-"]


class Machine:
    """A made-up system: its release file, and a folder of programs with some of them replaced."""

    def __init__(self, folder, set_up):
        self.folder = folder
        self.set_up = set_up
        self.programs = folder / "programs"
        self.programs.mkdir()
        for path in Path("/usr/bin").iterdir():
            if path.name not in ("apt-get", "dpkg", "dpkg-query", "rpm", "id", "pkg-config"):
                (self.programs / path.name).symlink_to(path)

    def replace(self, name, text):
        (self.programs / name).write_text(f"#!/bin/sh\n{text}\n")
        (self.programs / name).chmod(0o755)

    def run(self, system, *words, user=1000, missing=(), ffmpeg="", programs=None):
        for name, text in {"id": f"echo {user}", "pkg-config": PKG_CONFIG, **(programs or {})}.items():
            self.replace(name, text)
        release = self.folder / "os-release"
        release.write_text(SYSTEMS[system])
        environment = {"PATH": str(self.programs), "VEYRIN_OS_RELEASE": str(release), "MISSING": " ".join(missing),
                       "SYSTEM_FFMPEG": ffmpeg, "VEYRIN_DEBIAN_MIRROR": ""}
        process = self.set_up.start("scripts/setup", *words, **environment)
        output, _ = process.communicate(timeout=30)
        return process.returncode, output.splitlines()


@pytest.fixture
def machine(tmp_path, set_up):
    return Machine(tmp_path, set_up)


def test_table_has_a_name_for_every_system():
    assert {len(row) for row in TABLE} == {3}
    assert {row[0] for row in TABLE} == {"build", "program", "ffmpeg", "tests"}
    for column in (1, 2):
        listed = names(column, "build", "program", "ffmpeg", "tests")
        assert len(listed) == len(set(listed))


@pytest.mark.parametrize("system", ["debian", "ubuntu"])
def test_user_who_is_not_root_is_told_what_to_install(machine, system):
    programs = {"dpkg-query": DPKG_QUERY, "apt-get": "echo apt-get must not run"}
    status, lines = machine.run(system, "--demo", missing=["nasm", "ffmpeg", "libopencv-dev"], programs=programs)
    assert status == 1
    assert lines == ["== some packages are missing; have them installed as root, then start this again:",
                     "   apt-get install --no-install-recommends nasm ffmpeg"]


def test_root_has_the_missing_packages_installed(machine):
    record = machine.folder / "record"
    programs = {"dpkg-query": DPKG_QUERY, "dpkg": "exit 0", "apt-get": f'echo "$*" >>"{record}"'}
    _, lines = machine.run("debian", "--demo", user=0, missing=["nasm"], programs=programs)
    assert lines[0] == "== installing 1 packages (usually a minute): nasm"
    update, install = record.read_text().splitlines()[:2]
    assert update.endswith(" update") and install.endswith(" --no-install-recommends install nasm")


def test_interrupted_installation_is_completed_first(machine):
    record = machine.folder / "record"
    programs = {"dpkg-query": DPKG_QUERY, "dpkg": f'[ "$1" != --audit ] && echo "$*" >>"{record}" || echo half',
                "apt-get": f'echo "$*" >>"{record}"'}
    machine.run("debian", "--demo", user=0, missing=["nasm"], programs=programs)
    assert record.read_text().splitlines()[0] == "--configure -a"


def test_fedora_is_told_its_own_names(machine):
    status, lines = machine.run("fedora", "--demo", missing=["json-devel", "gtest-devel"], programs={"rpm": RPM})
    assert status == 1
    assert lines[:2] == ["== some packages are missing; have them installed as root, then start this again:",
                         "   dnf install json-devel"]
    status, lines = machine.run("fedora", missing=names(2, "build", "program", "tests"))
    assert lines[1].split()[2:] == names(2, "build", "program", "tests")


def test_system_without_apt_uses_its_own_ffmpeg(machine):
    status, lines = machine.run("fedora", "--demo", ffmpeg="62.28.102", programs={"rpm": RPM})
    assert (status, lines) == (0, ["== FFmpeg: the system's libraries (62.28.102)"])


@pytest.mark.parametrize("words", [["--spatial"], []])
def test_system_without_debians_sources_goes_on_without_x265(machine, words):
    status, lines = machine.run("fedora", *words, ffmpeg="62.28.102", programs={"rpm": RPM})
    assert status == 0
    assert sorted(lines) == [
        "== FFmpeg: the system's libraries (62.28.102)",
        "== x265 is built from Debian's sources only and is left out: there will be no two-view encoder without a graphics card"]


def test_old_ffmpeg_of_the_system_is_not_to_be_installed_again(machine):
    old = 'case "$1" in --modversion) echo 60.31.102 ;; *) exit 1 ;; esac'
    programs = {"dpkg-query": DPKG_QUERY, "apt-get": "echo apt-get must not run", "pkg-config": old}
    status, lines = machine.run("ubuntu", "--demo", programs=programs)
    assert status == 1
    assert lines[0].startswith("error: the system's FFmpeg is too old: libavcodec is 60.31.102, not 62 or newer (FFmpeg 8).")
    assert "VEYRIN_DEBIAN_MIRROR" in lines[0] and "debian-archive-keyring" in lines[0]


@pytest.mark.parametrize("system, words", [
    ("fedora", ["dnf", "install", *names(2, "ffmpeg")]),
    ("ubuntu", ["apt-get", "install", "--no-install-recommends", *names(1, "ffmpeg")]),
])
def test_system_without_debians_sources_is_told_of_its_own_ffmpeg(machine, system, words):
    programs = {"rpm": RPM, "dpkg-query": DPKG_QUERY, "apt-get": "echo apt-get must not run"}
    status, lines = machine.run(system, "--demo", programs=programs)
    assert status == 1
    assert lines[0].startswith("== FFmpeg's libraries, version 8 or newer, are missing")
    assert lines[1].split() == words


def test_unknown_system_is_told_everything_and_goes_on(machine):
    status, lines = machine.run("other", "--demo", ffmpeg="62.28.102")
    assert status == 0
    assert lines[1].split() == names(1, "build", "program") and lines[2].split() == names(2, "build", "program")
    assert lines[3] == "== FFmpeg: the system's libraries (62.28.102)"
