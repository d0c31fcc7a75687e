"""The chart in the simulated camera's photograph. Skipped without OpenCV and its module mcc."""

import numpy as np
import pytest

import korvex_color as kc
import simulated_camera

pytest.importorskip("cv2", reason="python3-opencv is not installed")

CORNERS = np.array(simulated_camera.CORNERS)


def test_find_chart():
    photograph = simulated_camera.photograph()
    patch = (CORNERS[1, 0] - CORNERS[0, 0]) / 5
    assert np.abs(kc.find_chart(photograph) - CORNERS).max() < 0.05 * patch
    half = photograph[::2, ::2, ::-1]
    turned = kc.find_chart(half[::-1, ::-1], order="bgr")  # the order of the corners is that of the patches
    assert np.abs(turned - (np.array(half.shape[1::-1]) - 1 - CORNERS / 2)).max() < 0.05 * patch
    with pytest.raises(ValueError, match="no chart"):
        kc.find_chart(photograph[:200, :300])
