"""What the library does with a pixel, step by step in NumPy's float32, and what docs/profiles.md says of a profile."""

import numpy as np

CHANNELS = ("red", "green", "blue")
CURVES = {
    "srgb": lambda x: np.where(x <= 0.0031308, 12.92 * x, 1.055 * x ** (1 / 2.4) - 0.055),
    "inverse:srgb": lambda x: np.where(x <= 0.04045, x / 12.92, ((x + 0.055) / 1.055) ** 2.4),
    "rec709": lambda x: np.where(x < 0.018, 4.5 * x, 1.099 * x**0.45 - 0.099),
    "inverse:rec709": lambda x: np.where(x < 0.081, x / 4.5, ((x + 0.099) / 1.099) ** (1 / 0.45)),
    "gamma:2.2": lambda x: x ** (1 / 2.2),
    "linear": lambda x: x,
}


def product(matrices):
    result = np.eye(3, dtype=np.float32)
    for matrix in np.float32(matrices):
        parts = result[:, :, None] * matrix[None]
        result = (parts[:, 0] + parts[:, 1]) + parts[:, 2]
    return result


def convert(frame, *, matrices=(), input_luts=None, output_luts=None, clamp=None, shift=0, depth=16, channels=3):
    """`frame` and result are (..., height, width, channels), red first. LUTs are {channel's name: entries}."""
    lights = []
    for place, name in enumerate(CHANNELS):
        samples = frame[..., place]
        if input_luts and name in input_luts:
            samples = input_luts[name][samples] & 0xFFFF
        lights.append(samples.astype(np.float32))
    out = np.zeros(frame.shape[:-1] + (channels,), np.uint16 if depth == 16 else np.uint8)
    for place, (name, row) in enumerate(zip(CHANNELS, product(matrices))):
        sums = (row[0] * lights[0] + row[1] * lights[1]) + row[2] * lights[2]
        rounded = np.trunc(sums.astype(np.float64) + 0.5)
        values = np.where(np.abs(rounded) < 2**31, rounded, -(2.0**31)).astype(np.int64)
        low, high = (0, 65535) if clamp is None else clamp[name]
        table = (output_luts or {}).get(name)
        if table is not None and high == 65535:
            high = len(table) - 1
        values = np.maximum(np.minimum(values, high), low)
        bits = table[values] if table is not None else values.astype(np.uint32)
        distance = shift if isinstance(shift, int) else shift[name]
        shifted = bits << np.uint32(distance) if distance >= 0 else bits.view(np.int32) >> np.int32(-distance)
        out[..., place] = (shifted & (65535 if depth == 16 else 255)).astype(out.dtype)
    return out


def arranged(images, layout, order):
    """Images (..., height, width, channels), red first, as another layout has them: a view."""
    fourth = list(range(3, images.shape[-1]))
    ordered = images if order == "rgb" else images[..., [2, 1, 0] + fourth]
    return np.moveaxis(ordered, -1, -3) if layout == "planar" else ordered


def round_half_up(values):
    return np.floor(values + 0.5).astype(np.uint32)


def curve_lut(curve, bits, largest):
    x = np.arange(2**bits) / (2**bits - 1)
    shape = CURVES[curve](x) if isinstance(curve, str) else np.interp(x, np.linspace(0, 1, len(curve)), curve)
    return round_half_up(largest * np.clip(shape, 0, 1))


def convert_by(profile, frame, *, input_luts={}, output_luts={}, output_bits=None, clamps={}, shifts={}, channels=3):
    """`profile` has the members of its JSON; what is given besides, by channels' names, comes before it."""
    bits, depth, curve = profile["bits"], profile["output_depth"], profile["tone_curve"]
    samples = np.arange(2**bits)
    lights = {name: round_half_up(65535 * np.clip(gain * (samples - black) / (samples[-1] - black), 0, 1))
              for name, black, gain in zip(CHANNELS, profile["black_level"], profile["white_balance"])}
    shifts = {**dict.fromkeys(CHANNELS, 0), **shifts}
    if output_luts or output_bits is not None or curve != "linear":
        output_bits = output_bits or (16 if depth == 16 else max(bits, 12))
        output_luts = {**dict.fromkeys(CHANNELS, curve_lut(curve, output_bits, 2**depth - 1)), **output_luts}
        last = 2**output_bits - 1
        limits = dict.fromkeys(CHANNELS, (0, last))
    else:  # left shifts saturate
        last = 2**depth - 1
        limits = {name: (0, last >> max(shift, 0)) for name, shift in shifts.items()}
    return convert(frame, matrices=[np.array(profile["matrix"]) * last / 65535], input_luts={**lights, **input_luts},
                   output_luts=output_luts, clamp={**limits, **clamps}, shift=shifts, depth=depth, channels=channels)
