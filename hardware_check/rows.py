"""The rows of the report: one per encoder, bit depth and way of the frames, and what a run of the converter says of it."""

import os
from dataclasses import dataclass

# In the order in which the converter tries them.
ORDER = {"h264": ["h264_nvenc", "h264_mf"], "hevc": ["hevc_nvenc", "hevc_qsv", "hevc_amf", "hevc_mf"]}
ENDS_WITHOUT_ENCODER = "no suitable encoder could be opened"
COULD_NOT_START = "could not start "
NO_STEREO = "Stereo MV-HEVC is not supported by the NVIDIA GPU and driver"
FRAMES_IN_MEMORY = {"VEYRIN_DISABLE_D3D11_GPU_PIPELINE": "1"}
# The converter has no switch to pass over NVENC; NVIDIA's own one hides the card from programs that use CUDA.
WITHOUT_NVIDIA = {"CUDA_VISIBLE_DEVICES": "-1"}
# So that the message lists why the graphics card could not be used, instead of a movie made by the processor.
NO_PACKAGED_ENCODER = {"VEYRIN_FFMPEG_GPL": "no-software-in-this-row"}


class NotAvailable(Exception):
    """This machine does not have what the row is about; the text is why."""


class Failed(Exception):
    """The converter failed where it should not have."""


@dataclass(frozen=True)
class Row:
    encoder: str
    bits: int
    spatial: bool = False
    gpu_resident: bool = False
    software: bool = False

    @property
    def name(self):
        kind = "spatial" if self.spatial else "side by side"
        way = ", GPU-resident" if self.gpu_resident else ""
        return f"{self.encoder} {self.bits}-bit {kind}{way}"

    @property
    def codec(self):
        return "h264" if self.encoder.startswith("h264") else "hevc"

    @property
    def is_nvenc(self):
        return self.encoder.endswith("_nvenc")

    @property
    def file_name(self):
        """Of the movie; the same for encoders of which the converter chooses one."""
        chosen = not (self.is_nvenc or self.software)
        return f"{self.codec} {self.bits}-bit".replace(" ", "_") if chosen else self.name.replace(",", "").replace(" ", "_")

    @property
    def suffix(self):
        return ".mov" if self.spatial else ".mp4"

    def options(self):
        words = ["--output-format", "spatial"] if self.spatial else ["--sbs-codec", self.codec]
        return words + (["--software"] if self.software else [])

    def settings(self):
        found = {} if self.gpu_resident else dict(FRAMES_IN_MEMORY)
        if not self.spatial and not self.software:
            found |= NO_PACKAGED_ENCODER
            found |= {} if self.is_nvenc else WITHOUT_NVIDIA
        return found


def all_rows(quick):
    nvenc = [Row("h264_nvenc", 8), Row("hevc_nvenc", 8), Row("hevc_nvenc", 10)]
    rows = list(nvenc)
    rows += [Row(row.encoder, row.bits, gpu_resident=True) for row in nvenc]
    rows += [Row("hevc_qsv", 8), Row("hevc_qsv", 10), Row("hevc_amf", 8), Row("hevc_amf", 10), Row("h264_mf", 8),
             Row("hevc_mf", 8), Row("hevc_mf", 10)]
    rows += [Row("hevc_nvenc", bits, spatial=True) for bits in (8, 10)]
    rows += [Row("libx265", bits, spatial=True, software=True) for bits in (8, 10)]
    # The processor's own movies, to compare with.
    return rows + ([] if quick else [Row("libx265", bits, software=True) for bits in (8, 10)])


def reason_not_offered(row):
    """Why no run of the converter could be about the row; None when one can."""
    if os.name != "nt" and (row.gpu_resident or row.encoder.endswith("_mf")):
        return "Windows only"
    return None


def attempt_of(run, encoder):
    """The converter's words about an encoder that it could not open."""
    words = [line.strip().removeprefix(f"{encoder}: ") for line in run.error.splitlines()
             if line.strip().startswith(f"{encoder}: ")]
    return words[0] if words else None


def judge_refusal(row, run):
    """For a run with an error: raises the exception that it means."""
    error = run.error
    if error.startswith(ENDS_WITHOUT_ENCODER):
        raise NotAvailable(attempt_of(run, row.encoder) or " | ".join(error.splitlines()[1:]).strip())
    if row.spatial and (error.startswith(COULD_NOT_START) or error == NO_STEREO):
        raise NotAvailable(error)
    raise Failed(error)


def judge_encoder(row, run):
    """For a run with a movie: raises NotAvailable when another encoder made it, or in another way."""
    if row.spatial and not row.software:
        return  # always NVENC, and then not named
    [line] = run.values("encoder") or ["none"]
    opened = line.split()[0]
    if opened != row.encoder:
        order = ORDER.get(row.codec, [])
        if opened in order and order.index(opened) < order.index(row.encoder):
            raise NotAvailable(f"not offered: the converter tries {opened} first, which opened, and it has no switch to "
                               "pass it over")
        raise NotAvailable(f"the converter passed it over for {opened} without printing why")
    if row.spatial and "veyrin-two-view-encoder" not in line:
        raise NotAvailable(f"another encoder was used: {line}")
    if row.gpu_resident and "GPU-resident" not in line:
        words = [text.strip() for text in run.lines if "D3D11" in text]
        raise NotAvailable(words[0] if words else f"the frames stayed in memory: {line}")
