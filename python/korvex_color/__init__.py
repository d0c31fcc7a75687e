"""Colour processing for scientific cameras, on NumPy arrays.

A `Processor` has the library's matrix and LUTs and transforms images with them. A `Profile` says how one camera's
pixels become colours, and applies it. `calibrate` makes one from a photograph of a 24-patch colour chart.

    import korvex_color as kc

    profile = kc.Profile.load("camera.json")
    pictures = profile.apply(stack, threads=4)    # or kc.apply(profile, stack), where stack is a Dask array

Images are arrays of uint16 in the shape (..., height, width, 3), red first, unless a call's `layout` and `order` say
otherwise.
"""

from ._core import LUTs, Processor, Profile, __version__
from ._types import Error, PerChannel, ProfileError
from .chart import Differences, Judgement, PatchDifference, calibrate, find_chart, report
from .dask_arrays import apply

__all__ = [
    "Differences",
    "Error",
    "Judgement",
    "LUTs",
    "PatchDifference",
    "PerChannel",
    "Processor",
    "Profile",
    "ProfileError",
    "__version__",
    "apply",
    "calibrate",
    "find_chart",
    "report",
]
