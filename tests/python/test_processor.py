"""What is refused, how long things live, threads and processes."""

import gc
import os
import pickle
import signal
import subprocess
import sys
import threading
import time
from concurrent.futures import ThreadPoolExecutor

import numpy as np
import pytest

import korvex_color as kc
from korvex_color._core import processors_alive

FRAME = np.random.default_rng(1).integers(0, 4096, (5, 7, 3), dtype=np.uint16)
ZEROS = np.zeros_like(FRAME)
READ_ONLY = np.zeros_like(FRAME)
READ_ONLY.flags.writeable = False
BEYOND = FRAME.copy()
BEYOND[2, 4, 2] = 4096
ROW = np.zeros((2, 1, 70_000, 3), np.uint16)
ROW[1, 0, 65_000, 2] = 4097
OVERLAPPING = np.lib.stride_tricks.as_strided(np.zeros(900, np.uint16), FRAME.shape, (4, 6, 2))


@pytest.mark.parametrize("says, error, options", [
    ("image must be a NumPy array", TypeError, {"image": FRAME.tolist()}),
    ("image has samples of >u2", TypeError, {"image": FRAME.astype(">u2")}),
    ("image is a masked array", TypeError, {"image": np.ma.masked_equal(FRAME, FRAME[0, 0, 0])}),
    ("image[0, 2, 4] is 4096, beyond the blue", ValueError,
     {"image": np.moveaxis(BEYOND[..., ::-1], -1, 0), "layout": "planar", "out": None}),
    ("image[1, 0, 65000, 2] is 4097, beyond the blue", ValueError, {"image": ROW, "threads": 4, "out": None}),
    ("image has the shape", ValueError, {"layout": "planar"}),
    ("depth must be 8 or 16", ValueError, {"depth": 12}),
    ("clamp .* above", ValueError, {"clamp": kc.PerChannel((0, 1), (5, 4), (0, 1))}),
    ("clamp .* beyond the blue output LUT", ValueError, {"clamp": (0, 4096)}),
    ("clamp must be from 0", ValueError, {"clamp": [(0, 1), (0, 1), (0, 65536)]}),
    ("shift must be a whole number.* not array", TypeError, {"shift": np.array([1, 2])}),
    ("out has the shape", ValueError, {"channels": 4}),
    ("out is read-only", ValueError, {"out": READ_ONLY}),
    ("out has elements that overlap", ValueError, {"out": OVERLAPPING}),
    ("out overlaps image", ValueError, {"image": FRAME[::-1], "out": FRAME}),
])
def test_refused(says, error, options):
    options = {"image": FRAME, "out": ZEROS, **options}
    before = FRAME.copy()
    with kc.Processor(12, 12) as processor:
        processor.input_luts.enabled = kc.PerChannel(red=False, green=False, blue=True)
        processor.output_luts.enabled = True
        with pytest.raises(error, match=says.replace("[", r"\[")):
            processor.transform(**options)
    assert not ZEROS.any() and not READ_ONLY.any() and np.array_equal(FRAME, before)


@pytest.mark.parametrize("says, error, call", [
    ("input_lut_bits", ValueError, lambda p: kc.Processor(input_lut_bits=17)),
    ("vector_level", ValueError, lambda p: kc.Processor(vector_level="avx")),
    ("matrix", ValueError, lambda p: p.append_matrix([1, 2, 3])),
    ("matrix", ValueError, lambda p: p.append_matrix(np.eye(3) * 1e300)),
    ("enabled", TypeError, lambda p: setattr(p.input_luts, "enabled", [True, 1, True])),
    ("red must be whole", TypeError, lambda p: setattr(p.input_luts, "red", np.ones(65536))),
    ("red .* outside", ValueError, lambda p: setattr(p.input_luts, "red", np.arange(65536) - 1)),
    ("pickle", TypeError, lambda p: pickle.dumps(p)),
    # Objects that nobody has made.
    ("closed", kc.Error, lambda p: kc.Processor.__new__(kc.Processor).transform(FRAME)),
    ("_native", AttributeError, lambda p: kc.LUTs.__new__(kc.LUTs).red),
    ("_json", AttributeError, lambda p: kc.Profile.__new__(kc.Profile).apply(FRAME)),
])
def test_refused_calls(says, error, call):
    kc.Processor.__new__(kc.Processor).close()
    with kc.Processor() as processor, pytest.raises(error, match=says):
        call(processor)


def test_what_it_tells():
    with kc.Processor(3, np.uint8(12), "scalar") as processor:
        luts = processor.output_luts
        luts.red, luts.green = np.arange(4096), list(range(4096, 0, -1))
        assert [int(entries[1]) for entries in luts] == [1, 4095, 0]
        luts.enabled = np.array([True, False, False])
        for word in "input_lut_bits=3", "'scalar'", "matrix [[", "input LUTs on: none", "output LUTs on: red":
            assert word in repr(processor)
    assert "closed" in repr(processor)


