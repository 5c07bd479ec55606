"""An installed tree works wherever it lies, and knows nothing of the folder that it was built in."""

import os
import re
import shutil
import subprocess
from pathlib import Path

import pytest

from conftest import REPOSITORY

PROGRAMS = ("veyrin-video-converter", "veyrin-join", "veyrin-library")
HOME = Path("lib/veyrin-video-converter")


def called(*command, folder="/", **settings):
    clean = {name: value for name, value in os.environ.items() if not name.startswith(("VEYRIN_", "LD_LIBRARY_PATH"))}
    run = subprocess.run([*map(str, command)], cwd=folder, env={**clean, **settings}, stdin=subprocess.DEVNULL,
                         stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True, timeout=60, check=False)
    assert run.returncode == 0, f"{command}\n{run.stdout}"
    return run.stdout


@pytest.fixture(scope="session")
def build(request):
    return Path(request.config.getoption("--build")).absolute()


@pytest.fixture(scope="session")
def install(build, request):
    def into(prefix, **settings):
        called(request.config.getoption("--cmake"), "--install", build, "--prefix", prefix, **settings)

    return into


@pytest.fixture(scope="session")
def tree(install, tmp_path_factory):
    """The installed folder, at another place than it was installed in."""
    folder = tmp_path_factory.mktemp("install")
    for _ in range(2):  # again into the same folder, as for a newer version
        install(folder / "first place")
    shutil.move(folder / "first place", folder / "another place é")
    return folder / "another place é"


@pytest.fixture(scope="session")
def recording(build, tmp_path_factory):
    path = tmp_path_factory.mktemp("recordings") / "clip.mp4"
    called(build / "bin" / "make_recording", "--size", "128x128", "--seconds", "0.5", path)
    return path


@pytest.fixture(scope="session")
def compiled(tree):
    found = [path for path in tree.rglob("*") if path.is_file() and not path.is_symlink()
             and path.read_bytes()[:4] == b"\x7fELF"]
    assert {"veyrin-video-converter", "veyrin-join"} <= {path.name for path in found}
    return found


def frames_of(movie):
    return called("ffprobe", "-v", "error", "-select_streams", "v:0", "-count_packets", "-show_entries",
                  "stream=codec_name,width,nb_read_packets", "-of", "csv=p=0", movie).strip().strip(",").split(",")


@pytest.mark.parametrize("program", PROGRAMS)
def test_programs_start_through_their_links(tree, program, tmp_path):
    link = tree / "bin" / program
    assert link.is_symlink() and not os.path.isabs(os.readlink(link))
    assert called(link, "--help", folder=tmp_path).lower().startswith(f"usage: {program} ")


def test_hevc_is_encoded_by_the_ffmpeg_beside_the_program(tree, recording, tmp_path):
    called(tree / "bin" / "veyrin-video-converter", "--software", "--sdr-bitrate", "2M", "--output", "movie.mp4", recording,
           folder=tmp_path)
    assert frames_of(tmp_path / "movie.mp4") == ["hevc", "256", "15"]


def test_two_views_are_encoded_by_the_program_beside_it(tree, build, recording, tmp_path):
    if not (build / "bin" / "veyrin-two-view-encoder").exists():
        pytest.skip("built without x265")
    called(tree / "bin" / "veyrin-video-converter", "--software", "--output-format", "spatial", "--output", "movie.mov",
           recording, folder=tmp_path)
    assert frames_of(tmp_path / "movie.mov") == ["hevc", "128", "15"]


def test_a_library_is_converted_with_the_installed_converter(tree, recording, tmp_path):
    state = {"XDG_STATE_HOME": str(tmp_path / "state"), "PATH": "/usr/bin:/bin"}
    library = tree / "bin" / "veyrin-library"
    plan = called(library, "plan", "--settle", "0", recording.parent, "movies", "--sbs-codec", "prores", folder=tmp_path,
                  **state)
    assert "clip" in plan
    called(library, "run", "--profile", "plain", folder=tmp_path / "movies", **state)
    assert frames_of(tmp_path / "movies" / "clip_FULL_SBS_LR.mov") == ["prores", "256", "15"]
    assert not list(tree.rglob("__pycache__"))


def test_files_of_the_library_are_all_there(tree):
    def files(top):
        return {str(path.relative_to(top)): os.access(path, os.X_OK) for path in top.rglob("*")
                if path.is_file() and path.suffix not in (".pyc", ".cmd")}
    assert files(tree / HOME / "library") == files(REPOSITORY / "library")


@pytest.mark.parametrize("program", PROGRAMS)
def test_help_is_where_the_system_looks_for_it(tree, program):
    share = tree / "share"
    assert (share / "man" / "man1" / f"{program}.1").read_text(encoding="utf-8").startswith(".")
    for file in (f"bash-completion/completions/{program}", f"zsh/vendor-completions/_{program}",
                 f"fish/vendor_completions.d/{program}.fish"):
        assert program in (share / file).read_text(encoding="utf-8")


def test_licences_of_everything_are_there(tree, build):
    documents = tree / "share" / "doc" / "veyrin-video-converter"
    assert {"LICENSE", "NOTICE", "README.md", "CHANGELOG.md", "copyright", "docs"} <= set(os.listdir(documents))
    if (tree / HOME / "lib").exists():
        assert "COPYING.LGPLv2.1" in os.listdir(documents / "licenses" / "ffmpeg")
    if (build / "bin" / "veyrin-two-view-encoder").exists():
        assert {"LICENSE", "COPYING.x265"} == set(os.listdir(documents / "licenses" / "veyrin-two-view-encoder"))


def test_libraries_are_looked_for_in_the_tree_only(tree, build, compiled):
    for path in compiled:
        places = re.findall(r"\((?:RPATH|RUNPATH)\).*\[(.*)\]", called("readelf", "-d", path))
        assert all(place.startswith("$ORIGIN") for entry in places for place in entry.split(":")), f"{path}: {places}"
    if list((build / "lib").glob("libavcodec.so*")):
        loaded = called("ldd", tree / HOME / "bin" / "veyrin-video-converter")
        libraries = dict(re.findall(r"(lib(?:av|sw)\w+)\.so\S* => (.*) \(", loaded))
        assert {"libavcodec", "libavformat", "libavutil", "libswscale"} <= libraries.keys()
        for place in libraries.values():
            assert Path(place).resolve().is_relative_to(tree.resolve())


def test_no_file_names_the_folder_it_was_built_in(tree, build):
    for path in tree.rglob("*"):
        if path.is_symlink():
            assert not os.readlink(path).startswith(str(REPOSITORY)), path
        elif path.is_file():
            content = path.read_bytes()
            assert str(build).encode() not in content and str(REPOSITORY).encode() not in content, path


def test_staging_does_not_change_what_links_say(tree, install, tmp_path):
    install("/usr", DESTDIR=str(tmp_path))
    def contents(top):
        return {str(path.relative_to(top)): os.readlink(path) if path.is_symlink() else "" for path in top.rglob("*")}
    assert contents(tmp_path / "usr") == contents(tree)
