"""Where CMake finds FFmpeg, by made-up prefixes: which one it takes, and what it says of them."""

import os
import subprocess

import pytest

from mirror import REPOSITORY

GOOD = {"avformat": "62.3.100", "avcodec": "62.11.100", "swscale": "9.1.100", "swresample": "6.1.100", "avutil": "60.8.100"}
OLD = {"avformat": "61.7.100", "avcodec": "61.19.101", "swscale": "8.3.100", "swresample": "5.3.100", "avutil": "59.39.100"}
TEN_BIT = "ffmpeg-mv-hevc-10-bit.patch"

PROJECT = f"""cmake_minimum_required(VERSION 3.25)
project(made_up LANGUAGES C)
set(CMAKE_RUNTIME_OUTPUT_DIRECTORY ${{PROJECT_BINARY_DIR}}/bin)
list(APPEND CMAKE_C_IMPLICIT_LINK_DIRECTORIES ${{SYSTEM_FOLDER}})
list(APPEND CMAKE_MODULE_PATH {REPOSITORY}/cmake)
include(CacheFolder)
include(FFmpegLibraries)
message(STATUS "found: ${{VEYRIN_FFMPEG_PREFIX}} private ${{VEYRIN_FFMPEG_PRIVATE}} "
  "two views ${{VEYRIN_FFMPEG_TWO_VIEWS}} in 10 bits ${{VEYRIN_FFMPEG_TWO_VIEWS_IN_10_BITS}}")
"""
# Headers and libraries with as much of FFmpeg as the questions to it need.
HEADERS = {
    "libavcodec/avcodec.h": "typedef struct AVCodec { const void* priv_class; } AVCodec;\n"
                            "const AVCodec* avcodec_find_encoder_by_name(const char* name);\n#include <stddef.h>\n",
    "libavcodec/packet.h": "enum { AV_PKT_DATA_3D_REFERENCE_DISPLAYS = 38 };\n",
    "libavutil/frame.h": "enum { AV_FRAME_DATA_3D_REFERENCE_DISPLAYS = 28 };\n",
    "libavutil/opt.h": "enum { AV_OPT_SEARCH_FAKE_OBJ = 2 };\nconst void* av_opt_find2("
                       "void* object, const char* name, const char* unit, int flags, int search, void** target);\n",
    "libavutil/tdrdi.h": "#include <stddef.h>\ntypedef struct AV3DReferenceDisplaysInfo AV3DReferenceDisplaysInfo;\n"
                         "AV3DReferenceDisplaysInfo* av_tdrdi_alloc(unsigned count, size_t* size);\n",
}
SOURCE = """#include <stddef.h>
#include <string.h>
typedef struct AVCodec { const void* priv_class; } AVCodec;
static const AVCodec encoder = {""};
const AVCodec* avcodec_find_encoder_by_name(const char* name) { return strcmp(name, "hevc_nvenc") == 0 ? &encoder : NULL; }
const void* av_opt_find2(void* object, const char* name, const char* unit, int flags, int search, void** target) {
  return PROFILE && strcmp(name, "mv") == 0 && strcmp(unit, "profile") == 0 ? "" : NULL;
}
void* av_tdrdi_alloc(unsigned count, size_t* size) { return size; }
"""


@pytest.fixture(scope="session")
def library(tmp_path_factory):
    """A function that compiles the library, with or without the two-view profile, once."""
    folder = tmp_path_factory.mktemp("library")

    def get(profile):
        path = folder / f"library{profile}.so"
        if not path.exists():
            subprocess.run(["cc", "-shared", "-fPIC", f"-DPROFILE={profile}", "-x", "c", "-", "-o", path],
                           input=SOURCE, text=True, check=True)
        return path
    return get


@pytest.fixture
def prefix(library, tmp_path):
    """A function that makes a prefix of these versions with its libraries in the folder named."""
    def make(name, versions=GOOD, lib="lib", profile=1, without=(), says=None):
        folder = tmp_path / name
        (folder / lib / "pkgconfig").mkdir(parents=True)
        for piece, version in versions.items():
            (folder / lib / "pkgconfig" / f"lib{piece}.pc").write_text(
                f"prefix={says or folder}\nlibdir=${{prefix}}/lib\nincludedir=${{prefix}}/include\n"
                f"Name: lib{piece}\nDescription: made up\nVersion: {version}\nLibs: -L${{libdir}} -l{piece}\n")
            (folder / lib / f"lib{piece}.so").symlink_to(library(profile))
        for path, text in HEADERS.items():
            if path not in without:
                (folder / "include" / path).parent.mkdir(parents=True, exist_ok=True)
                (folder / "include" / path).write_text(text)
        return folder
    return make