def test_values_for_each_channel():
    with kc.Processor() as processor:
        wanted = np.clip(FRAME, [0, 1000, 50], [100, 2000, 65535]) << np.array([3, 0, 1])
        clamps, shifts = [(0, 100), [1000, 2000], np.array([50, 65535])], [3, 0, np.int64(1)]
        for clamp, shift in (clamps, shifts), (kc.PerChannel(*clamps), kc.PerChannel(*shifts)), \
                (np.array(clamps), np.array(shifts)):
            assert np.array_equal(processor.transform(FRAME, clamp=clamp, shift=shift), wanted)


def test_matrices():
    with kc.Processor() as processor:
        processor.append_matrix(((1, 0, 0), (0, 2, 0), (0, 0, 3)))
        processor.set_matrix(np.float16([[0, 0, 1], [0, 1, 0], [1, 0, 0]]))
        assert np.array_equal(processor.transform(FRAME), FRAME[..., ::-1])
        processor.append_matrix(np.eye(3, dtype=int) * 2)
        assert np.array_equal(processor.matrix, np.eye(3)[::-1] * 2)
        assert np.array_equal(processor.transform(FRAME), FRAME[..., ::-1] * 2)
        processor.clear_matrix()
        assert np.array_equal(processor.transform(FRAME), FRAME)


def test_closed():
    gc.collect()
    before = processors_alive()
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
    assert (luts.red == 7).all() and luts.green.shape == (16,) and processors_alive() == before + 1
    part = entries[3:5]
    del entries, luts, caught  # whose traceback has a frame with the LUTs
    gc.collect()
    assert processors_alive() == before + 1 and (part == 7).all()
    del part
    assert processors_alive() == before


def test_nothing_is_kept():
    gc.collect()
    before = processors_alive()
    profile = kc.Profile(bits=12, black_level=(64, 64, 64))
    out = np.empty_like(FRAME)
    things = [FRAME, out, BEYOND, kc.PerChannel, np.dtype(np.uint16)]
    counts = [sys.getrefcount(thing) for thing in things]
    for _ in range(50):
        with kc.Processor(12, 12) as processor:
            processor.input_luts.red[:] = 5
            processor.input_luts.enabled = kc.PerChannel(red=True, green=True, blue=True)
            processor.transform(FRAME, out=out, clamp=kc.PerChannel(red=(0, 1), green=(0, 2), blue=(0, 3)))
            for options in {"image": BEYOND}, {"image": FRAME, "out": FRAME}, {"image": FRAME, "clamp": (0, None)}:
                with pytest.raises((TypeError, ValueError)):
                    processor.transform(**options)
        profile.apply(FRAME, out=out)
    del profile
    gc.collect()
    assert processors_alive() == before
    assert all(now <= count + 2 for now, count in zip([sys.getrefcount(thing) for thing in things], counts))


def test_threads_see_whole_changes_and_the_end():
    frame = np.random.default_rng(2).integers(0, 65536, (200, 300, 3), dtype=np.uint16)
    orders = [2, 1, 0], [1, 2, 0]
    wanted = [frame[..., order] for order in orders]
    for _ in range(20):
        processor = kc.Processor()
        processor.set_matrix(np.eye(3)[orders[0]])
        started = threading.Barrier(3)

        def transform():
            started.wait()
            try:
                while True:
                    result = processor.transform(frame, threads=2)
                    assert any(np.array_equal(result, one) for one in wanted)
            except kc.Error as error:
                assert error.code == 2

        def change():
            started.wait()
            for order in orders * 5:
                time.sleep(0.002)
                processor.set_matrix(np.eye(3)[order])
                processor.output_luts.enabled = False
            processor.close()

        with ThreadPoolExecutor(3) as pool:
            for end in [pool.submit(work) for work in (transform, transform, change)]:
                end.result()
    assert processors_alive() == 0


def run_alone(code):
    done = subprocess.run([sys.executable, "-c", "import numpy as np\n" + code], capture_output=True, text=True,
                          timeout=100, check=False)
    assert done.returncode == 0, done.stderr
    return done


@pytest.mark.parametrize("end", ["", "os._exit(0) if os.fork() == 0 else os.wait()", "sys.exit(0 if os.fork() else 0)"])
def test_daemons_at_exit(end):
    """Transforms end before the process unloads what they use: it sleeps after that, so that none is just lucky."""
    code = f"""
import ctypes, os, sys, threading
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
    done = run_alone(code)
    assert (done.stdout, done.stderr) == ("", "")


def test_children_of_fork():
    """They work as if nobody had converted when they were made."""
    assert run_alone("""
