"""Profiles on Dask's arrays: what outgrows memory, or one machine."""

from __future__ import annotations

from typing import TYPE_CHECKING, Any

import dask.array as da
import numpy as np
from numpy.typing import NDArray

if TYPE_CHECKING:
    from ._profile import Profile


def apply_to_chunks(profile: Profile, image: da.Array, **options: Any) -> da.Array:
    """Profile.apply for each chunk. What is wrong with an argument is found at once, by an image without pixels."""
    if type(image._meta) is not np.ndarray:  # nor masked: the masks would be lost
        raise TypeError(f"image must have NumPy's arrays for chunks, not {type(image._meta).__name__}")
    planar = options["layout"] == "planar"
    axes = list(range(image.ndim))
    if len(axes) < 3 or image.shape[-3 if planar else -1] != 3:
        wanted = "(..., 3, height, width) with layout='planar'" if planar else "(..., height, width, 3)"
        raise ValueError(f"image has the shape {image.shape}; it must be {wanted}")
    none = profile.apply(np.empty((3, 0, 0) if planar else (0, 0, 3), image.dtype), **options)

    out_planar = (options["out_layout"] or options["layout"]) == "planar"
    channel = axes[-3 if planar else -1]
    out_axes = [axis for axis in axes if axis != channel]
    out_axes.insert(len(axes) - (3 if out_planar else 1), channel)
    converted: da.Array = da.blockwise(
        _apply,
        out_axes,
        image.rechunk({channel: -1}),
        axes,
        profile=profile,
        options=options,
        adjust_chunks={channel: none.shape[-3 if out_planar else -1]},
        token="korvex-color-apply",
        dtype=none.dtype,
        meta=np.empty((0,) * image.ndim, none.dtype),
    )
    return converted


def _apply(image: NDArray[np.uint16], profile: Profile, options: dict[str, Any]) -> NDArray[Any]:
    return profile.apply(image, **options)
