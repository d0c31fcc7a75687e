"""Uses the Python package korvex_color as it is installed: it and the library that it loads must lie below FOLDER."""

import importlib.metadata
import pathlib
import sys

import numpy as np

import korvex_color as kc

sys.path.append(str(pathlib.Path(__file__).parents[2] / "examples"))
import simulated_camera

MATRIX = np.float32([[1.6, -0.4, -0.2], [-0.3, 1.5, -0.2], [0, -0.5, 1.5]])
MODULES = ["color_processing", "LUT", "logger", "color_processing_vector_sse"]


def mapped():
    lines = pathlib.Path("/proc/self/maps").read_text().splitlines()
    return {pathlib.Path(line.split(maxsplit=5)[5]) for line in lines if "/korvex_" in line}


assert kc.__version__ == importlib.metadata.version("korvex_color")
frame = np.random.default_rng(8).integers(0, 4096, (5, 67, 83, 3), dtype=np.uint16)
lights = [frame[..., channel].astype(np.float32) for channel in range(3)]
curve = np.arange(4096, dtype=np.uint32) ** 2 // 65793
files = set()
for level in [None, "scalar", "sse", "avx2"]:
    with kc.Processor(12, 12, level) as processor:
        processor.append_matrix(MATRIX)
        for channel in ["red", "green", "blue"]:
            getattr(processor.output_luts, channel)[:] = curve
        processor.output_luts.enabled = True
        pictures = processor.transform(frame, depth=8, clamp=(0, 4095), threads=2)
        files |= mapped()
    for channel, (red, green, blue) in enumerate(MATRIX):
        sums = (red * lights[0] + green * lights[1]) + blue * lights[2]
        wanted = curve[np.clip(np.trunc(sums.astype(float) + 0.5), 0, 4095).astype(int)].astype(np.uint8)
        assert np.array_equal(pictures[..., channel], wanted), f"{level}, {channel}"

profile = kc.Profile(bits=12, output_depth=8, tone_curve="srgb")
assert profile.apply(frame).max() == 255
corners = [(x / 8, y / 8) for x, y in simulated_camera.CORNERS]
_, differences = kc.calibrate(simulated_camera.photograph((512, 375), corners), corners, bits=12)
assert "<svg" in kc.report(differences)

files |= mapped()
print(*sorted(files), sep="\n")
folder = pathlib.Path(sys.argv[1]).resolve()
assert all(file.is_relative_to(folder) for file in files)
assert {"_core", "_chart"} <= {file.name.split(".")[0] for file in files}
assert {f"korvex_kvi_{name}.so" for name in MODULES} <= {file.name for file in files}
