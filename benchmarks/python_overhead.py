"""What korvex_color costs above the library's C functions, what threads gain, and what strides cost.

Usage, with the build's folder python in PYTHONPATH: python_overhead.py. Each figure comes from rounds in which the two
that are compared take turns, in one process and on the same buffers; the machine should be idle.
"""

import statistics
import timeit

import numpy as np
from kx_direct_calls import Processor as DirectProcessor

import korvex_color as kc

MATRIX = [[1.6, -0.4, -0.2], [-0.3, 1.5, -0.2], [0, -0.5, 1.5]]
CASES = {  # matrix, input LUTs, output LUTs
    "identity": (False, False, False),
    "matrix": (True, False, False),
    "matrix, output LUTs": (True, False, True),
    "matrix, six LUTs": (True, True, True),
}
ROUNDS = 15


def make_processor(matrix, input_luts, output_luts):
    processor = kc.Processor(12, 12)
    if matrix:
        processor.append_matrix(MATRIX)
    for luts, enabled in (processor.input_luts, input_luts), (processor.output_luts, output_luts):
        luts.red[:] = luts.green[:] = luts.blue[:] = np.arange(4096)
        luts.enabled = enabled
    return processor


def take_turns(*measured):
    """The seconds that each measures, in as many rounds."""
    for measure in measured:
        measure()
    return list(zip(*([measure() for measure in measured] for _ in range(ROUNDS))))


def python_calls(processor, frame, calls, arguments, **names):
    """Measures the seconds of a call, as timeit does it."""
    names.update(transform=processor.transform, frame=frame)
    timer = timeit.Timer(f"transform(frame, {arguments})", globals=names)
    return lambda: timer.timeit(calls) / calls


def compare(case, depth, frame, calls):
    """Medians of the rounds: C's seconds, Python's with `out=` and without, and the ratios of these to C's."""
    processor, direct = make_processor(*CASES[case]), DirectProcessor(*CASES[case])
    out = np.empty_like(frame, dtype=np.uint16 if depth == 16 else np.uint8)
    arguments = f"depth={depth}, clamp=(0, 4095)"
    direct.time_calls(frame, out, 1)
    assert np.array_equal(processor.transform(frame, depth=depth, clamp=(0, 4095)), out)
    c, reused, fresh = take_turns(
        lambda: direct.time_calls(frame, out, calls),
        python_calls(processor, frame, calls, arguments + ", out=out", out=out),
        python_calls(processor, frame, calls, arguments))
    ratios = [statistics.median(b / a for a, b in zip(c, python)) for python in (reused, fresh)]
    return [statistics.median(seconds) for seconds in (c, reused, fresh)] + ratios


def gain_of_two_threads(case, depth, frame):
    processor = make_processor(*CASES[case])
    out = np.empty_like(frame, dtype=np.uint16 if depth == 16 else np.uint8)
    arguments = f"depth={depth}, clamp=(0, 4095), out=out, threads="
    one, two = take_turns(*(python_calls(processor, frame, 1, arguments + str(threads), out=out)
                            for threads in (1, 2)))
    return statistics.median(a / b for a, b in zip(one, two))


STRIDES = {  # 12 megapixels: a view of an array, and how a call says what it is
    "rows bottom up": lambda frame: (frame[::-1], {}),
    "mirrored rows": lambda frame: (frame[:, ::-1], {}),
    "every second column": lambda frame: (frame[:, ::2], {}),
    "planes, red first": lambda frame: (np.moveaxis(frame, -1, 0).copy(), {"layout": "planar", "order": "rgb"}),
    "planes of a crop": lambda frame: (np.moveaxis(frame, -1, 0).copy()[:, 8:, 8:], {"layout": "planar"}),
    "interleaved as planes": lambda frame: (np.moveaxis(frame, -1, 0), {"layout": "planar", "order": "rgb"}),
}


def against_a_copy(view, options):
    """Medians of the rounds: NumPy's copy and the call on it, the call on the view itself, and the ratio."""
    processor = make_processor(True, False, False)
    out = processor.transform(view, depth=8, shift=-4, **options)
    names = {"transform": processor.transform, "view": view, "out": out, "options": options, "np": np}
    call = "transform({}, depth=8, shift=-4, out=out, **options)"
    # What NumPy's copy is: interleaved and contiguous where the view's memory is, or planes.
    copied, direct = take_turns(*(
        lambda timer=timeit.Timer(call.format(image), globals=names): timer.timeit(1)
        for image in ("np.ascontiguousarray(view)" if not view.flags.c_contiguous else "view.copy()", "view")))
    return (*(statistics.median(seconds) for seconds in (copied, direct)),
            statistics.median(b / a for a, b in zip(copied, direct)))


def main():
    random = np.random.default_rng(1)
    small = random.integers(0, 4096, (64, 64, 3), dtype=np.uint16)
    large = random.integers(0, 4096, (2450, 3266, 3), dtype=np.uint16)
    conversions = [(case, depth, f"48 to {3 * depth}, {case}") for case in CASES for depth in (16, 8)]

    print("## A call on 64 x 64 pixels, microseconds\n")
    print("| conversion | C | Python, `out=` | above C | Python, new array | above C |\n|---|---:|---:|---:|---:|---:|")
    for case, depth, name in conversions:
        c, reused, fresh = (1e6 * seconds for seconds in compare(case, depth, small, 2000)[:3])
        print(f"| {name} | {c:.2f} | {reused:.2f} | {reused - c:.2f} | {fresh:.2f} | {fresh - c:.2f} |", flush=True)

    print("\n## 8 megapixels, milliseconds\n")
    print("| conversion | C | Python, `out=` / C | Python, new array / C | 1 thread / 2 threads |\n|---|---:|---:|---:|---:|")
    for case, depth, name in conversions:
        c, _, _, reused, fresh = compare(case, depth, large, 1)
        print(f"| {name} | {1e3 * c:.2f} | {reused:.3f} | {fresh:.3f} | {gain_of_two_threads(case, depth, large):.2f} |",
              flush=True)

    frame = random.integers(0, 4096, (3000, 4000, 3), dtype=np.uint16)
    print("\n## 12 megapixels at other strides, 48 to 24, matrix and shift, milliseconds\n")
    print("| image | NumPy's copy, then the call | the call | ratio |\n|---|---:|---:|---:|")
    for name, arrange in STRIDES.items():
        copied, direct, ratio = against_a_copy(*arrange(frame))
        print(f"| {name} | {1e3 * copied:.1f} | {1e3 * direct:.1f} | {ratio:.2f} |", flush=True)


if __name__ == "__main__":
    main()
