"""kx_chart on photographs by a camera simulated in NumPy: what it was built from must come out again.

Run by pytest; KX_CHART is the program, and `examples` must be in PYTHONPATH.
"""

import json
import os
import re
import shlex
import subprocess
import xml.etree.ElementTree

import numpy as np
import PIL.Image
import pytest
import tifffile

import simulated_camera
from simulated_camera import CHART, GAINS, camera_response, linear_srgb

CORNERS = np.array([(530, 120), (470, 400), (120, 330), (190, 60)])  # tilted and turned
BLACK = (63.7, 64.2, 65.1)
NAMES = """dark skin,light skin,blue sky,foliage,blue flower,bluish green,orange,purplish blue,moderate red,purple,
yellow green,orange yellow,blue,green,red,yellow,magenta,cyan,white,neutral 8,neutral 6.5,neutral 5,neutral 3.5,
black""".replace("\n", "").split(",")


@pytest.fixture(autouse=True)
def folder(tmp_path, monkeypatch):
    monkeypatch.chdir(tmp_path)
    return tmp_path


def photograph(name="photo.tif", **camera):
    picture = simulated_camera.photograph((640, 480), CORNERS, **{"metamerism": 0, **camera})
    tifffile.imwrite(name, picture, photometric="rgb")
    return picture


def kx_chart(*arguments, **streams):
    emulator = shlex.split(os.environ.get("KX_EMULATOR", ""))
    return subprocess.run([*emulator, os.environ["KX_CHART"], *map(str, arguments)], capture_output=True, text=True, **streams)


def places(corners=CORNERS):
    return ["--corners", *(f"{x},{y}" for x, y in corners)]


def calibrate(*options, photo="photo.tif", bits=12, profile="camera.json"):
    return kx_chart("calibrate", photo, profile, "--bits", bits, *places(), *options)


def calibrated(*options, warns=None, **more):
    """The profile, and for each patch its row of the table: reference, measured, difference, difference before."""
    done = calibrate("--overwrite", *options, **more)
    assert done.returncode == 0, done.stderr
    assert re.search(warns, done.stderr) if warns else done.stderr == ""
    rows = re.findall(r"^(\w[\w. ]*?) +(-?\d+\.\d{3}.*?)( over-exposed: left out)?$", done.stdout, re.M)[:24]
    with open(more.get("profile", "camera.json"), encoding="utf-8") as file:
        return json.load(file), {name: [float(number) for number in re.findall(r"-?\d+\.\d+", numbers)] + [bool(out)]
                                 for name, numbers, out in rows}, done.stdout


def mean_after(output):
    return float(re.search(r"Mean CIEDE2000 after (\d+\.\d+)", output)[1])


def expect_colours(profile, exposure, tolerance=0.005):
    """Light of any colour comes out as it was, but for the exposure that the profile makes good."""
    light = np.array([(0.2, 0.5, 0.1), (0.9, 0.1, 0.3), (0.7, 0.7, 0.7)])
    balanced = exposure * camera_response(light) * profile["white_balance"]
    assert np.abs(balanced @ np.transpose(profile["matrix"]) - light).max() < tolerance
    assert np.abs(profile["white_balance"] - GAINS).max() < 0.01 and min(profile["white_balance"]) == 1


@pytest.mark.parametrize("black", [(0, 0, 0), BLACK, (256, 250, 260), (1000, 1000, 1000)])
@pytest.mark.parametrize("exposure", [0.92, 0.31, 0.092])
def test_black_level_and_exposure(black, exposure):
    photograph(exposure=exposure, black=black)
    profile, _, output = calibrated()
    assert np.abs(np.subtract(profile["black_level"], black)).max() < 0.3
    assert "(estimated from the grey patches)" in output and mean_after(output) < 0.3
    expect_colours(profile, exposure, 0.01)
    tifffile.imwrite("dark.tif", simulated_camera.darkness((640, 480), black=black, seed=25), photometric="rgb")
    for options in ("--dark", "dark.tif"), ("--black-level", *black):
        profile, _, output = calibrated(*options, "--fit", "least-squares")
        if "--dark" in options and min(black) > 0:  # at 0 half of the noise is cut off
            assert np.abs(np.subtract(profile["black_level"], black)).max() < 0.05
        assert "estimated" not in output and mean_after(output) < 0.5
        expect_colours(profile, exposure, 0.01)


