"""Calibration, against kx_chart itself."""

import dataclasses
import os
import subprocess
import sys

import numpy as np
import pytest
import tifffile

import korvex_color as kc
import simulated_camera

CORNERS = np.array(simulated_camera.CORNERS) / 4
SIZE = 1024, 750


@pytest.fixture(scope="module")
def folder(tmp_path_factory):
    folder = tmp_path_factory.mktemp("chart")
    tifffile.imwrite(folder / "photograph.tif", simulated_camera.photograph(SIZE, CORNERS), photometric="rgb")
    tifffile.imwrite(folder / "dark.tif", simulated_camera.darkness(SIZE), photometric="rgb")
    return folder


@pytest.fixture(scope="module")
def photograph(folder):
    return tifffile.imread(folder / "photograph.tif")


def calibrated_by_kx_chart(folder, *options):
    corners = [f"{x},{y}" for x, y in CORNERS]
    command = [os.environ["KX_CHART"], "calibrate", folder / "photograph.tif", folder / "camera.json", "--corners",
               *corners, "--bits", 12, "--overwrite", "--report", folder / "report.svg", *options]
    text = subprocess.run([*map(str, command)], check=True, capture_output=True, text=True).stdout
    return (folder / "camera.json").read_text(), text


def test_as_kx_chart_does(folder, photograph):
    wanted, text = calibrated_by_kx_chart(folder, "--dark", folder / "dark.tif", "--description", "one")
    dark = tifffile.imread(folder / "dark.tif")
    profile, differences = kc.calibrate(photograph, CORNERS, bits=12, dark=dark, description="one")
    assert profile.to_json() == wanted
    for name, judgement in ("before", differences.before), ("after", differences.after):
        assert (f"Mean CIEDE2000 {name} {judgement.mean:.3f}, largest {judgement.largest.difference:.3f} "
                f"({judgement.largest.name})") in text
    assert kc.report(differences) == (folder / "report.svg").read_text()
    wrong = dataclasses.replace(differences.after, largest_index=24)
    with pytest.raises(ValueError, match="24 patches"):
        kc.report(kc.Differences(differences.before, wrong))


def test_what_cannot_be_a_profile(photograph):
    upside_down = CORNERS[[2, 3, 0, 1]]
    with pytest.raises(ValueError, match="are the corners right"):
        kc.calibrate(photograph, upside_down, bits=12)
    with pytest.warns(UserWarning, match="are the corners right"):
        assert kc.calibrate(photograph, upside_down, bits=12, force=True)[1].after.mean > 6


def test_options(folder, photograph):
    profile, differences = kc.calibrate(photograph, CORNERS, bits=12)
    assert np.abs(np.subtract(profile.black_level, (63.7, 64.2, 65.1))).max() < 0.3  # estimated
    published = differences.after.patches
    reference = [(patch.name + " 2", *np.multiply(patch.reference, 0.95)) for patch in published]
    (folder / "reference.txt").write_text("".join("{} {} {} {}\n".format(*patch) for patch in reference))
    wanted, _ = calibrated_by_kx_chart(folder, "--black-level", 60, 61.5, 62, "--saturation", 3000, "--depth", 16,
                                       "--tone-curve", "gamma:2.2", "--fit", "least-squares",
                                       "--reference", folder / "reference.txt", "--description", "")
    options = dict(bits=12, black_level=(60, 61.5, 62), saturation=3000, output_depth=16, tone_curve="gamma:2.2",
                   fit="least-squares")
    planes = np.moveaxis(photograph[..., ::-1], -1, 0)
    for picture, more in (photograph, {"reference": folder / "reference.txt"}), \
            (photograph[..., ::-1], {"reference": reference, "order": "bgr"}), \
            (planes, {"reference": reference, "layout": "planar"}):
        profile, differences = kc.calibrate(picture, CORNERS, **options, **more)
        assert profile.to_json() == wanted
        assert differences.after.patches[3].name == "foliage 2" and differences.after.patches[18].left_out


def test_without_companions(photograph, monkeypatch):
    monkeypatch.setitem(sys.modules, "cv2", None)
    with pytest.raises(ImportError, match="python3-opencv"):
        kc.find_chart(photograph)
    monkeypatch.setitem(sys.modules, "korvex_color._chart", None)
    monkeypatch.delattr(kc, "_chart", raising=False)
    with pytest.raises(ImportError, match="liblcms2"):
        kc.calibrate(photograph, CORNERS, bits=12)


@pytest.mark.parametrize("argument, error, options", [
    ("image", ValueError, {"image": np.zeros((1, 20, 30, 3), np.uint16)}),
    ("image", TypeError, {"image": np.zeros((20, 30, 3), np.uint8)}),
    ("black_level", ValueError, {"dark": np.zeros((2, 3, 3), np.uint16), "black_level": (1, 0, 0)}),
    ("corners", ValueError, {"corners": CORNERS[:3]}),
    ("corners", TypeError, {"corners": [["a", "b"]] * 4}),
    ("beyond the picture", ValueError, {}),
    ("fit", ValueError, {"fit": "best"}),
    ("reference", ValueError, {"reference": [("white", 96, 0, 0)] * 23}),
    ("order", ValueError, {"order": "grb"}),
    ("/black_level/0", kc.ProfileError, {"black_level": (5000, 0, 0)}),
])
def test_refused(argument, error, options):
    with pytest.raises(error, match=argument):
        kc.calibrate(**{"image": np.zeros((20, 30, 3), np.uint16), "corners": CORNERS, "bits": 12, **options})
