"""What the library does with a pixel, step by step in NumPy's float32, and arrays at awkward places in memory."""

import numpy as np
from hypothesis import strategies as st

CHANNELS = ("red", "green", "blue")


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


@st.composite
def placed(draw, shape, dtype):
    """An array of that shape within a larger one, (view, all of the memory): any strides, aligned or not."""
    axes = draw(st.permutations(range(len(shape)))) if draw(st.booleans()) else list(range(len(shape)))
    steps = [draw(st.sampled_from([1, 1, 1, 1, 2, -1, -3])) for _ in shape]
    before = [draw(st.sampled_from([0, 0, 1, 2])) for _ in shape]
    sizes = [start + max(count * abs(step), 1) + start % 2 for count, step, start in zip(shape, steps, before)]
    offset = draw(st.sampled_from([0, 0, 0, 1]))
    memory = np.arange(offset + int(np.prod(sizes)) * np.dtype(dtype).itemsize, dtype=np.int64).astype(np.uint8)
    whole = memory[offset:].view(dtype).reshape([sizes[axis] for axis in axes])
    view = whole.transpose(np.argsort(axes)) if len(shape) else whole
    cut = []
    for count, step, start in zip(shape, steps, before):
        last = start + (count - 1) * abs(step)
        stop = last - abs(step) * count
        cut.append(slice(start, start) if count == 0 else slice(start, last + 1, step) if step > 0
                   else slice(last, stop if stop >= 0 else None, step))
    return view[tuple(cut)], memory
