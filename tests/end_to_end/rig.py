"""The rectified geometry computed on its own: projections of known points and remap tables, in double precision.

Nothing here follows the converter's homographies: rays are turned between frames directly.
"""

from dataclasses import dataclass

import numpy as np


@dataclass
class Camera:
    width: int
    height: int
    fx: float
    fy: float
    cx: float
    cy: float
    k: tuple
    rotation: np.ndarray  # camera to stage
    position: np.ndarray  # in the stage

    @staticmethod
    def from_truth(truth):
        return Camera(truth["width"], truth["height"], truth["fx"], truth["fy"], truth["cx"], truth["cy"],
                      tuple(truth["k"]), np.array(truth["rotation_in_stage"]), np.array(truth["position_in_stage"]))

    def project_rays(self, rays):
        """Image positions of rays (..., 3) in the camera frame by the Kannala-Brandt model."""
        across = np.hypot(rays[..., 0], rays[..., 1])
        theta = np.arctan2(across, rays[..., 2])
        k1, k2, k3, k4 = self.k
        bent = theta + k1 * theta**3 + k2 * theta**5 + k3 * theta**7 + k4 * theta**9
        scale = np.where(across > 1e-12, bent / np.maximum(across, 1e-12), 1.0 / np.abs(rays[..., 2]))
        return self.fx * scale * rays[..., 0] + self.cx, self.fy * scale * rays[..., 1] + self.cy


class Rig:
    def __init__(self, left, right):
        self.left = left
        self.right = right
        # Rows: the rectified axes in the left camera's frame.
        baseline = left.rotation.T @ (right.position - left.position)
        first = baseline / np.linalg.norm(baseline)
        second = np.cross([0.0, 0.0, 1.0], first)
        second /= np.linalg.norm(second)
        self.left_to_rectified = np.stack([first, second, np.cross(first, second)])
        self.fx, self.fy = (left.fx + right.fx) / 2, (left.fy + right.fy) / 2
        self.cx, self.cy = (left.cx + right.cx) / 2, (left.cy + right.cy) / 2
        self.grid = ((left.width + right.width) // 2, (left.height + right.height) // 2)

    def camera(self, eye):
        return self.left if eye == "left" else self.right

    def stage_to_rectified(self, eye):
        """Rotation from the stage into the rectified frame, the same for both eyes."""
        del eye
        return self.left_to_rectified @ self.left.rotation.T

    def rectified_position(self, point, eye, eye_size):
        """Position of a point of the stage in the rectified eye image of the given size."""
        ray = self.stage_to_rectified(eye) @ (point - self.camera(eye).position)
        u = self.fx * ray[0] / ray[2] + self.cx
        v = self.fy * ray[1] / ray[2] + self.cy
        return np.array([self._from_grid(u, self.grid[0], eye_size[0]), self._from_grid(v, self.grid[1], eye_size[1])])

    @staticmethod
    def _from_grid(value, grid, size):
        return (value - (grid - 1) / 2) * (size - 1) / (grid - 1) + (size - 1) / 2

    def maps(self, eye, eye_size):
        """Source x and y for every pixel of the rectified eye image, as float64; -1 if there is no source pixel."""
        width, height = eye_size
        columns, rows = np.meshgrid(np.arange(width, dtype=np.float64), np.arange(height, dtype=np.float64))
        u = (columns - (width - 1) / 2) * (self.grid[0] - 1) / (width - 1) + (self.grid[0] - 1) / 2
        v = (rows - (height - 1) / 2) * (self.grid[1] - 1) / (height - 1) + (self.grid[1] - 1) / 2
        rays = np.stack([(u - self.cx) / self.fx, (v - self.cy) / self.fy, np.ones_like(u)], axis=-1)
        camera = self.camera(eye)
        to_camera = camera.rotation.T @ self.stage_to_rectified(eye).T
        x, y = camera.project_rays(rays @ to_camera.T)
        outside = (x < 0) | (y < 0) | (x > camera.width - 1) | (y > camera.height - 1)
        return np.where(outside, -1.0, x), np.where(outside, -1.0, y)
