#!/usr/bin/env python3
"""A simulated camera photographs the 24-patch colour chart: what the demo, tests and benchmarks calibrate with.

Needs NumPy and tifffile. Nothing of the project is used, so that it can be judged by these pictures.
"""

import argparse

import numpy as np
import tifffile

# Published L*, a*, b* (D50), row by row.
CHART = np.array("""
    37.986 13.555 14.059   65.711 18.130 17.810   49.927 -4.880 -21.925  43.139 -13.095 21.905
    55.112 8.844 -25.399   70.719 -33.397 -0.199  62.661 36.067 57.096   40.020 10.410 -45.964
    51.124 48.239 16.248   30.325 22.976 -21.587  72.532 -23.709 57.255  71.941 19.363 67.857
    28.778 14.179 -50.297  55.261 -38.342 31.370  42.101 53.378 28.190   81.733 4.039 79.819
    51.935 49.986 -14.574  51.038 -28.631 -28.638 96.539 -0.425 1.186    81.257 -0.638 -0.335
    66.766 -0.734 -0.504   50.867 -0.153 -0.270   35.656 -0.421 -1.231   20.461 -0.079 -0.973
    """.split(), float).reshape(24, 3)
CARD, TABLE = (13, 0, -1), (52, 8, 20)  # the chart's frame, and what it lies on

# How much of each of the scene's primaries passes each colour filter, and the gains that make its greys grey.
CROSSTALK = np.array([[0.64, 0.30, 0.06], [0.19, 0.66, 0.15], [0.05, 0.24, 0.71]])
GAINS = np.array([1.90, 1.00, 1.55])
CORNERS = ((706, 600), (3395, 532), (3545, 2390), (560, 2245))  # where it sees the corner patches


def linear_srgb(lab):
    """From L*a*b* under D50, adapted to sRGB's white by Bradford; colours outside sRGB have values beyond 0 to 1."""
    light, a, b = np.moveaxis(np.asarray(lab, float), -1, 0)
    y = (light + 16) / 116
    f = np.stack([y + a / 500, y, y - b / 200], -1)
    xyz = np.where(f > 6 / 29, f**3, 3 * (6 / 29)**2 * (f - 4 / 29)) * (0.9642, 1, 0.8249)
    return xyz @ np.array([[3.1338561, -1.6168667, -0.4906146], [-0.9787684, 1.9161415, 0.0334540],
                           [0.0719453, -0.2289914, 1.4052427]]).T


def camera_response(linear):
    """What the sensor makes of linear sRGB at exposure 1, without noise and black level."""
    return np.maximum(linear @ CROSSTALK.T / GAINS, 0)


def to_chart(corners, x, y):
    """Where pixels lie on the chart, in units of its patches: the first patch's centre is 0, 0, the last one's 5, 3."""
    equations, values = [], []
    for (u, v), (column, row) in zip(corners, ((0, 0), (5, 0), (5, 3), (0, 3))):
        equations += [(u, v, 1, 0, 0, 0, -u * column, -v * column), (0, 0, 0, u, v, 1, -u * row, -v * row)]
        values += [column, row]
    a, b, c, d, e, f, g, h = np.linalg.solve(equations, values)
    scale = g * x + h * y + 1
    return (a * x + b * y + c) / scale, (d * x + e * y + f) / scale


def expose(light, bits=12, black=(63.7, 64.2, 65.1), full_well=30000, read_noise=6, seed=24):
    """Samples from light, 1 being full scale: with shot noise and read noise, both in electrons."""
    random = np.random.default_rng(seed)
    electrons = light * full_well
    electrons = electrons + np.sqrt(electrons + read_noise**2) * random.standard_normal(light.shape)
    samples = np.array(black) + electrons / full_well * (2**bits - 1 - np.array(black))
    return np.clip(np.rint(samples), 0, 2**bits - 1).astype(np.uint8 if bits == 8 else np.uint16)


def photograph(size=(4096, 3000), corners=CORNERS, exposure=0.92, metamerism=0.01, **sensor):
    """The chart on its card on a table.

    `exposure` is the share of full scale that a perfect white reaches in green, `metamerism` how far the camera's view
    of a paint is from the eye's, as a standard deviation; greys excepted.
    """
    patches = camera_response(linear_srgb(CHART))
    patches[:18] *= np.random.default_rng(5).normal(1, metamerism, (18, 3))
    x, y = to_chart(corners, *np.meshgrid(np.arange(size[0]), np.arange(size[1])))
    column, row = np.clip(np.rint(x), 0, 5), np.clip(np.rint(y), 0, 3)
    is_patch = np.maximum(np.abs(x - column), np.abs(y - row)) <= 0.45
    away = np.hypot(np.maximum(np.abs(x - 2.5) - 3.1, 0), np.maximum(np.abs(y - 1.5) - 2.1, 0))  # from the card
    scene = camera_response(linear_srgb([*CHART, CARD, TABLE]))
    scene[:24] = patches
    seen = scene[np.where(is_patch, 6 * row + column, np.where(away > 0, 25, 24)).astype(int)]
    fading = np.minimum(away / 1.2, 1)  # even light on the card, less toward the edges of the table
    return expose(seen * (exposure * (1 - 0.65 * fading**2 * (3 - 2 * fading)))[..., None], **sensor)


def darkness(size=(4096, 3000), **sensor):
    """A picture with the lid on."""
    return expose(np.zeros((size[1], size[0], 3)), **sensor)


def main():
    parser = argparse.ArgumentParser(description="Let a simulated 12-bit camera photograph the chart.")
    parser.add_argument("output", help="TIFF to write")
    parser.add_argument("--dark", action="store_true", help="with the lid on")
    parser.add_argument("--seed", type=int, default=24, help="of the noise")
    options = parser.parse_args()
    picture = (darkness if options.dark else photograph)(seed=options.seed)
    tifffile.imwrite(options.output, picture, photometric="rgb")
    print(f"{options.output}: {picture.shape[1]} x {picture.shape[0]} pixels of three 12-bit samples, linear")
    if not options.dark:
        print("The chart's corners:", *(f"{x},{y}" for x, y in CORNERS))


if __name__ == "__main__":
    main()
