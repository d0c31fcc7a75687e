"""Dask's arrays: the bytes that NumPy's become, whatever the chunks, and one processor for a profile and process."""

import pickle
import sys
import threading
from concurrent.futures import ThreadPoolExecutor

import dask.array as da
import distributed
import numpy as np
import pytest

import korvex_color as kc
from korvex_color import _core

PROFILE = kc.Profile(bits=12, black_level=(64, 63, 65), matrix=[[1.7, -0.8, 0.1], [-0.5, 1.9, -0.4], [0, -0.6, 1.6]],
                     tone_curve="srgb", output_depth=8)
STACK = np.random.default_rng(6).integers(0, 4096, (6, 2, 40, 30, 3), dtype=np.uint16)


class Frames:
    """Counts how often something was read from it."""

    shape, dtype, ndim, reads = STACK.shape, STACK.dtype, STACK.ndim, 0

    def __getitem__(self, index):
        self.reads += 1
        return STACK[index]


@pytest.mark.parametrize("chunks", [(2, 1, 7, 11), ((1, 5), 2, (40,), (29, 1)), (6, 2, 40, 30)])
@pytest.mark.parametrize("layout, order, options", [
    ("interleaved", "rgb", {}),
    ("interleaved", "bgr", {"out_layout": "planar", "channels": 4}),
    ("planar", None, {"threads": 2}),
    ("planar", "bgr", {"out_layout": "interleaved", "out_order": "rgb", "channels": 4})])
@pytest.mark.parametrize("depth, channel_chunks", [(8, 3), (16, (1, 2))])
def test_any_chunks(chunks, layout, order, options, depth, channel_chunks):
    profile = PROFILE.replace(output_depth=depth)
    options = {"layout": layout, "order": order, **options}
    frames, source = Frames(), STACK
    images = da.from_array(frames, (*chunks, channel_chunks), asarray=False, meta=STACK[:0])
    if layout == "planar":
        images, source = (np.moveaxis(array, -1, -3) for array in (images, STACK))
    lazy = profile.apply(images, **options)
    wanted = profile.apply(source, **options)
    assert frames.reads == 0
    assert (lazy.shape, lazy.dtype, lazy._meta.dtype, lazy._meta.ndim) == (wanted.shape, wanted.dtype, wanted.dtype, 5)
    channel_axis = -3 if options.get("out_layout", layout) == "planar" else -1
    in_axis = -3 if layout == "planar" else -1
    assert lazy.chunks[channel_axis] == (options.get("channels", 3),)
    others = [sizes for axis, sizes in zip(range(-5, 0), lazy.chunks) if axis != channel_axis]
    assert others == [sizes for axis, sizes in zip(range(-5, 0), images.chunks) if axis != in_axis]
    assert np.array_equal(lazy.compute(scheduler="threads"), wanted)
    assert lazy.name == kc.Profile.from_json(profile.to_json()).apply(images, **options).name
    assert lazy.name != profile.replace(bits=13).apply(images, **options).name


def test_sizes_that_are_not_known():
    images = da.from_array(STACK[:, 0], (2, -1, -1, -1))
    some = images[images[:, 0, 0, 0] > 2000]
    assert np.array_equal(PROFILE.apply(some).compute(), PROFILE.apply(some.compute()))


IMAGES = da.from_array(STACK)


@pytest.mark.parametrize("error, says, call", [
    (TypeError, "out is for NumPy", lambda: PROFILE.apply(IMAGES, out=STACK)),
    (TypeError, "chunks, not MaskedArray", lambda: PROFILE.apply(da.ma.masked_equal(IMAGES, 0))),
    (TypeError, "samples of uint8", lambda: PROFILE.apply(IMAGES.astype(np.uint8))),
    (ValueError, "shape .6, 2, 40, 30, 2.", lambda: PROFILE.apply(IMAGES[..., :2])),
    (ValueError, "3, height, width", lambda: PROFILE.apply(IMAGES, layout="planar")),
    (ValueError, "beyond the .* input LUT",
     lambda: PROFILE.apply(da.where(da.arange(30)[:, None] == 29, np.uint16(4096), IMAGES)).compute())])
def test_what_is_refused(error, says, call):
    with pytest.raises(error, match=says):
        call()


def test_threads_share_what_they_make():
    before = sys.getswitchinterval()
    sys.setswitchinterval(1e-6)
    try:
        with ThreadPoolExecutor(4) as pool:
            for number in range(100):
                sent, together = pickle.dumps(PROFILE.replace(description=str(number))), threading.Barrier(4)
                made = pool.map(lambda _: together.wait() >= 0 and pickle.loads(sent), range(4))
                assert len({id(profile) for profile in [*made]}) == 1
    finally:
        sys.setswitchinterval(before)


def test_workers(tmp_path):
    large = da.from_array(np.tile(STACK[:, 0], (10, 1, 1, 1)), (1, 20, 15, 3))
    profiles = [PROFILE, PROFILE.replace(output_depth=16)]
    wanted = [profile.apply(large.compute()) for profile in profiles]
    with distributed.LocalCluster(n_workers=2, threads_per_worker=3, dashboard_address=None,
                                  local_directory=tmp_path) as cluster, distributed.Client(cluster) as client:
        futures = client.compute([profile.apply(large) for profile in profiles])
        assert all(map(np.array_equal, client.gather(futures), wanted))
        # Each block's profile came by pickle.
        assert set(client.run(lambda: _core.processors_alive()).values()) == {2}