def test_eight_bits():
    picture = photograph(bits=8, black=(4, 4, 4))
    profile, _, _ = calibrated(bits=8)
    expect_colours(profile, 0.92, 0.01)
    assert profile["bits"] == 8 and np.abs(np.subtract(profile["black_level"], 4)).max() < 0.3
    tifffile.imwrite("wide.tif", picture.astype(np.uint16), photometric="rgb")
    assert calibrated(bits=8, photo="wide.tif")[0] == profile
    for bits in 12, 16:
        assert f"photo.tif: has samples of 8 bits, not of {bits}" in calibrate("--overwrite", bits=bits).stderr


def test_what_the_profile_says():
    picture = photograph(metamerism=0.05)
    profile, rows, _ = calibrated("--black-level", *BLACK)
    assert profile["description"] + "\n" == kx_chart("--version").stdout
    assert list(rows) == NAMES and np.abs(np.sum(profile["matrix"], 1) / np.sum(profile["matrix"][0]) - 1).max() < 1e-9
    tifffile.imwrite("planes.tif", np.moveaxis(picture, -1, 0), photometric="rgb", planarconfig="separate")
    assert calibrated("--black-level", *BLACK, photo="planes.tif")[0] == profile
    tifffile.imwrite("stack.tif", np.array([picture, 4095 - picture]), photometric="rgb")
    assert calibrated("--black-level", *BLACK, photo="stack.tif", warns="stack.tif: has 2 pages, of which")[0] == profile
    best, _, _ = calibrated("--black-level", *BLACK, "--fit", "least-squares", "--description", "Lab 3", "--tone-curve",
                            "gamma:2", "--depth", 16)
    sums = np.sum(best["matrix"], 1)
    assert max(sums) - min(sums) > 0.003  # greys may get a tint
    assert (best["description"], best["tone_curve"], best["output_depth"]) == ("Lab 3", "gamma:2", 16)


def test_over_exposed_patches_are_left_out():
    photograph(exposure=1.35)

    def left_out(*options, **more):
        profile, rows, _ = calibrated(*options, **more)
        expect_colours(profile, 1.35, 0.05)
        return [name for name, row in rows.items() if row[-1]]

    assert left_out() == ["white"]
    assert {"white", "neutral 8"} < set(left_out("--saturation", 3000))
    photograph(exposure=6)
    for options in (), ("--black-level", *BLACK):
        assert "over-exposed" in calibrate(*options, profile="new.json").stderr
    assert not os.path.exists("new.json")
    calibrated("--black-level", *BLACK, "--force", profile="new.json", warns="17 of the 24 patches are over-exposed")


