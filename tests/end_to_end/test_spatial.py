"""Two-view movies, encoded by the simulated driver or by the program for software encoding."""

import math
import struct
from dataclasses import dataclass

import numpy as np
import pytest

import boxes
from expectations import HDR_COLOURS, SDR_COLOURS, check_colours, check_flash_and_click, check_timing, layout_of
from movie import Movie
from picture_reading import read_frame_numbers
from spatial_movie import (PPS, PREFIX_SEI, REFERENCE_DISPLAYS_SEI, SPS, VPS, SpatialMovie, kind_and_layer,
                           parameter_sets, psnr)

BITRATES = ("--sdr-bitrate", "12M", "--hdr-bitrate", "12M")
# PSNR in dB against the nearly lossless eye, and by how much it exceeds that against the other eye. During the flash
# the eyes are most alike.
OWN_EYE, CLOSER = 45.0, 12.0


@dataclass
class Case:
    name: str
    bits: int = 8
    padding: str = "none"
    eye_size: tuple = None
    start: float = None
    duration: float = None
    first: int = 0  # number of the first frame, and how many there are
    count: int = 36
    audio: bool = True
    b_frames: int = 2
    untagged: bool = False
    software: bool = False

    def recording_options(self):
        codec = ("--codec", "hevc10") if self.bits == 10 else ()
        return ("--size", "320x320", "--seconds", 1.2, *codec, *(() if self.audio else ("--no-audio",)),
                *(("--untagged",) if self.untagged else ()))

    def picture_options(self):
        """The options that determine the pictures."""
        words = ["--sbs-aspect-ratio-padding", self.padding]
        if self.eye_size:
            words += ["--eye-width", self.eye_size[0], "--eye-height", self.eye_size[1]]
        if self.start:
            words += ["--start", self.start]
        return words + (["--duration", self.duration] if self.duration else [])


TRIMMED = {"start": 0.4, "duration": 0.5, "first": 12, "count": 15}
CASES = [
    Case("8_bit"),
    Case("8_bit_no_audio", audio=False),
    Case("8_bit_trimmed_16x9", padding="16x9", **TRIMMED),
    Case("8_bit_without_b_frames", b_frames=0),
    Case("8_bit_trimmed_other_size_no_audio", eye_size=(240, 400), audio=False, **TRIMMED),
    Case("8_bit_untagged", untagged=True, audio=False),
    Case("10_bit", bits=10),
    Case("10_bit_trimmed_no_audio", bits=10, audio=False, **TRIMMED),
    Case("10_bit_4x3", bits=10, padding="4x3"),
    Case("10_bit_trimmed_without_b_frames", bits=10, b_frames=0, **TRIMMED),
    Case("software_8_bit", software=True),
    Case("software_8_bit_trimmed_16x9", software=True, padding="16x9", **TRIMMED),
    Case("software_8_bit_untagged_other_size", software=True, eye_size=(240, 400), untagged=True, audio=False),
    Case("software_10_bit", software=True, bits=10),
    Case("software_10_bit_trimmed_no_audio", software=True, bits=10, audio=False, **TRIMMED),
]
SOFTWARE_ENCODER = {
    8: "libx265 (veyrin-two-view-encoder) (yuv420p, CPU YUV processing)",
    10: "libx265 (veyrin-two-view-encoder) (p010le, CPU YUV processing)",
}


@dataclass
class Made:
    case: Case
    recording: object
    movie: SpatialMovie
    run: object


@pytest.fixture(scope="module", params=CASES, ids=lambda case: case.name)
def made(request, converter, shelf, nvenc, view_decoder, tmp_path_factory):
    case = request.param
    folder = tmp_path_factory.mktemp(case.name)
    recording = shelf.get(*case.recording_options())
    software = ("--software",) if case.software else ()
    run = converter.run("--output-format", "spatial", *software, *BITRATES, *case.picture_options(), recording.path,
                        folder=folder, settings={} if case.software else nvenc(b_frames=case.b_frames)).succeeded()
    [path] = (folder / "converted" / "spatial_video").iterdir()
    return Made(case, recording, SpatialMovie(path, view_decoder), run)


def layout_for(made, kind="left"):
    return layout_of(made.recording, kind, made.case.padding, made.case.eye_size)


