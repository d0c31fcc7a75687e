"""Images of any shape, stride and order against the oracle; exactly `out` is written."""

import numpy as np
import pytest
from hypothesis import given
from hypothesis import strategies as st

import korvex_color as kc
from oracle import CHANNELS, arranged, convert

LAYOUTS = [("interleaved", "rgb"), ("interleaved", "bgr"), ("planar", "bgr"), ("planar", "rgb")]
SIZES = st.sampled_from([0, 1, 1, 2, 3, 7, 40])
ELEMENT = st.floats(-2, 2, width=32)
MATRIX = st.lists(st.lists(ELEMENT, min_size=3, max_size=3), min_size=3, max_size=3)


@st.composite
def placed(draw, shape, dtype):
    """An array of that shape within a larger one, (view, all of the memory): any strides, aligned or not."""
    axes = draw(st.permutations(range(len(shape)))) if draw(st.booleans()) else list(range(len(shape)))
    steps = [draw(st.sampled_from([1, 1, 1, 1, 2, -1, -3])) for _ in shape]
    starts = [draw(st.sampled_from([0, 0, 1, 2])) for _ in shape]
    sizes = [start + max(count * abs(step), 1) + start % 2 for count, step, start in zip(shape, steps, starts)]
    offset = draw(st.sampled_from([0, 0, 0, 1]))
    memory = np.arange(offset + int(np.prod(sizes)) * np.dtype(dtype).itemsize, dtype=np.int64).astype(np.uint8)
    whole = memory[offset:].view(dtype).reshape([sizes[axis] for axis in axes]).transpose(np.argsort(axes))
    part = whole[tuple(slice(start, start + count * abs(step), abs(step))
                       for count, step, start in zip(shape, steps, starts))]
    return np.flip(part, [axis for axis, step in enumerate(steps) if step < 0]), memory


def each(strategy):
    return st.fixed_dictionaries({name: strategy for name in CHANNELS})


def set_luts(luts, tables):
    for name, table in tables.items():
        getattr(luts, name)[:] = table
    luts.enabled = kc.PerChannel(**{name: name in tables for name in CHANNELS})


@given(st.data())
def test_any_array(data):
    draw = data.draw
    shape = (*draw(st.lists(st.integers(0, 3), max_size=2)), draw(SIZES), draw(SIZES), 3)
    depth, channels = draw(st.sampled_from([8, 16])), draw(st.sampled_from([3, 4]))
    (layout, order), (out_layout, out_order) = draw(st.sampled_from(LAYOUTS)), draw(st.sampled_from(LAYOUTS))
    rng = np.random.default_rng(draw(st.integers(0, 2**32)))
    with_luts = st.sets(st.sampled_from(CHANNELS)) if draw(st.booleans()) else st.just(set())
    input_luts = {name: rng.integers(0, 2**32, 4096, dtype=np.uint32) for name in draw(with_luts)}
    output_luts = {name: rng.integers(0, 2**32, 1024, dtype=np.uint32) for name in draw(with_luts)}
    ranges = st.tuples(st.integers(0, 1023), st.integers(0, 1023)).map(sorted).map(tuple)
    settings = {"clamp": draw(each(ranges | st.just((0, 65535)))), "shift": draw(each(st.integers(-15, 15)))}
    matrices = draw(st.lists(MATRIX, max_size=2))

    images = rng.integers(0, 4096 if input_luts else 65536, shape, dtype=np.uint16)
    expected = arranged(convert(images, matrices=matrices, input_luts=input_luts, output_luts=output_luts,
                                depth=depth, channels=channels, **settings), out_layout, out_order)
    source = arranged(images, layout, order)
    frame, frame_memory = draw(placed(source.shape, np.uint16))
    frame[...] = source
    out, memory = draw(placed(expected.shape, expected.dtype)) if draw(st.booleans()) else (None, None)
    if out is not None:
        untouched = memory.copy()
        out[...] = expected
        memory_wanted = memory.copy()
        memory[...] = untouched

    with kc.Processor(12, 10, draw(st.sampled_from([None, "scalar", "sse", "avx2"]))) as processor:
        for matrix in matrices:
            processor.append_matrix(matrix)
        set_luts(processor.input_luts, input_luts)
        set_luts(processor.output_luts, output_luts)
        frame_before = frame_memory.copy()
        result = processor.transform(
            frame, depth=depth, channels=channels, out=out, threads=2, layout=layout, order=order,
            out_layout=out_layout, out_order=out_order, **{name: kc.PerChannel(**of) for name, of in settings.items()})
    assert np.array_equal(result, expected) and result.dtype == expected.dtype
    assert np.array_equal(frame_memory, frame_before)
    if out is not None:
        assert result is out and np.array_equal(memory, memory_wanted)


@pytest.mark.parametrize("layout, order", LAYOUTS)
def test_bands_give_the_same_bytes(layout, order):
    images = np.random.default_rng(3).integers(0, 65536, (3, 151, 333, 3), dtype=np.uint16)
    frame = np.ascontiguousarray(arranged(images, layout, order))
    with kc.Processor() as processor:
        processor.append_matrix([[0.8, 0.3, -0.1], [0.1, 0.7, 0.2], [0, -0.4, 1.4]])
        expected = processor.transform(frame, layout=layout, order=order)
        for rows, columns in np.s_[:, :], np.s_[100:, 2:], np.s_[::-1, ::2]:
            part = (np.s_[::-1], ..., rows, columns) + (() if layout == "planar" else np.s_[:,])
            for threads in 0, 1, 2, 3, 7:
                result = processor.transform(frame[part], layout=layout, order=order, threads=threads)
                assert np.array_equal(result, expected[part])


def test_parts_of_one_array_are_no_overlap():
    whole = np.random.default_rng(4).integers(0, 65536, (40, 60, 3), dtype=np.uint16)
    cases = [(np.s_[:, :30], np.s_[:, 30:]), (np.s_[::2], np.s_[1::2]), (np.s_[:20, ::2], np.s_[20:, 1::2]),
             (np.s_[::2, ::2], np.s_[1::2, 1::2]), (np.s_[:20:2], np.s_[1::4])]
    with kc.Processor() as processor:
        for source, target in cases:
            wanted = whole.copy()
            wanted[target] = whole[source]
            memory = whole.copy()
            processor.transform(memory[source], out=memory[target])
            assert np.array_equal(memory, wanted)


def test_files_mapped_into_memory_and_samples_whose_bytes_were_swapped(tmp_path):
    stack = np.memmap(tmp_path / "stack", np.uint16, "w+", shape=(2, 5, 7, 3))
    stack[:] = np.arange(stack.size).reshape(stack.shape)
    with kc.Processor() as processor:
        for frames in stack, stack.astype(">u2").byteswap().newbyteorder(), stack.astype("<u2"):
            assert np.array_equal(processor.transform(frames, shift=1), np.asarray(stack) * 2)
