"""Colour processing for scientific cameras, on NumPy arrays.

A `Processor` has the library's matrix and LUTs and transforms images with them. A `Profile` says how one camera's
pixels become colours, and applies it. `calibrate` makes one from a photograph of a 24-patch colour chart.

    import korvex_color as kc

    profile = kc.Profile.load("camera.json")
    pictures = profile.apply(stack, threads=4)    # stack is an array of NumPy's or Dask's

Images are arrays of uint16 in the shape (..., height, width, 3), red first, unless a call's `layout` and `order` say
otherwise.
"""

from ._core import __version__
from ._processor import LUTs, Processor
from ._profile import Profile
from ._types import Error, PerChannel, ProfileError
from .chart import Differences, Judgement, PatchDifference, calibrate, find_chart, report

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
    "calibrate",
    "find_chart",
    "report",
]
