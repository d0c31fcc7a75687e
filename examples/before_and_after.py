#!/usr/bin/env python3
"""Draw a camera's picture, as it comes, and its conversion to 8-bit sRGB side by side. Needs NumPy, tifffile and Pillow."""

import argparse

import numpy as np
import PIL.Image
import tifffile


def encode_srgb(light):
    return np.where(light <= 0.0031308, 12.92 * light, 1.055 * light**(1 / 2.4) - 0.055)


def decode_srgb(value):
    return np.where(value <= 0.04045, value / 12.92, ((value + 0.055) / 1.055)**2.4)


def reduced(light, columns=1024):
    """At most that many columns: the mean of each block, in linear light."""
    step = -(-light.shape[1] // columns)
    height, width = light.shape[0] // step, light.shape[1] // step
    return light[:height * step, :width * step].reshape(height, step, width, step, 3).mean((1, 3))


def main():
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument("photograph", help="TIFF, linear, as the camera delivers it")
    parser.add_argument("picture", help="its conversion")
    parser.add_argument("output", help="PNG or JPEG to write")
    parser.add_argument("--bits", type=int, required=True, help="what the camera delivers")
    options = parser.parse_args()
    before = tifffile.imread(options.photograph).astype(np.float32) / (2**options.bits - 1)
    after = decode_srgb(np.arange(256, dtype=np.float32) / 255)[np.asarray(PIL.Image.open(options.picture))]
    halves = [encode_srgb(reduced(light)) for light in (before, after)]
    white = np.ones((len(halves[0]), 16, 3))
    both = np.rint(255 * np.hstack([halves[0], white, halves[1]])).astype(np.uint8)
    PIL.Image.fromarray(both).save(options.output)
    print(f"{options.output}: left the camera's picture as it comes, right the conversion")


if __name__ == "__main__":
    main()
