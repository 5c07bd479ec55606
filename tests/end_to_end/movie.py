"""Reads a movie file with the ffprobe and ffmpeg programs."""

import json
import subprocess
from fractions import Fraction
from functools import cached_property

import numpy as np

SAMPLE_TYPES = {"yuv420p": (np.uint8, 2, 2), "yuvj420p": (np.uint8, 2, 2), "yuv420p10le": (np.uint16, 2, 2),
                "yuv422p10le": (np.uint16, 2, 1)}


def tool(*words):
    done = subprocess.run([str(word) for word in words], capture_output=True, timeout=120, check=False)
    assert done.returncode == 0, f"{' '.join(map(str, words))}\n{done.stderr.decode(errors='replace')}"
    return done.stdout


class Movie:
    def __init__(self, path):
        self.path = path

    @cached_property
    def description(self):
        return json.loads(tool("ffprobe", "-v", "error", "-show_streams", "-show_format", "-of", "json", self.path))

    def streams(self, kind):
        return [stream for stream in self.description["streams"] if stream["codec_type"] == kind]

    @property
    def video(self):
        [stream] = self.streams("video")
        return stream

    @property
    def rate(self):
        return Fraction(self.video["avg_frame_rate"])

    def _frames(self, selector, fields):
        found = json.loads(tool("ffprobe", "-v", "error", "-select_streams", selector, "-show_entries",
                                f"frame={fields}", "-of", "json", self.path))
        return found["frames"]

    @cached_property
    def _video_frames(self):
        return self._frames("v:0", "best_effort_timestamp_time,key_frame")

    @cached_property
    def frame_times(self):
        return [float(frame["best_effort_timestamp_time"]) for frame in self._video_frames]

    @property
    def key_frames(self):
        """1 for each key frame, 0 for the others, in order."""
        return [frame["key_frame"] for frame in self._video_frames]

    def audio_packets(self):
        """(seconds, duration, bytes' hash) of each packet of the first audio stream, in order."""
        found = json.loads(tool("ffprobe", "-v", "error", "-select_streams", "a:0", "-show_packets", "-show_data_hash",
                                "md5", "-of", "json", self.path))
        return [(float(packet["pts_time"]), float(packet["duration_time"]), packet["data_hash"])
                for packet in found["packets"]]

    def planes(self, stream=0):
        """Y, U and V of every frame of a video stream, as arrays (frames, rows, columns)."""
        video = self.streams("video")[stream]
        width, height, pixel_format = video["width"], video["height"], video["pix_fmt"]
        kind, across, down = SAMPLE_TYPES[pixel_format]
        raw = np.frombuffer(tool("ffmpeg", "-nostdin", "-v", "error", "-i", self.path, "-map", f"0:v:{stream}",
                                 "-fps_mode", "passthrough", "-f", "rawvideo", "-pix_fmt", pixel_format, "-"), dtype=kind)
        luma, chroma = width * height, (width // across) * (height // down)
        frames = raw.reshape(-1, luma + 2 * chroma)
        count = frames.shape[0]
        small = (count, height // down, width // across)
        return (frames[:, :luma].reshape(count, height, width), frames[:, luma:luma + chroma].reshape(small),
                frames[:, luma + chroma:].reshape(small))

    def sound(self):
        """(samples of the first channel from time 0 of the movie on, sample rate)."""
        rate = int(self.streams("audio")[0]["sample_rate"])
        raw = tool("ffmpeg", "-nostdin", "-v", "error", "-copyts", "-i", self.path, "-map", "0:a:0", "-af",
                   "aresample=async=1:first_pts=0", "-ac", "1", "-f", "f32le", "-")
        return np.frombuffer(raw, dtype=np.float32), rate
