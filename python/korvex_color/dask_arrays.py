"""Profiles on Dask's arrays: what outgrows memory, or one machine."""

from __future__ import annotations

import functools
import threading
from typing import TYPE_CHECKING, Any, Literal

import numpy as np
from numpy.typing import NDArray

from ._core import Profile

if TYPE_CHECKING:
    import dask.array.core


def apply(
    profile: Profile,
    frame: dask.array.core.Array,
    *,
    channels: Literal[3, 4] = 3,
    threads: int = 1,
    layout: Literal["interleaved", "planar"] = "interleaved",
    order: Literal["rgb", "bgr"] | None = None,
    out_layout: Literal["interleaved", "planar"] | None = None,
    out_order: Literal["rgb", "bgr"] | None = None,
) -> dask.array.core.Array:
    """Convert the images of a Dask array with a profile, when its chunks are computed.

    Parameters
    ----------
    profile : Profile
    frame : dask.array.Array of uint16, shape (..., height, width, 3)
        The images as the camera delivers them, red first unless `layout` or `order` say otherwise. Leading dimensions,
        rows and columns may be chunked in any way, and stay so. The three channels are put into one chunk where they
        are not.
    channels : {3, 4}
        Samples of an output pixel. The fourth is 0.
    threads : int
        The most threads for one chunk. Dask computes several chunks at a time; 1 leaves the threads to it.
    layout, order, out_layout, out_order
        As for Profile.apply.

    Returns
    -------
    dask.array.Array
        Of uint8 or uint16, as the profile says: the leading dimensions of `frame`, then (height, width, channels), or
        (channels, height, width) with planes. Its chunks are NumPy arrays with the bytes of Profile.apply.

    Raises
    ------
    TypeError, ValueError
        As Profile.apply does, at once; a sample beyond ``2**bits - 1`` raises ValueError when its chunk is computed.
    ImportError
        Dask is missing.

    Notes
    -----
    Every process that computes chunks makes one processor for a profile, which its threads share, and keeps those of
    the eight profiles that it used last.

    Examples
    --------
    >>> stack = dask.array.from_zarr("recording.zarr")
    >>> kc.apply(kc.Profile.load("camera.json"), stack).to_zarr("pictures.zarr")
    """
    try:
        import dask.array as da
    except ImportError as missing:
        raise ImportError(f"apply needs Dask (Debian: python3-dask): {missing}") from missing
    if not isinstance(profile, Profile):
        raise TypeError(f"profile must be a Profile, not {type(profile).__name__}")
    if not isinstance(frame, da.Array):
        raise TypeError(f"frame must be a Dask array, not {type(frame).__name__}; NumPy's are for Profile.apply")
    if type(frame._meta) is not np.ndarray:  # nor masked: the masks would be lost
        raise TypeError(f"frame must have NumPy's arrays for chunks, not {type(frame._meta).__name__}")
    options = {
        "channels": channels,
        "threads": threads,
        "layout": layout,
        "order": order,
        "out_layout": out_layout,
        "out_order": out_order,
    }
    text = profile.to_json()
    planar, out_planar = layout == "planar", (out_layout or layout) == "planar"
    axes = list(range(frame.ndim))
    if len(axes) < 3 or frame.shape[-3 if planar else -1] != 3:
        wanted = "(..., 3, height, width)" if planar else "(..., height, width, 3)"
        raise ValueError(f"frame has the shape {frame.shape}; it must be {wanted}")
    # An image without pixels finds what else is wrong.
    none = _convert(np.empty((3, 0, 0) if planar else (0, 0, 3), frame.dtype), text, options)

    channel = axes[-3 if planar else -1]
    out_axes = [axis for axis in axes if axis != channel]
    out_axes.insert(len(axes) - (3 if out_planar else 1), channel)
    converted: dask.array.core.Array = da.blockwise(
        _convert,
        out_axes,
        frame.rechunk({channel: -1}),
        axes,
        text=text,
        options=options,
        adjust_chunks={channel: channels},
        token="korvex-color-apply",
        dtype=none.dtype,
        meta=np.empty((0,) * frame.ndim, none.dtype),
    )
    return converted


def _convert(frame: NDArray[np.uint16], text: str, options: dict[str, Any]) -> NDArray[Any]:
    return _profile_of(text).apply(frame, **options)


_making = threading.Lock()


@functools.lru_cache(maxsize=8)
def _kept(text: str) -> Profile:
    return Profile.from_json(text)


def _profile_of(text: str) -> Profile:
    """The process's own profile of this text: profiles that come by pickle would each make a processor."""
    with _making:
        return _kept(text)
