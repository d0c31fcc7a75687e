"""What the modules need, and that what the documents show runs and has types."""

import importlib.util
import os
import pathlib
import re
import subprocess
import sys

import dask.array
import numpy as np
import pytest

import korvex_color as kc
import simulated_camera

ROOT = pathlib.Path(__file__).parents[2]
SYSTEM = {"libc.so.6", "libm.so.6", "libgcc_s.so.1", "libstdc++.so.6", "ld-linux-x86-64.so.2"}


def read(option, name):
    file = importlib.util.find_spec(f"korvex_color.{name}").origin
    return subprocess.run(["readelf", "--wide", option, file], check=True, capture_output=True, text=True).stdout


@pytest.mark.parametrize("name, more", [("_core", {"korvex_kvi_color_processing.so"}), ("_chart", {"liblcms2.so.2"})])
def test_what_a_module_needs(name, more):
    needed = {*re.findall(r"\(NEEDED\).*\[(.+)\]", read("--dynamic", name))}
    assert more <= needed <= SYSTEM | more
    versions = re.findall(r"GLIBC_(\d+)\.(\d+)", read("--version-info", name))
    assert max((int(major), int(minor)) for major, minor in versions) <= (2, 34)


# What the snippets take as given, as a user's own annotations would have it.
GIVEN = """
import pathlib
from typing import Any
import dask.array.core
import numpy as np
from numpy.typing import NDArray
import korvex_color as kc
frame: NDArray[np.uint16]
stack: NDArray[np.uint16]
photograph: NDArray[np.uint16]
dark: NDArray[np.uint16]
picture: NDArray[np.uint8]
curve: NDArray[np.int64]
m: list[list[float]]
profile: kc.Profile
lazy: dask.array.core.Array
untyped: Any
"""
MORE = """
depth: int = 8
clamp = (0, np.int64(4095))
p = kc.Processor(np.int64(12), vector_level="sse")
p.output_luts.enabled = True
p.input_luts.enabled = [True, False, np.bool_(True)]
p.output_luts.green = [1, 2]
p.transform(frame, depth=depth, clamp=clamp, shift=np.int8(3), threads=np.int64(2)).astype(float)
p.transform(frame, clamp=kc.PerChannel(red=clamp, green=(0, 1), blue=[0, 5]), shift=[1, 2, 3])
narrow: NDArray[np.uint8] = p.transform(frame, depth=8, out=picture, layout="planar", order="rgb")
wide: NDArray[np.uint16] = p.transform(frame)
later: dask.array.core.Array = profile.apply(lazy)
pictures = stack if depth else profile.apply(stack, out=narrow)
"""
WRONG = ['p.transform(frame, depth="8")', "p.transform(np.zeros((2, 2, 3)))", "p.output_luts.enabled = 3",
         'profile.apply(frame, order="grb")', "profile.bits = 3"]


def snippets(name):
    return re.findall("```python\n(.*?)```", (ROOT / name).read_text(), re.DOTALL)


def test_types(tmp_path):
    files = {"more": GIVEN + MORE, "wrong": GIVEN + "p = kc.Processor()\n" + "\n".join(WRONG)}
    for name in "README.md", "docs/python.md":
        parts = snippets(name)
        assert parts
        for number, part in enumerate(parts):
            files[f"{pathlib.Path(name).stem}_{number}"] = GIVEN + "def shown() -> None:\n" + re.sub(
                "^", "    ", part.replace("import korvex_color as kc\n", "").replace(
                    "dask.array.from_zarr", "untyped"), flags=re.MULTILINE)
    for name, text in files.items():
        (tmp_path / f"{name}.py").write_text(text)
    run = subprocess.run(
        [sys.executable, "-m", "mypy", "--config-file", "mypy.ini", "--no-error-summary",
         str(ROOT / "examples/python_tour.py"), *map(str, tmp_path.glob("*.py"))],
        env={**os.environ, "PYTHONPATH": ""},  # what lies there would count as installed, and never be wrong
        capture_output=True, text=True, check=False)
    found = [line for line in run.stdout.splitlines() if ": error: " in line]
    wrong = [line for line in found if "/wrong.py:" in line]
    assert found == wrong, "\n".join(found)
    assert len({line.split(":")[1] for line in wrong}) == len(WRONG)


def test_snippets_run(tmp_path, monkeypatch):
    """README's and the document's, as they stand, one after another."""
    monkeypatch.chdir(tmp_path)
    kc.Profile(bits=12, output_depth=8).save("camera.json")
    corners = np.array(simulated_camera.CORNERS) / 8
    photograph = simulated_camera.photograph((512, 375), corners)
    stack = np.random.default_rng(7).integers(0, 4096, (3, 20, 30, 3), dtype=np.uint16)
    dask.array.from_array(stack).to_zarr("recording.zarr")
    given = {"stack": stack, "frame": stack[0], "curve": np.arange(4096), "m": np.eye(3), "dark": np.zeros_like(photograph),
             "picture": np.empty((20, 30, 3), np.uint8), "photograph": photograph}
    monkeypatch.setattr(kc, "find_chart", lambda image: corners)
    for name in "README.md", "docs/python.md":
        exec("\n".join(snippets(name)), {**given, "kc": kc, "np": np, "dask": dask, "pathlib": pathlib})
