"""The recordings: pictures and sound agree with the ground truth."""

import numpy as np
import pytest

from movie import Movie
from picture_reading import brightest_times, click_times, locate_target

CASES = {
    "h264": ("--seconds", 2),
    "hevc10_b_frames": ("--codec", "hevc10", "--b-frames", 2, "--rate", "30000/1001", "--seconds", 2),
}


@pytest.mark.parametrize("case", CASES)
def test_targets_stand_where_the_truth_says(shelf, case):
    recording = shelf.get("--size", "640x640", *CASES[case])
    movie = Movie(recording.path)
    for stream, eye in enumerate(("left", "right")):
        luma, _, _ = movie.planes(stream)
        assert len(luma) == recording.frame_count
        camera = recording.rig.camera(eye)
        for frame in (0, 7, 31):
            [entry] = [entry for entry in recording.truth["frames"] if entry["frame"] == frame]
            for point in entry["points"]:
                position = np.array(point["position"])
                distance = np.linalg.norm(position - camera.position)
                radius = 1.8 * point["core_radius_m"] / distance * camera.fx
                found = locate_target(luma[frame], point[eye], (radius, radius))
                assert np.abs(found - point[eye]).max() < 0.15, f"{point['name']} in frame {frame}"


@pytest.mark.parametrize("case", CASES)
def test_a_click_sounds_with_each_flash(shelf, case):
    recording = shelf.get("--size", "640x640", *CASES[case])
    movie = Movie(recording.path)
    luma, _, _ = movie.planes(0)
    flashes = brightest_times(luma, movie.frame_times)
    assert flashes == pytest.approx(recording.flash_times, abs=1e-4)
    assert click_times(*movie.sound()) == pytest.approx(recording.flash_times, abs=0.003)


def test_known_points_project_alike_through_truth_and_rig(shelf):
    recording = shelf.get("--size", "640x640", *CASES["h264"])
    for entry in recording.truth["frames"][::10]:
        for point in entry["points"]:
            for eye in ("left", "right"):
                camera = recording.rig.camera(eye)
                ray = camera.rotation.T @ (np.array(point["position"]) - camera.position)
                assert np.hypot(*(np.array(camera.project_rays(ray)) - point[eye])) < 1e-6
