"""korvex_color from a photograph of a colour chart to corrected pictures.

Run it as a script, or cell by cell in Jupyter or an editor that knows "# %%". It writes PNG files to the folder named as
its argument, or to the current one. Needs NumPy and matplotlib.
"""

# %% The package, and where the pictures go
import pathlib
import sys

import matplotlib

if "ipykernel" not in sys.modules:
    matplotlib.use("Agg")
import matplotlib.pyplot as plt
import numpy as np
from numpy.typing import NDArray

import korvex_color as kc

in_jupyter = "ipykernel" in sys.modules
folder = pathlib.Path("." if in_jupyter or len(sys.argv) < 2 else sys.argv[1])
folder.mkdir(parents=True, exist_ok=True)

# %% A 12-bit camera, simulated: what it makes of linear light, with black level and noise
SEES = np.array([[0.42, 0.12, 0.02], [0.12, 0.84, 0.10], [0.02, 0.14, 0.56]])  # of red, green and blue light
BLACK = np.array([63.7, 64.2, 65.1])
random = np.random.default_rng(24)


def photograph(light: NDArray[np.float64]) -> NDArray[np.uint16]:
    electrons = random.poisson(30000 * np.clip(0.9 * light @ SEES.T, 0, 1))
    samples = BLACK + electrons / 30000 * (4095 - BLACK) + random.normal(0, 0.8, light.shape)
    return np.asarray(np.clip(np.round(samples), 0, 4095), np.uint16)


# %% A colour chart before it
SRGB = """735244 c29682 627a9d 576c43 8580b1 67bdaa d67e2c 505ba6 c15a63 5e3c6c 9dbc40 e0a32e
          383d96 469449 af363c e7c71f bb5695 0885a1 f3f3f2 c8c8c8 a0a0a0 7a7a79 555555 343434""".split()
values = np.array([[int(text[i:i + 2], 16) for i in (0, 2, 4)] for text in SRGB]) / 255
linear = np.where(values <= 0.04045, values / 12.92, ((values + 0.055) / 1.055) ** 2.4).reshape(4, 6, 3)
scene = np.full((640, 900, 3), 0.02)
for row in range(4):
    for column in range(6):
        scene[80 + 130 * row:180 + 130 * row, 70 + 130 * column:170 + 130 * column] = linear[row, column]
corners = [(119.5, 129.5), (769.5, 129.5), (769.5, 519.5), (119.5, 519.5)]  # the centres of the corner patches
chart = photograph(scene)
dark = photograph(np.zeros((200, 300, 3)))

# %% Calibrate: the camera's profile, and how far each patch is from its published colour
try:
    found = kc.find_chart(chart)  # to within a few hundredths of a patch
    print("OpenCV finds the corners at", found.round().tolist())
except ImportError as missing:
    print(missing)
profile, differences = kc.calibrate(chart, corners, bits=12, dark=dark, description="A simulated camera")
print(f"Mean CIEDE2000 {differences.before.mean:.2f} before, {differences.after.mean:.2f} after; "
      f"the largest is {differences.after.largest.difference:.2f} ({differences.after.largest.name})")
profile.save(folder / "camera.json")
(folder / "report.svg").write_text(kc.report(differences))

# %% Apply the profile: to one picture, and to a stack on two threads
corrected = profile.apply(chart)
figure, (left, right) = plt.subplots(1, 2, figsize=(12, 4.4), layout="constrained")
left.imshow(chart / 4095)
left.set_title("As the camera delivers it")
right.imshow(corrected)
right.set_title("With its profile")
for axes in (left, right):
    axes.set_axis_off()
figure.savefig(folder / "before_and_after.png", dpi=100)

stack = np.stack([photograph(scene * brightness) for brightness in (0.25, 0.5, 1.0)])
pictures = profile.apply(stack, threads=2)
print("A stack", stack.shape, stack.dtype, "becomes", pictures.shape, pictures.dtype)

# %% A crop into a part of a larger picture: nothing is copied, and nothing else is written
sheet = np.full((300, 940, 3), 255, np.uint8)
for number, frame in enumerate(stack):
    profile.apply(frame[60:320, 50:350], out=sheet[20:280, 10 + 310 * number:310 + 310 * number])
plt.imsave(folder / "sheet.png", sheet)

# %% The library's own terms: false colours through the output LUTs, whose entries are NumPy arrays
with kc.Processor(input_lut_bits=12, output_lut_bits=12) as processor:
    processor.append_matrix(np.full((3, 3), 1 / 3))  # the mean of the channels in each of them
    ramp = plt.get_cmap("viridis")(np.linspace(0, 1, 4096))[:, :3]
    for place, entries in enumerate(processor.output_luts):  # red, green, blue
        entries[:] = np.round(255 * ramp[:, place])
    processor.output_luts.enabled = True
    plt.imsave(folder / "false_colours.png", processor.transform(chart, depth=8))

print("The pictures are in", folder.resolve())