def test_what_cannot_be_a_profile_changes_nothing(folder):
    picture = photograph()
    bent = np.rint(4095 * (picture / 4095) ** (1 / 2.2)).astype(np.uint16)
    tifffile.imwrite("bent.tif", bent, photometric="rgb")
    noise = np.random.default_rng(1).integers(0, 4096, picture.shape, np.uint16)
    tifffile.imwrite("noise.tif", noise, photometric="rgb")
    calibrated("--report", "report.svg")
    before = contents(folder)
    aside = (CORNERS[1] - CORNERS[0]) / 5
    orders = [np.roll(corners, turn, 0) for corners in (CORNERS, CORNERS[::-1]) for turn in range(4)][1:]
    for photo, corners in [("photo.tif", order) for order in orders] \
            + [("photo.tif", CORNERS + aside), ("photo.tif", CORNERS + aside / 2), ("bent.tif", CORNERS),
               ("noise.tif", CORNERS)]:
        done = kx_chart("calibrate", photo, "camera.json", "--bits", 12, "--overwrite", "--report", "report.svg",
                        *places(corners))
        assert done.returncode == 1 and "orners right" in done.stderr
        assert contents(folder) == before
    calibrated("--force", photo="bent.tif", warns="no matrix brings the patches near")
    # Dark patches count more: where light falls off, they are off by less.
    y, x = np.mgrid[:480, :640]
    slanting = BLACK + (picture - BLACK) * (1 - 0.1 * x / 640)[..., None]
    tifffile.imwrite("slanting.tif", np.rint(slanting.clip(0)).astype(np.uint16), photometric="rgb")
    assert np.abs(np.subtract(calibrated(photo="slanting.tif")[0]["black_level"], BLACK)).max() < 1.5
    # A little off the line is worth a warning.
    uneven = 64 + (picture - 64.0) * np.where((y > 180) & (x < 260), 0.8, 1)[..., None]
    tifffile.imwrite("uneven.tif", np.rint(uneven.clip(0)).astype(np.uint16), photometric="rgb")
    calibrated(photo="uneven.tif", warns=r"do not lie on one line: \w+[\w .]* is off by \d+ %")


def test_report_and_published_colours():
    photograph(exposure=1.35)
    published = [(name, *lab) for name, lab in zip(NAMES, CHART)]
    long_name = "b<l>&ue" + "\u00e9" * 99
    published[12] = (long_name, *CHART[12] + (10, 0, 0))
    with open("reference.txt", "w", encoding="utf-8-sig") as file:
        print("# row by row", *("{} {}\t{} {} # D50".format(*patch) for patch in published), sep="\n", file=file)
    done = calibrate("--reference", "reference.txt", "--report", "report.svg")
    largest = re.search(r"Mean CIEDE2000 after [\d.]+, largest ([\d.]+) \(b<l>&ue\u00e9{99}\)\n", done.stdout)
    picture = xml.etree.ElementTree.parse("report.svg").getroot()
    space = "{http://www.w3.org/2000/svg}"
    texts = [text.text for text in picture.iter(space + "text")]
    assert f"largest {float(largest[1]):.2f} ({long_name})" in texts[0] and long_name in texts
    assert texts.count("over-exposed: left out") == len(list(picture.iter(space + "path"))) == 1
    rectangles = [(*(float(area.get(name)) for name in ("x", "y", "width")), area.get("fill"))
                  for area in picture.iter(space + "rect")]
    shown = {(round(x), round(y)): fill for x, y, _, fill in rectangles}
    for index, place in (0, (24, 84)), (21, (24 + 3 * 152, 84 + 3 * 136)):
        stored = encode(linear_srgb(CHART[index]))
        for left in place[0], place[0] + 69:  # measured and published
            values = [int(shown[left, place[1]][at:at + 2], 16) for at in (1, 3, 5)]
            assert np.abs(values - stored).max() <= 2
    full = float(re.search(r"A full bar is a difference of (\d+)", texts[1])[1])
    longest = max(width for _, _, width, fill in rectangles if fill == "#1f59a6")
    assert abs(longest / 138 * full - float(largest[1])) < 0.01 * full


def encode(linear):
    linear = np.clip(linear, 0, 1)
    return np.rint(255 * np.where(linear <= 0.0031308, 12.92 * linear, 1.055 * linear**(1 / 2.4) - 0.055)).astype(np.uint8)


