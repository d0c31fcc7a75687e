"""What is refused, how long things live, and threads."""

import gc
import os
import pickle
import subprocess
import sys
import threading

import numpy as np
import pytest

import korvex_color as kc
from korvex_color._core import _processors_alive

FRAME = np.random.default_rng(1).integers(0, 4096, (5, 7, 3), dtype=np.uint16)
ZEROS = np.zeros_like(FRAME)
READ_ONLY = np.zeros_like(FRAME)
READ_ONLY.flags.writeable = False
BEYOND = FRAME.copy()
BEYOND[2, 4, 1] = 4096


def overlapping():
    return np.lib.stride_tricks.as_strided(np.zeros(900, np.uint16), FRAME.shape, (4, 6, 2))


@pytest.mark.parametrize("argument, error, options", [
    ("frame", TypeError, {"frame": FRAME.tolist()}),
    ("frame", TypeError, {"frame": FRAME.astype(np.int16)}),
    ("frame", TypeError, {"frame": FRAME.astype(np.uint8)}),
    ("frame", TypeError, {"frame": FRAME.astype(float)}),
    ("frame", TypeError, {"frame": FRAME.astype(">u2")}),
    ("frame", ValueError, {"frame": FRAME[..., :2]}),
    ("frame", ValueError, {"frame": FRAME[0]}),
    ("frame", ValueError, {"layout": "planar"}),
    ("frame[2, 4, 1]", ValueError, {"frame": BEYOND}),
    ("frame[1, 0, 2, 4, 1]", ValueError, {"frame": np.stack([FRAME, BEYOND])[:, None], "out": None}),
    ("frame[1, 2, 4]", ValueError, {"frame": np.moveaxis(BEYOND, -1, 0), "layout": "planar", "out": None}),
    ("depth", ValueError, {"depth": 12}),
    ("depth", TypeError, {"depth": 8.0}),
    ("channels", ValueError, {"channels": 1}),
    ("clamp", ValueError, {"clamp": (0, 65536)}),
    ("clamp", ValueError, {"clamp": (5, 4)}),
    ("clamp", ValueError, {"clamp": (0, 4096)}),  # beyond the output LUT
    ("clamp", TypeError, {"clamp": 4095}),
    ("clamp", TypeError, {"clamp": (0, 1.5)}),
    ("clamp", TypeError, {"clamp": kc.PerChannel(red=(0, 1), green=(0, 1), blue=None)}),
    ("shift", ValueError, {"shift": -16}),
    ("shift", TypeError, {"shift": 0.5}),
    ("threads", ValueError, {"threads": -1}),
    ("threads", ValueError, {"threads": 2**70}),
    ("threads", TypeError, {"threads": None}),
    ("layout", ValueError, {"layout": "rgb"}),
    ("order", ValueError, {"order": "brg"}),
    ("order", ValueError, {"frame": np.moveaxis(FRAME, -1, 0), "layout": "planar", "order": "rgb"}),
    ("order", TypeError, {"order": 1}),
    ("out_layout", ValueError, {"out_layout": "planes"}),
    ("out_order", ValueError, {"out_layout": "planar", "out_order": "rgb"}),
    ("out", TypeError, {"out": [1]}),
    ("out", TypeError, {"out": ZEROS, "depth": 8}),
    ("out", TypeError, {"out": ZEROS.astype(">u2")}),
    ("out", ValueError, {"out": ZEROS, "channels": 4}),
    ("out", ValueError, {"out": ZEROS[None]}),
    ("out", ValueError, {"out": READ_ONLY}),
    ("out", ValueError, {"out": overlapping()}),
    ("out", ValueError, {"out": FRAME}),
    ("out", ValueError, {"frame": FRAME[:-1], "out": FRAME[1:]}),
    ("out", ValueError, {"frame": FRAME[::-1], "out": FRAME}),
    ("threaded", TypeError, {"threaded": True}),
])
def test_refused(argument, error, options):
    options = {"frame": FRAME, "out": ZEROS, **options}
    before = FRAME.copy()
    with kc.Processor(12, 12) as processor:
        processor.input_luts.enabled = kc.PerChannel(red=False, green=True, blue=False)
        processor.output_luts.enabled = True
        with pytest.raises(error, match=argument.replace("[", r"\[")):
            processor.transform(**options)
    assert not ZEROS.any() and not READ_ONLY.any() and np.array_equal(FRAME, before)


