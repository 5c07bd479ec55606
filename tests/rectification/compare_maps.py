"""Compares the program's remap tables with a double-precision computation of the same geometry.

    compare_maps.py DUMP_MAPS

DUMP_MAPS is the tool that writes the tables of a calibration. Rays are followed from the rectified pixel through the
rotations into each camera, without the homographies that the program goes through.
"""
import json
import pathlib
import subprocess
import sys
import tempfile

import numpy as np

TOLERANCE = 0.01  # pixels


def rotation(yaw, pitch, roll):
    """Axes of a turned frame as columns."""
    cy, sy, cp, sp, cr, sr = np.cos(yaw), np.sin(yaw), np.cos(pitch), np.sin(pitch), np.cos(roll), np.sin(roll)
    about_y = np.array([[cy, 0, sy], [0, 1, 0], [-sy, 0, cy]])
    about_x = np.array([[1, 0, 0], [0, cp, -sp], [0, sp, cp]])
    about_z = np.array([[cr, -sr, 0], [sr, cr, 0], [0, 0, 1]])
    return about_y @ about_x @ about_z


def random_camera(random, width, height):
    focal = width * random.uniform(0.3, 0.7)
    return {
        "width": width, "height": height,
        "fx": focal, "fy": focal * random.uniform(0.98, 1.02),
        "cx": (width - 1) / 2 + random.uniform(-0.02, 0.02) * width,
        "cy": (height - 1) / 2 + random.uniform(-0.02, 0.02) * height,
        "k": [random.uniform(-0.05, 0.05), random.uniform(-0.02, 0.02), random.uniform(-0.005, 0.005),
              random.uniform(-0.001, 0.001)],
    }


def make_case(random, left_size, right_size, eye_size, turn=0.03, position=None):
    axes = rotation(*(random.uniform(-turn, turn, 3))).astype(np.float32)
    if position is None:
        position = [0.064, *random.uniform(-0.004, 0.004, 2)]
    return {
        "left": random_camera(random, *left_size), "right": random_camera(random, *right_size),
        "plus_x": axes[:, 0].tolist(), "y": axes[:, 1].tolist(), "plus_z": axes[:, 2].tolist(),
        "position": np.asarray(position, np.float32).tolist(),
        "eye_width": eye_size[0], "eye_height": eye_size[1],
    }


def cases():
    random = np.random.default_rng(20)
    yield "eye of the grid's size", make_case(random, (640, 480), (640, 480), (640, 480))
    yield "smaller eye", make_case(random, (1920, 1440), (1920, 1440), (301, 227))
    yield "larger eye", make_case(random, (320, 240), (320, 240), (701, 523))
    yield "cameras of different sizes", make_case(random, (641, 479), (652, 490), (500, 400))
    yield "one column", make_case(random, (640, 480), (640, 480), (1, 97))
    yield "one row", make_case(random, (640, 480), (640, 480), (97, 1))
    yield "strong turn", make_case(random, (640, 640), (640, 640), (320, 320), turn=0.4)
    yield "slanted baseline", make_case(random, (640, 640), (640, 640), (320, 320), position=[0.05, 0.03, -0.02])
    yield "swapped baseline", make_case(random, (640, 480), (640, 480), (320, 240), position=[-0.064, 0.001, 0.002])
    yield "large sensor", make_case(random, (3840, 3840), (3840, 3840), (480, 480))
    for number in range(6):
        size = tuple(int(n) for n in random.integers(200, 900, 2))
        eye = tuple(int(n) for n in random.integers(2, 500, 2))
        yield f"random {number}", make_case(random, size, size, eye)


def grid_axis(samples, grid):
    step = (grid - 1) / (samples - 1) if samples > 1 else 0.0
    return (np.arange(samples) - (samples - 1) / 2) * step + (grid - 1) / 2


def expected_positions(case, eye):
    """Source positions of one eye, not yet limited to its image."""
    left, right = case["left"], case["right"]
    mean = {key: (left[key] + right[key]) / 2 for key in ("fx", "fy", "cx", "cy", "width", "height")}
    u, v = np.meshgrid(grid_axis(case["eye_width"], int(mean["width"])),
                       grid_axis(case["eye_height"], int(mean["height"])))
    rays = np.stack([(u - mean["cx"]) / mean["fx"], (v - mean["cy"]) / mean["fy"], np.ones_like(u)], axis=-1)

    x_axis = np.array(case["position"])
    x_axis = x_axis / np.linalg.norm(x_axis)
    y_axis = np.cross([0.0, 0.0, 1.0], x_axis)
    y_axis = y_axis / np.linalg.norm(y_axis)
    left_from_rectified = np.stack([x_axis, y_axis, np.cross(x_axis, y_axis)], axis=1)
    rays = rays @ left_from_rectified.T
    if eye == "right":
        rays = rays @ np.array([case["plus_x"], case["y"], case["plus_z"]]).T

    camera = case[eye]
    x, y = rays[..., 0] / rays[..., 2], rays[..., 1] / rays[..., 2]
    radius = np.hypot(x, y)
    theta = np.arctan(radius)
    k1, k2, k3, k4 = camera["k"]
    distorted = theta * (1 + k1 * theta**2 + k2 * theta**4 + k3 * theta**6 + k4 * theta**8)
    scale = np.where(radius > 1e-8, distorted / np.maximum(radius, 1e-30), 1.0)
    return x * scale * camera["fx"] + camera["cx"], y * scale * camera["fy"] + camera["cy"]


def compare(case, eye, map_x, map_y):
    """Largest difference in pixels; raises for a wrongly valid or invalid entry."""
    x, y = expected_positions(case, eye)
    right, bottom = case[eye]["width"] - 1, case[eye]["height"] - 1
    inset = np.minimum(np.minimum(x, y), np.minimum(right - x, bottom - y))
    valid = (map_x != -1) | (map_y != -1)
    if np.any(valid & (inset < -TOLERANCE)):
        raise AssertionError("an entry outside the source image is marked as valid")
    if np.any(~valid & (inset > TOLERANCE)):
        raise AssertionError("an entry inside the source image is marked as invalid")
    if not np.any(valid):
        raise AssertionError("no entry is valid")
    return np.max(np.maximum(np.abs(map_x - x), np.abs(map_y - y))[valid]), np.mean(valid)


def main(tool):
    failed = False
    with tempfile.TemporaryDirectory() as folder:
        case_file, dump = pathlib.Path(folder, "case.json"), pathlib.Path(folder, "maps.raw")
        for name, case in cases():
            case_file.write_text(json.dumps(case), encoding="utf-8")
            subprocess.run([tool, case_file, dump], check=True, stdout=subprocess.DEVNULL)
            maps = np.fromfile(dump, np.float32).astype(float)
            maps = maps.reshape(4, case["eye_height"], case["eye_width"])
            for index, eye in enumerate(("left", "right")):
                try:
                    worst, share = compare(case, eye, maps[2 * index], maps[2 * index + 1])
                except AssertionError as error:
                    print(f"{name}, {eye}: {error}; case: {json.dumps(case)}")
                    failed = True
                    continue
                print(f"{name}, {eye}: largest difference {worst:.5f} pixels, {share:.1%} valid")
                if not worst < TOLERANCE:
                    print(f"  above the tolerance of {TOLERANCE}; case: {json.dumps(case)}")
                    failed = True
    return 1 if failed else 0


if __name__ == "__main__":
    sys.exit(main(sys.argv[1]))