@pytest.mark.parametrize("name", ["picture.png", "picture.tif", "wide.tif"])
def test_judges_pictures(name):
    x, y = simulated_camera.to_chart(CORNERS, *np.meshgrid(np.arange(640), np.arange(480)))
    colours = encode(linear_srgb(CHART))
    colours[21] = encode(linear_srgb((56, 0, 0)))
    picture = colours[(6 * np.clip(np.rint(y), 0, 3) + np.clip(np.rint(x), 0, 5)).astype(int)]
    tifffile.imwrite("wide.tif", picture.astype(np.uint16) * 257, photometric="rgb")
    tifffile.imwrite("picture.tif", picture, photometric="rgb")
    PIL.Image.fromarray(picture).save("picture.png")
    done = kx_chart("judge", name, *places())
    assert done.returncode == 0, done.stderr
    mean = (CHART[21, 0] + 56) / 2 - 50
    expected = (56 - CHART[21, 0]) / (1 + 0.015 * mean**2 / np.sqrt(20 + mean**2))  # CIEDE2000 of two greys
    measured = float(re.search(r"^neutral 5 .* ([\d.]+)$", done.stdout, re.M)[1])
    assert abs(measured - expected) < 0.4
    assert re.search(r"cyan [^\n]*outside sRGB: clipped", done.stdout)
    assert kx_chart("judge", name, *places(), "--max-mean", 1).returncode == 0
    done = kx_chart("judge", name, *places(), "--max-mean", 0.1)
    assert done.returncode == 1 and f"{name}: the mean CIEDE2000 is not below 0.1" in done.stderr


def contents(folder):
    return {path.name: path.read_bytes() for path in folder.iterdir()}


def test_refuses_what_is_wrong(folder):
    picture = photograph()
    tifffile.imwrite("grey.tif", np.full_like(picture, 9), photometric="rgb")
    (folder / "short.txt").write_text("blue 1 2 3\n")
    (folder / "wrong.txt").write_text("\nblue 1 2 x\n")
    (folder / "latin.txt").write_bytes(b"t\xfcrkis 1 2 3\n")
    (folder / "link.json").symlink_to("photo.tif")
    (folder / "old.json").write_text("old")
    (folder / "old.svg").write_text("old")
    before = contents(folder)
    twelve = ["calibrate", "photo.tif", "new.json", "--bits", 12]
    usual = [*twelve, *places()]
    for arguments, reason in [
            (twelve, "--corners is required"),
            ([*twelve, *places([(10, 10), (20, 20), (30, 30), (40, 40)])], "on one line"),
            ([*twelve, *places([(10, 10), (90, 90), (90, 10), (10, 90)])], "once around"),
            ([*twelve, *places([(90, 90), (639, 90), (580, 400), (90, 400)])], "patch 'bluish green' lies beyond"),
            ([*twelve, *places([(10, 10), (20, 10), (20, 20), (10, 20)])], "pixels to be measured"),
            (["calibrate", "photo.tif", "new.json", "--bits", 11, *places()], "more than a camera of 11 bits delivers"),
            (["calibrate", "grey.tif", "new.json", "--bits", 12, *places()], "grey.tif: the patches of this picture do not"),
            ([*usual, "--dark", "photo.tif"], "photo.tif: the dark frame is not dark"),
            ([*usual, "--black-level", 1, 2, -3], "/black_level/2"),
            ([*usual, "--reference", "short.txt"], "short.txt: has 1 patches"),
            ([*usual, "--reference", "wrong.txt"], "wrong.txt, line 2: 'x' is no number"),
            ([*usual, "--reference", "latin.txt"], "latin.txt, line 1: the name is no text in UTF-8"),
            ([*usual, "--report", "report.png"], "use .svg"),
            (["calibrate", "photo.tif", "same.svg", "--bits", 12, *places(), "--report", "./same.svg"], "written over"),
            ([*usual, "--report", "old.svg"], "old.svg: exists already; --overwrite"),
            (["calibrate", "photo.tif", "old.json", "--bits", 12, *places()], "old.json: exists already; --overwrite"),
            (["calibrate", "photo.tif", "link.json", "--bits", 12, *places(), "--overwrite"], "written over"),
            (["calibrate", "photo.tif", "none/new.json", "--bits", 12, *places()], "none/new.json: cannot be written"),
            (["judge", "short.txt", *places()], "neither a TIFF nor a PNG")]:
        done = kx_chart(*arguments)
        assert done.returncode != 0 and reason in done.stderr, arguments
        assert contents(folder) == before, arguments
    assert re.fullmatch(r"kx_chart \d+\.\d+\.\d+\n", kx_chart("--version").stdout)
