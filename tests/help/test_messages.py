"""docs/when-it-fails.md has every message of the program, and no message that the program does not have."""

import re

import pytest

from source_texts import REPOSITORY, SourceText, product_texts, texts_of

PAGE = REPOSITORY / "docs" / "when-it-fails.md"

# Texts that need not be on the page, by reason. A file stands for all of its texts.
JOIN_USAGE = "Usage: veyrin-join "
EXCEPTIONS = {
    "the usage text, which is in the manual page": ["app/option_table.cpp", JOIN_USAGE],
    "what veyrin-join compares and never shows": ["two views", "one view"],
    "what the two-view encoder prints to those who start it by themselves": ["two_view_encoder/main.cpp"],
    "the report of a run in which nothing is wrong": [
        "Thumbnail output: %s", "Input: %s", "%s output: %s", "Apple spatial",
        "  duration_seconds: %.6f", "  metadata_stream: %d", "  left_video_stream: %d", "  right_video_stream: %d",
        "  native_size: %dx%d", "  baseline_m: %.6f", "  pose_available: %s", "true", "false",
        "  rectification_maps: valid", "  output_video_size: %dx%d", "  output_format: %s",
        "  rectification: bypassed for color diagnostics",
        "  rectification_valid_pixels: left %.1f%%, right %.1f%%",
        "  audio: stream copy (%s)", "  progress_percent: %d", "  encoded_frames: %lld",
        "Creating direct spatial output with cdist=%.3f mm, hfov=%.3f deg",
        "[RecordingMetadata] Raw dual-track calibration loaded from %s (native=%dx%d)",
        "[VideoReader] %s playback color: matrix=%s primaries=%s transfer=%s range=%s "
        "rawTags(matrix=%d primaries=%d transfer=%d range=%d)",
        "Recording: %s", "  pieces: %lld", "  output_frames: %lld", "  progress_percent: 100", "Joined output: %s",
        "[VideoThumbnailGenerator] Thumbnail rotation=%u quarter-turn(s), MP4 display matrix=%s",
    ],
    "the encoder or decoder that is used, as the report names it": [
        ", CPU YUV processing", " + 4:2:2 chroma upsampling",
        "libx265 (packaged FFmpeg CLI)", "libx265 (veyrin-two-view-encoder)", "veyrin-two-view-encoder with libx265",
        "  software_encoder: packaged GPL FFmpeg CLI with libx265",
        "  decoder: %s hardware (%s, stream %d, %s %s, range %d)",
    ],
    "what stands in a lock file": ["a veyrin-video-converter is writing the file of this name\n"],
    "the name of a track in recordings": ["Kaleth Timed Metadata"],
    "words that other programs' messages are searched for": ["last read: '"],
    "of a system that the program is not made for": [
        "could not allocate a mapped VideoToolbox frame", "could not map a VideoToolbox frame",
        "could not crop a VideoToolbox frame"],
    "a name that stands in place of another word of a message": ["thumbnail track"],
    "a tag before every error": ["Error: %s", "[VideoThumbnailGenerator] %s"],
}

# What the page shows as code and is no message: options, variables, names of files, commands, single words, and what
# libraries say.
TOLD = re.compile(r"--?[a-z][\w-]*( .*)?|VEYRIN_\w+(=1)?|(ffmpeg|veyrin-video-converter|veyrin-join) .*|[\w./[-]+|(Input|Error): |"
                  r"std::bad_alloc|filesystem error: TEXT")


@pytest.fixture(scope="module")
def spans():
    """What the page shows as code; line ends of the source are spaces."""
    return [re.sub(r"\s+", " ", span) for span in re.findall(r"`([^`]+)`", PAGE.read_text(encoding="utf-8"))]


@pytest.fixture(scope="module")
def texts():
    found = product_texts()
    assert len([text for text in found if text.is_sentence]) > 300
    return found


def is_meant(text, entry):
    return entry in (text.file, text.text) or entry == JOIN_USAGE and text.text.startswith(JOIN_USAGE)


def is_exception(text):
    return any(is_meant(text, entry) for entries in EXCEPTIONS.values() for entry in entries)


def whole_words(piece):
    """A pattern for the piece where no word that it begins or ends with goes on."""
    return ("(?<![A-Za-z])" if piece[0].isalpha() else "") + re.escape(piece) + ("(?![A-Za-z])" if piece[-1].isalpha() else "")


def stands_in(text, span):
    """Whether the pieces of the text stand in the span, as whole words, in order. A span that begins with the text and
    goes on in small letters is another, longer message."""
    found = re.search(".*".join(whole_words(piece) for piece in text.pieces), span)
    if found is None:
        return False
    open_end = text.text[-1:].isspace() or not text.text.rstrip().endswith(text.pieces[-1])
    return found.start() > 0 or open_end or not re.match(r" [a-z]", span[found.end():])


def must_be_explained(text):
    return bool(text.pieces) and (text.is_sentence or text.spoken) and not is_exception(text)


def test_every_message_is_explained(texts, spans):
    missing = [str(text) for text in texts
               if must_be_explained(text) and not any(stands_in(text, span) for span in spans)]
    assert not missing, "not in docs/when-it-fails.md:\n" + "\n".join(missing)


def test_every_explained_message_exists(texts, spans):
    pieces = sorted({piece for text in texts for piece in text.pieces}, key=len, reverse=True)
    known = re.compile("|".join(whole_words(piece) for piece in pieces if len(piece) > 2))
    unknown = []
    for span in spans:
        rest = known.sub(" ", span)
        if not TOLD.fullmatch(span) and re.search("[a-z]{3}", rest):
            unknown.append(f"{span!r} has no source for {rest.strip()!r}")
    assert not unknown, "\n".join(unknown)


def test_exceptions_are_needed(texts, spans):
    """An exception that has gone from the sources, or is on the page all the same, is none."""
    for entries in EXCEPTIONS.values():
        for entry in entries:
            excepted = [text for text in texts if is_meant(text, entry)]
            assert excepted, f"no longer in the sources: {entry}"
            assert any(text.is_sentence or text.spoken for text in excepted), f"not needed: {entry}"


@pytest.mark.parametrize("source, text, spoken", [
    ('return fail(error, "could not " "go on");', "could not go on", True),
    ('return fail(error,\n  "one"\n  // why\n  " two");', "one two", True),
    ('error = condition ? "yes" : other;', "yes", True),
    ('constexpr auto words = "two words";', "two words", False),
    ('throw std::runtime_error("bad");', "bad", True),
    ('// "no"\nconst char* q = "a \\"b\\"";', 'a "b"', False),
    ('#include "x/y.h"\nchar c = \'"\'; auto s = R"x(raw "text")x";', 'raw "text"', False),
])
def test_texts_are_found(source, text, spoken):
    assert texts_of(source, "x.cpp") == [SourceText("x.cpp", texts_of(source, "x.cpp")[0].line, text, spoken)]


@pytest.mark.parametrize("text, span, there", [
    ("could not open output", "could not open output: REASON", True),
    ("could not open output", "could not open output directory: REASON", False),
    ("could not open output: ", "could not open output: NAME", True),
    (" requires a value", "OPTION requires a value", True),
    ("%s has %d parts", "NAME has N parts", True),
    ("%s has %d parts", "NAME has N partsongs", False),
    ("no output", "could no output", True),
    ("no output", "casino output", False),
])
def test_messages_are_recognised(text, span, there):
    assert stands_in(SourceText("x.cpp", 1, text, True), span) == there