def test_report_names_the_geometry_and_the_file(made):
    rig = made.recording.rig
    distance = np.linalg.norm(rig.right.position - rig.left.position) * 1000
    view = math.degrees(2 * math.atan(rig.grid[0] / (2 * rig.fx)))
    assert f"Creating direct spatial output with cdist={distance:.3f} mm, hfov={view:.3f} deg" in made.run.lines
    padding = "" if made.case.padding == "none" else f"_pad{made.case.padding}"
    tail = "hdr" if made.case.bits == 10 else "sdr"
    name = f"{made.recording.path.stem}{padding}_FULL_SBS_LR_mv_hevc_spatial_{tail}.mov"
    assert made.run.lines[-1].replace("\\", "/") == f"Apple spatial output: converted/spatial_video/{name}"
    assert made.run.values("encoder") == ([SOFTWARE_ENCODER[made.case.bits]] if made.case.software else [])
    assert made.run.values("software_encoder") == (["veyrin-two-view-encoder with libx265"] if made.case.software else [])
    assert made.run.values("encoded_frames")[-1] == str(made.case.count)
    assert made.run.values("progress_percent")[-1] == "100"
    # Wine knows no NUMA nodes, which x265 asks for.
    assert [line for line in made.run.errors.splitlines() if "thread affinity" not in line] == []


@pytest.fixture(scope="module")
def eyes_of(reference, tmp_path_factory):
    """The luma of each eye that a case shows, of 10 bits, from its mono conversion in nearly lossless coding."""
    found = {}

    def get(recording, *picture_options):
        key = recording.path, *picture_options
        if key not in found:
            folder = tmp_path_factory.mktemp("eyes")
            for eye in ("left", "right"):
                reference.run("--sbs-codec", "prores", "--output-format", "mono", "--mono-eye", eye, *picture_options,
                              "--output", folder / f"{eye}.mov", recording.path, folder=folder).succeeded()
            found[key] = [Movie(folder / f"{eye}.mov").planes()[0] for eye in ("left", "right")]
        return found[key]

    return get


def test_views_show_their_own_eye_in_every_frame(made, eyes_of):
    peak = 255 if made.case.bits == 8 else 1023
    pixel_format = "yuv420p10le" if made.case.bits == 10 else "yuvj420p" if made.case.untagged else "yuv420p"
    references = [luma * (peak / 1023) for luma in eyes_of(made.recording, *made.case.picture_options())]
    for number, view in enumerate(made.movie.views):
        assert view.pixel_format == pixel_format
        luma = view.planes[0]
        assert luma.shape[0] == made.case.count
        own, other = psnr(luma, references[number], peak), psnr(luma, references[1 - number], peak)
        print(f"{made.case.name} view {number}: lowest {own.min():.2f} dB, mean {own.mean():.2f} dB, "
              f"other eye at most {other.max():.2f} dB")
        assert own.min() > OWN_EYE, f"view {number}: {own.round(1)}"
        assert (own - other).min() > CLOSER, f"view {number} against the other eye: {other.round(1)}"


def test_views_show_the_same_moment(made):
    numbers = list(range(made.case.first, made.case.first + made.case.count))
    expected = [index / 30 for index in range(made.case.count)]
    for view, eye in zip(made.movie.views, ("left", "right")):
        layout = layout_for(made, eye)
        assert read_frame_numbers(view.planes[0], made.recording, layout, eye) == numbers
        assert view.times == pytest.approx(expected, abs=1e-3)


def test_other_players_see_the_left_view(made):
    movie = Movie(made.movie.path)
    video = movie.video
    assert (video["codec_name"], video["codec_tag_string"]) == ("hevc", "hvc1")
    assert (video["width"], video["height"]) == layout_for(made).size
    assert video["profile"] == ("Main" if made.case.bits == 8 else "Main 10")
    assert video["disposition"]["default"] == 1
    # Untagged means full range.
    check_colours(movie, HDR_COLOURS if made.case.bits == 10 else SDR_COLOURS, "pc" if made.case.untagged else "tv")
    check_timing(movie, (30, 1), made.case.count)
    assert np.array_equal(movie.planes()[0], made.movie.views[0].planes[0])


def test_sound_is_that_of_the_recording(made):
    movie = Movie(made.movie.path)
    if not made.case.audio:
        assert [stream["codec_type"] for stream in movie.description["streams"]] == ["video"]
        return
    start = made.case.start or 0.0
    end = start + (made.case.duration or math.inf)
    source = [packet for packet in Movie(made.recording.path).audio_packets()
              if packet[0] + packet[1] > start + 1e-6 and packet[0] < end]
    copied = [packet for packet in movie.audio_packets() if packet[0] + packet[1] > 1e-6]
    assert [packet[2] for packet in copied] == [packet[2] for packet in source]
    last = made.case.first + made.case.count
    flashes = [time - made.case.first / 30 for time in made.recording.flash_times
               if made.case.first <= round(time * 30) < last]
    assert flashes
    check_flash_and_click(movie, made.movie.views[0].planes[0], (30, 1), flashes)


def test_index_comes_first(made):
    kinds = [box.kind for box in made.movie.root.children]
    assert kinds[0] == "ftyp" and kinds.index("moov") < kinds.index("mdat")