@pytest.mark.parametrize("argument, error, call", [
    ("input_lut_bits", ValueError, lambda p: kc.Processor(input_lut_bits=17)),
    ("output_lut_bits", TypeError, lambda p: kc.Processor(output_lut_bits=12.0)),
    ("vector_level", ValueError, lambda p: kc.Processor(vector_level="avx")),
    ("matrix", ValueError, lambda p: p.append_matrix([1, 2, 3])),
    ("matrix", ValueError, lambda p: p.append_matrix(np.eye(3) * 1e300)),
    ("matrix", ValueError, lambda p: p.set_matrix(np.full((3, 3), np.nan))),
    ("matrix", TypeError, lambda p: p.append_matrix(np.eye(3) * 1j)),
    ("matrix", TypeError, lambda p: p.append_matrix([["1", "0", "0"]] * 3)),
    ("enabled", TypeError, lambda p: setattr(p.input_luts, "enabled", 1)),
    ("enabled", TypeError, lambda p: setattr(p.input_luts, "enabled", [True, True, True])),
    ("argument 'frame'", TypeError, lambda p: p.transform()),
    ("positional", TypeError, lambda p: p.transform(FRAME, 8)),
    ("multiple values", TypeError, lambda p: p.transform(FRAME, frame=FRAME)),
    ("pickle", TypeError, lambda p: pickle.dumps(p)),
])
def test_refused_calls(argument, error, call):
    with kc.Processor() as processor, pytest.raises(error, match=argument):
        call(processor)


def test_matrices():
    with kc.Processor() as processor:
        processor.append_matrix(np.eye(3, dtype=int) * 2)
        processor.append_matrix(((1, 0, 0), (0, 2, 0), (0, 0, 0.5)))
        assert np.array_equal(processor.transform(FRAME), FRAME * np.uint16([2, 4, 1]))
        processor.set_matrix(np.float16([[0, 0, 1], [0, 1, 0], [1, 0, 0]]))
        assert np.array_equal(processor.transform(FRAME), FRAME[..., ::-1])
        processor.clear_matrix()
        assert np.array_equal(processor.transform(FRAME), FRAME)


def test_closed():
    before = _processors_alive()
    processor = kc.Processor(4, 4)
    luts = processor.output_luts
    entries = luts.red
    processor.close()
    processor.close()
    assert processor.closed
    uses = [lambda: processor.transform(FRAME), processor.clear_matrix, lambda: processor.input_luts,
            processor.__enter__, lambda: setattr(luts, "enabled", True)]
    for use in uses:
        with pytest.raises(kc.Error, match="closed") as caught:
            use()
        assert caught.value.code == 2 and pickle.loads(pickle.dumps(caught.value)).code == 2
    entries[:] = 7  # the memory lives on
    assert (luts.red == 7).all() and luts.green.shape == (16,) and _processors_alive() == before + 1
    part = entries[3:5]
    del entries, luts
    gc.collect()
    assert _processors_alive() == before + 1 and (part == 7).all()
    del part
    assert _processors_alive() == before


def test_nothing_is_kept():
    before = _processors_alive()
    profile = kc.Profile(bits=12, black_level=(64, 64, 64))
    out = np.empty_like(FRAME)
    things = [FRAME, out, BEYOND, kc.PerChannel, np.dtype(np.uint16)]
    counts = [sys.getrefcount(thing) for thing in things]
    for _ in range(50):
        with kc.Processor(12, 12) as processor:
            processor.input_luts.red[:] = 5
            processor.input_luts.enabled = kc.PerChannel(red=True, green=True, blue=True)
            processor.transform(FRAME, out=out, clamp=kc.PerChannel(red=(0, 1), green=(0, 2), blue=(0, 3)))
            for options in {"frame": BEYOND}, {"frame": FRAME, "out": FRAME}, {"frame": FRAME, "clamp": (0, None)}:
                with pytest.raises((TypeError, ValueError)):
                    processor.transform(**options)
        profile.apply(FRAME, out=out)
    del profile
    gc.collect()
    assert _processors_alive() == before
    assert all(now <= count + 2 for now, count in zip([sys.getrefcount(thing) for thing in things], counts))