@pytest.fixture
def configure(tmp_path):
    """A function that configures the made-up project: the exit status and what was printed, in one line."""
    project = tmp_path / "project"
    project.mkdir()
    (project / "CMakeLists.txt").write_text(PROJECT)

    def run(*options, system=""):
        environment = {**os.environ, "XDG_CACHE_HOME": str(tmp_path / "cache"), "PKG_CONFIG_LIBDIR": str(system)}
        done = subprocess.run(["cmake", "-G", "Ninja", "-S", project, "-B", project / "build", *options],
                              env=environment, stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True)
        return done.returncode, " ".join(done.stdout.split())
    return run


def copies(build):
    return sorted(path.name for path in (build / "lib").glob("*")) if (build / "lib").exists() else []


def test_prefix_comes_before_the_cache_and_the_cache_before_the_system(prefix, configure, tmp_path):
    system = prefix("system")
    build = tmp_path / "project" / "build"
    words = {"system": system / "lib" / "pkgconfig"}
    assert f"found: {system} private TRUE" in configure(**words)[1]
    cached = prefix("cache/veyrin/ffmpeg-linux")
    assert f"found: {cached} private TRUE" in configure(**words)[1]
    named = prefix("named", says="/another/place")
    assert f"found: {named} private TRUE" in configure(f"-DVEYRIN_FFMPEG_PREFIX={named}", **words)[1]
    assert copies(build) == sorted(f"lib{piece}.so" for piece in GOOD)
    # Where the linker looks anyway nothing is copied, and copies of before are not in the way.
    status, output = configure("-DVEYRIN_FFMPEG_PREFIX=", "-DSYSTEM_FOLDER=" + str(cached / "lib"), **words)
    assert status == 0 and f"found: {cached} private FALSE" in output
    assert copies(build) == []


@pytest.mark.parametrize("lib", ["lib", "lib64", "lib/x86_64-linux-gnu"])
def test_every_customary_folder_of_a_prefix_is_looked_at(prefix, configure, lib):
    named = prefix("named", lib=lib)
    status, output = configure(f"-DVEYRIN_FFMPEG_PREFIX={named}", "-DCMAKE_LIBRARY_ARCHITECTURE=x86_64-linux-gnu")
    assert status == 0 and f"FFmpeg: libavcodec 62.11.100 in {named}/{lib}" in output


def test_too_old_versions_are_named(prefix, configure, tmp_path):
    system = prefix("system", {**GOOD, **OLD})
    status, output = configure(system=system / "lib" / "pkgconfig")
    assert status == 1
    assert "FFmpeg 8 or newer was not found:" in output
    assert f"the set-up's {tmp_path}/cache/veyrin/ffmpeg-linux: not there" in output
    assert "the system: libavformat is 61.7.100, not 62.3 or newer, libavcodec is 61.19.101, not 62.11 or newer" in output
    assert "Run scripts/setup" in output and "set VEYRIN_FFMPEG_PREFIX" in output


def test_a_named_prefix_that_is_too_old_is_not_passed_over(prefix, configure):
    prefix("cache/veyrin/ffmpeg-linux")
    named = prefix("named", {**GOOD, "swscale": "8.3.100"})
    status, output = configure(f"-DVEYRIN_FFMPEG_PREFIX={named}")
    assert status == 1 and f"VEYRIN_FFMPEG_PREFIX {named}: libswscale is 8.3.100, not 9.1 or newer" in output


def test_missing_library_is_named(prefix, configure):
    pieces = {name: version for name, version in GOOD.items() if name != "swresample"}
    status, output = configure(f"-DVEYRIN_FFMPEG_PREFIX={prefix('named', pieces)}")
    assert status == 1 and "named: no libswresample.pc" in output


def test_ffmpeg_without_reference_displays_is_refused(prefix, configure):
    named = prefix("named", without=["libavutil/tdrdi.h"])
    status, output = configure(f"-DVEYRIN_FFMPEG_PREFIX={named}")
    assert status == 1 and f"FFmpeg in {named} has no 3-D reference displays" in output


@pytest.mark.parametrize("marks, profile, two_views, ten_bits", [
    ({}, 1, "yes", "no"),
    ({}, 0, "no", "no"),
    ({".complete": ""}, 1, "yes", "yes"),
    ({".complete": "", "left-out-patches": TEN_BIT + "\n"}, 1, "yes", "no"),
    ({".complete": "", "left-out-patches": "another.patch\n"}, 1, "yes", "yes"),
])
def test_features_are_asked_anew_each_time(prefix, configure, marks, profile, two_views, ten_bits):
    named = prefix("named", profile=profile)
    for name, text in marks.items():
        (named / name).write_text(text)
    option = f"-DVEYRIN_FFMPEG_PREFIX={named}"
    status, output = configure(option)
    assert status == 0
    assert f"hevc_nvenc with two views: {two_views}, changed for 10 bits: {ten_bits}" in output
    assert f"two views {two_views} in 10 bits {ten_bits}" in output
    other = prefix("other", profile=1 - profile)
    assert f"two views {'no' if profile else 'yes'} in 10 bits no" in configure(f"-DVEYRIN_FFMPEG_PREFIX={other}")[1]