def test_sample_entry_describes_the_stereo_picture(made):
    entry = made.movie.sample_entry
    assert entry.kind == "hvc1"
    extended = entry.one("vexu")
    assert extended.one("proj", "prji").content == b"\0\0\0\0rect"
    eyes = extended.one("eyes")
    assert eyes.one("stri").content == bytes([0, 0, 0, 0, 0b11]), "both eyes, not reversed"
    assert eyes.one("hero").content == bytes([0, 0, 0, 0, 1]), "left"
    rig = made.recording.rig
    baseline = np.linalg.norm(rig.right.position - rig.left.position) * 1e6
    found = struct.unpack(">II", eyes.one("cams", "blin").content)
    assert found == (0, pytest.approx(baseline, abs=1)), "micrometres"
    assert struct.unpack(">Ii", eyes.one("cmfy", "dadj").content) == (0, 0)
    view = math.degrees(2 * math.atan(rig.grid[0] / (2 * rig.fx)))
    assert struct.unpack(">I", entry.one("hfov").content) == (pytest.approx(view * 1000, abs=1), ), "thousandths of a degree"


def test_configuration_records_hold_the_sets_of_their_layer(made):
    base = parameter_sets(made.movie.sample_entry.one("hvcC").content, header=22)
    assert {kind_and_layer(unit) for unit in base} == {(VPS, 0), (SPS, 0), (PPS, 0), (PREFIX_SEI, 0)}
    assert [unit for unit in base if kind_and_layer(unit)[0] == PREFIX_SEI] == [REFERENCE_DISPLAYS_SEI]
    second = parameter_sets(made.movie.sample_entry.one("lhvC").content, header=5)
    assert {kind_and_layer(unit) for unit in second} == {(SPS, 1), (PPS, 1)}


def test_samples_hold_the_left_view_and_then_the_right_one(made):
    assert len(made.movie.samples) == made.case.count
    for number, units in enumerate(made.movie.samples):
        kinds = [kind_and_layer(unit) for unit in units]
        layers = [layer for _, layer in kinds]
        assert layers == sorted(layers) and set(layers) == {0, 1}, f"sample {number}: {kinds}"
        assert [layer for kind, layer in kinds if kind < VPS] == [0, 1], f"sample {number}: {kinds}"
        assert not {kind for kind, _ in kinds} & {VPS, SPS, PPS}, f"sample {number}: {kinds}"


def test_track_lasts_as_long_as_its_frames(made):
    track = made.movie.track
    scale = boxes.time_scale(track)
    assert boxes.time_to_sample(track) == [scale // 30] * made.case.count
    [edit_count] = struct.unpack_from(">I", track.one("edts", "elst").content, 4)
    [length] = struct.unpack_from(">I", track.one("edts", "elst").content, 8 + 12 * (edit_count - 1))
    [movie_scale] = struct.unpack_from(">I", made.movie.root.one("moov", "mvhd").content, 12)
    assert length / movie_scale == pytest.approx(made.case.count / 30, abs=1.5 / movie_scale)


def test_rates_are_normalised(converter, shelf, nvenc, view_decoder, tmp_path):
    recording = shelf.get("--size", "320x320", "--rate", 24, "--seconds", 1)
    output = tmp_path / "out.mov"
    run = converter.run("--output-format", "spatial", *BITRATES, "--output-fps", 48, "--output", output, recording.path,
                        folder=tmp_path, settings=nvenc()).succeeded()
    assert run.values("encoded_frames") == ["30", "48"]
    for view, eye in zip(SpatialMovie(output, view_decoder).views, ("left", "right")):
        numbers = read_frame_numbers(view.planes[0], recording, layout_of(recording, eye), eye)
        assert numbers == [index // 2 for index in range(48)]


def test_existing_movie_is_replaced_on_demand_only(converter, shelf, nvenc, tmp_path):
    recording = shelf.get("--size", "256x256", "--seconds", 0.2)
    output = tmp_path / "out.mov"
    output.write_bytes(b"precious")
    words = ("--output-format", "spatial", *BITRATES, "--output", output, recording.path)
    converter.run(*words, folder=tmp_path, settings=nvenc()).failed(
        f"AVP output already exists (use --overwrite): {output}")
    assert output.read_bytes() == b"precious"
    converter.run("--overwrite", *words, folder=tmp_path, settings=nvenc()).succeeded()
    assert len(Movie(output).frame_times) == 6


def test_bad_bit_rate_is_refused_before_anything_is_written(converter, shelf, nvenc, tmp_path):
    recording = shelf.get("--size", "256x256", "--seconds", 0.2)
    for text, message in (("55MB", "invalid spatial bitrate: 55MB"), ("55x", "invalid spatial bitrate suffix: 55x"),
                          ("1e30g", "spatial bitrate is out of range: 1e30g")):
        output = tmp_path / "out.mov"
        converter.run("--output-format", "spatial", "--sdr-bitrate", text, "--output", output, recording.path,
                      folder=tmp_path, settings=nvenc()).failed(message)
        assert not output.exists()