def run_threads(*works):
    failures = []

    def run(work):
        try:
            work()
        except BaseException as failure:
            failures.append(failure)

    threads = [threading.Thread(target=run, args=(work,)) for work in works]
    for thread in threads:
        thread.start()
    for thread in threads:
        thread.join()
    assert not failures


def test_threads_see_whole_changes():
    processor = kc.Processor()
    frame = np.random.default_rng(2).integers(0, 65536, (200, 300, 3), dtype=np.uint16)
    wanted = [frame, frame[..., ::-1]]
    working = 2

    def transform():
        nonlocal working
        try:
            for _ in range(150):
                result = processor.transform(frame, threads=2)
                assert any(np.array_equal(result, one) for one in wanted)
        finally:
            working -= 1

    def change():
        while working > 0:
            processor.set_matrix(np.eye(3)[::-1])
            processor.output_luts.enabled = False
            processor.clear_matrix()

    run_threads(transform, transform, change)


def test_closing_lets_transforms_end():
    frame = np.random.default_rng(2).integers(0, 65536, (200, 300, 3), dtype=np.uint16)
    for _ in range(20):
        processor = kc.Processor()
        started = threading.Barrier(3)

        def transform():
            started.wait()
            try:
                while True:
                    assert np.array_equal(processor.transform(frame), frame)
            except kc.Error as error:
                assert error.code == 2

        def close():
            started.wait()
            processor.close()

        run_threads(transform, transform, close)
    assert _processors_alive() == 0


def test_the_gil_is_released():
    frame = np.zeros((2000, 2000, 3), np.uint16)
    processor = kc.Processor()
    processor.append_matrix(np.eye(3) * 0.5)
    interval = sys.getswitchinterval()
    sys.setswitchinterval(1000)  # nobody takes the GIL: it must be given
    try:
        for _ in range(200):
            running, seen = [], False

            def work():
                running.append(True)
                processor.transform(frame)
                running.clear()

            thread = threading.Thread(target=work)
            thread.start()
            while thread.is_alive() and not seen:
                seen = bool(running)
                thread.join(0.0001)
            thread.join()
            if seen:
                return
    finally:
        sys.setswitchinterval(interval)
    pytest.fail("no other thread ran during a transform")


@pytest.mark.parametrize("end", ["", "os._exit(0) if os.fork() == 0 else os.wait()", "sys.exit(0 if os.fork() else 0)"])
def test_daemons_at_exit(end):
    """Transforms end before the process unloads what they use: it sleeps after that, so that none is just lucky."""
    code = f"""
import ctypes, os, sys, threading
import numpy as np

libc = ctypes.CDLL(None)
libc.__cxa_atexit(ctypes.cast(libc.usleep, ctypes.c_void_p), ctypes.c_void_p(500_000), None)
import korvex_color as kc

processor = kc.Processor(12, 12, "scalar")
processor.append_matrix(np.eye(3) * 0.5)
processor.input_luts.enabled = processor.output_luts.enabled = True
frame = np.zeros((3000, 3000, 3), np.uint16)
out = np.empty_like(frame)
started = threading.Event()

def work():
    while True:
        started.set()
        processor.transform(frame, out=out)

threading.Thread(target=work, daemon=True).start()
started.wait()
{end}
"""
    done = subprocess.run([sys.executable, "-c", code], capture_output=True, text=True, timeout=100, check=False)
    assert (done.returncode, done.stdout, done.stderr) == (0, "", "")