import multiprocessing, os, threading
import korvex_color as kc
processor, profile = kc.Processor(12, 12), kc.Profile(bits=12)
processor.append_matrix(np.eye(3) * 0.5)
large, small = np.ones((4000, 1000, 3), np.uint16), np.full((2, 2, 3), 8, np.uint16)
going = True

def convert():
    while going:
        processor.transform(large)

def use(number):
    processor.append_matrix(np.eye(3) * 0.5)
    processor.input_luts.enabled = False
    return int(processor.transform(small).max()), int(profile.apply(small).max())

threads = [threading.Thread(target=convert) for _ in range(3)]
for thread in threads:
    thread.start()
for _ in range(20):
    child = os.fork()
    if child == 0:
        use(0)
        os._exit(0)
    assert os.waitpid(child, 0)[1] == 0
with multiprocessing.get_context("fork").Pool(2) as pool:
    print(sorted({result[0] for result in pool.map(use, range(1), chunksize=1)}))
going = False
""").stdout == "[2]\n"


def test_other_interpreters_are_told():
    assert "main interpreter alone" in run_alone("""
import subprocess, sys
code = "import _xxsubinterpreters as s; s.run_string(s.create(), 'import korvex_color')"
print(subprocess.run([sys.executable, "-c", code], capture_output=True, text=True, timeout=50).stderr)
""").stdout


def test_one_long_row_takes_no_memory_of_its_size():
    """Every second column of it goes through a small buffer."""
    assert int(run_alone("""
import resource
import korvex_color as kc
row = np.zeros((1, 20_000_000, 3), np.uint16)[:, ::2]
out = np.ones((1, 10_000_000, 3), np.uint8)
with kc.Processor(8, 8) as processor:
    processor.input_luts.enabled = True
    before = resource.getrusage(resource.RUSAGE_SELF).ru_maxrss
    for threads in 1, 4:
        processor.transform(row, depth=8, out=out, threads=threads)
    print(resource.getrusage(resource.RUSAGE_SELF).ru_maxrss - before)
""").stdout) < 4000


def test_others_run_meanwhile():
    """While pixels are converted, and while the sample is sought for which a frame is refused."""
    frame = np.zeros((3000, 4000, 3), np.uint16)
    samples = np.zeros(330_000, np.uint16)
    samples[-3] = 4096
    many = np.lib.stride_tricks.as_strided(samples, (1001, 100_000, 3), (60, 6, 2))  # only the last row has that sample
    processor = kc.Processor(12, 12, "scalar")
    processor.append_matrix(np.eye(3) * 0.5)

    def refused():
        processor.input_luts.enabled = True
        with pytest.raises(ValueError, match=r"image\[1000, 99999, 0\] is 4096"):
            processor.transform(many, depth=8)

    for work in lambda: processor.transform(frame), refused:
        ended = threading.Event()
        times = [time.perf_counter()]

        def look():
            while not ended.wait(0.001):
                times.append(time.perf_counter())

        thread = threading.Thread(target=look)
        thread.start()
        work()
        ended.set()
        thread.join()
        times.append(time.perf_counter())
        assert np.diff(times).max() < 0.5 * (times[-1] - times[0])


def test_interrupts_are_seen():
    processor, stack = kc.Processor(vector_level="scalar"), np.full((64, 1000, 1000, 3), 255, np.uint8)
    processor.append_matrix(np.eye(3) * 0.5)
    timer = threading.Timer(0.05, signal.raise_signal, [signal.SIGINT])
    timer.start()
    with pytest.raises(KeyboardInterrupt):
        processor.transform(np.broadcast_to(np.uint16(2), stack.shape), depth=8, out=stack)
        time.sleep(5)
    assert (stack[0] == 1).all() and (stack[-1] == 255).all()
    processor.clear_matrix()  # nothing holds it


@pytest.mark.skipif("LD_PRELOAD" in os.environ, reason="sanitizers need what is taken away")
def test_threads_that_the_system_does_not_have():
    program = """if True:
        import resource, numpy as np, korvex_color as kc
        image, processor = np.arange(3_000_000, dtype=np.uint16).reshape(1000, 1000, 3), kc.Processor()
        out = np.zeros_like(image)
        pages = int(open("/proc/self/statm").read().split()[0])
        resource.setrlimit(resource.RLIMIT_AS, (pages * resource.getpagesize(), -1))
        processor.transform(image, threads=9, out=out)
        resource.setrlimit(resource.RLIMIT_AS, (-1, -1))
        assert np.array_equal(out, image)"""
    subprocess.run([sys.executable, "-c", program], check=True)
