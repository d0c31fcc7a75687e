"""From a photograph of a 24-patch colour chart to the camera's profile."""

from __future__ import annotations

import operator
import os
import warnings
from collections.abc import Sequence
from dataclasses import astuple, dataclass
from typing import Any, Literal

import numpy as np
from numpy.typing import ArrayLike, NDArray

from ._processor import Processor
from ._profile import Profile
from ._types import Layout, Order

Lab = tuple[float, float, float]
_PATCHES = 24


@dataclass(frozen=True)
class PatchDifference:
    """How far a patch is from its reference colour.

    Attributes
    ----------
    name : str
    reference, measured : (float, float, float)
        L*, a* and b* under D50.
    difference : float
        CIEDE2000 between the two.
    outside_srgb : bool
        No sRGB picture can hold the reference colour: it is clipped.
    left_out : bool
        The patch is over-exposed, and left out of calibration, mean and largest difference.
    """

    name: str
    reference: Lab
    measured: Lab
    difference: float
    outside_srgb: bool
    left_out: bool


@dataclass(frozen=True)
class Judgement:
    """How far the patches of a picture are from their reference colours.

    Attributes
    ----------
    patches : tuple of PatchDifference
        All 24, row by row, from dark skin to black.
    mean : float
        The mean CIEDE2000.
    largest_index : int
        Which patch has the largest difference.
    """

    patches: tuple[PatchDifference, ...]
    mean: float
    largest_index: int

    @property
    def largest(self) -> PatchDifference:
        """The patch with the largest difference."""
        return self.patches[self.largest_index]


@dataclass(frozen=True)
class Differences:
    """What a calibration has come to.

    Attributes
    ----------
    before : Judgement
        Of the photograph as the camera delivers it, taken for linear sRGB.
    after : Judgement
        With the profile, without the last rounding.
    """

    before: Judgement
    after: Judgement


def calibrate(
    image: NDArray[np.uint16],
    corners: ArrayLike,
    *,
    bits: int,
    black_level: ArrayLike | None = None,
    dark: NDArray[np.uint16] | None = None,
    saturation: int | None = None,
    fit: Literal["white-preserving", "least-squares"] = "white-preserving",
    reference: str | os.PathLike[str] | Sequence[tuple[str, float, float, float]] | None = None,
    tone_curve: str | ArrayLike = "srgb",
    output_depth: Literal[8, 16] = 8,
    description: str = "",
    layout: Layout = "interleaved",
    order: Order | None = None,
    force: bool = False,
) -> tuple[Profile, Differences]:
    """Make a camera's profile from a photograph of the chart, as ``kx_chart calibrate`` does.

    Parameters
    ----------
    image : numpy.ndarray of uint16, shape (height, width, 3)
        The photograph, linear, as the camera delivers it; with ``layout="planar"`` (3, height, width).
    corners : array_like, shape (4, 2)
        The centres of the corner patches as x, y in pixels, the middle of the first pixel being 0, 0: dark skin, bluish
        green, black, white. `find_chart` finds them.
    bits : int
        What the camera delivers, 8 to 16: samples from 0 to ``2**bits - 1``.
    black_level : three numbers, optional
        The samples that the camera delivers without light: red, green, blue. Without it and `dark` it is estimated from
        the grey patches; a UserWarning says so when they do not lie on one line.
    dark : numpy.ndarray of uint16, optional
        A picture taken with the lid on, to find the black level; shape and order as for `image`.
    saturation : int, optional
        Samples from here on are over-exposed; by default the largest, ``2**bits - 1``.
    fit : {"white-preserving", "least-squares"}
        Greys stay grey, whatever that costs elsewhere; or the smallest error over all patches.
    reference : path, or sequence of 24 (name, L*, a*, b*), optional
        Other published colours (D50) than the chart's own, row by row.
    tone_curve, output_depth, description
        What the profile says besides.
    layout, order
        As for Processor.transform.
    force : bool
        Return also a profile that cannot be right, with a UserWarning that says why.

    Returns
    -------
    Profile
    Differences
        Of each patch from its published colour, before and after.

    Raises
    ------
    TypeError, ValueError
        An argument is none of the above, what the picture has at the corners determines no profile, or no profile that
        can be right: a mean difference above 6, or more than 12 over-exposed patches.
    ProfileError
        What the profile would say is no profile.
    ImportError
        Little CMS is missing.
    """
    if fit not in ("white-preserving", "least-squares"):
        raise ValueError(f"fit must be 'white-preserving' or 'least-squares', not {fit!r}")
    if dark is not None and black_level is not None:
        raise ValueError("black_level cannot be given beside dark, which it is measured in")
    file, values = None, None
    if isinstance(reference, (str, os.PathLike)):
        file = os.fspath(reference)
    elif reference is not None:
        values = [(name, _numbers((l, a, b), "reference", (3,))) for name, l, a, b in reference]
        if len(values) != _PATCHES:
            raise ValueError(f"reference has {len(values)} patches; the chart has {_PATCHES}")
    text, before, after, doubts, objections = _native().calibrate(
        _picture(image, "image", layout, order),
        _numbers(corners, "corners", (4, 2)),
        _whole_number(bits, "bits", 8, 16),
        None if black_level is None else _numbers(black_level, "black_level", (3,)),
        None if dark is None else _picture(dark, "dark", layout, order),
        None if saturation is None else _whole_number(saturation, "saturation", 1, 65535),
        fit == "white-preserving",
        file,
        values,
        tone_curve if isinstance(tone_curve, str) else np.asarray(tone_curve, dtype=float).tolist(),
        _whole_number(output_depth, "output_depth", 8, 16),
        description,
    )
    if objections and not force:
        raise ValueError(objections[0])
    for doubt in doubts + objections:
        warnings.warn(doubt, stacklevel=2)
    return Profile.from_json(text), Differences(_judgement(before), _judgement(after))


def report(differences: Differences) -> str:
    """Draw each patch as measured beside its published colour, and its difference.

    Parameters
    ----------
    differences : Differences
        From `calibrate`.

    Returns
    -------
    str
        A picture as SVG text: to be saved in a file .svg, or shown in Jupyter by ``IPython.display.SVG``.

    Raises
    ------
    ValueError
        A judgement has not 24 patches, or the index of the largest difference is none of theirs.
    ImportError
        Little CMS is missing.
    """
    drawn: str = _native().report(astuple(differences.before), astuple(differences.after))
    return drawn


def find_chart(
    image: NDArray[np.uint16],
    *,
    layout: Layout = "interleaved",
    order: Order | None = None,
) -> NDArray[np.float64]:
    """Find the chart in a photograph, by OpenCV's detector. It may be turned and tilted, but not mirrored.

    Parameters
    ----------
    image : numpy.ndarray of uint16, shape (height, width, 3)
        The photograph, linear, as the camera delivers it.
    layout, order
        As for Processor.transform.

    Returns
    -------
    numpy.ndarray of float64, shape (4, 2)
        The corners as `calibrate` takes them, to within a few hundredths of a patch: look at them.

    Raises
    ------
    TypeError, ValueError
        An argument is none of the above, or no chart was found.
    ImportError
        OpenCV for Python with its module mcc is missing.
    """
    try:
        import cv2

        detector = cv2.mcc.CCheckerDetector_create()
    except (ImportError, AttributeError) as missing:
        raise ImportError(
            "find_chart needs OpenCV for Python with its module mcc (Debian: python3-opencv); "
            f"calibrate also takes corners found by eye: {missing}"
        ) from missing
    linear = _picture(image, "image", layout, order)
    white = max(float(np.percentile(linear, 99.9)), 1.0)  # a few glossy pixels do not make all others dark
    shown = (255 * np.clip(linear[..., ::-1] / np.float32(white), 0, 1) ** (1 / 2.2)).astype(np.uint8)
    if not detector.process(shown, cv2.mcc.MCC24, 1):
        raise ValueError("no chart was found in image")
    # The detector's box is drawn around the patches, at 6/11 of their distance from the centres of the outer ones.
    left, top, right, bottom = -6 / 11, -6 / 11, 5 + 6 / 11, 3 + 6 / 11
    box = np.array([(left, top), (right, top), (right, bottom), (left, bottom)], np.float32)
    projection = cv2.getPerspectiveTransform(box, np.array(detector.getBestColorChecker().getBox(), np.float32))
    centers = np.array([[(0, 0), (5, 0), (5, 3), (0, 3)]], float)
    return np.asarray(cv2.perspectiveTransform(centers, projection)[0], dtype=float)


def _native() -> Any:
    try:
        from . import _chart
    except ImportError as missing:
        raise ImportError(
            "calibration needs Little CMS, here (Debian: liblcms2-2) and where the package was built (liblcms2-dev): "
            f"{missing}"
        ) from missing
    return _chart


def _judgement(plain: tuple[list[tuple[Any, ...]], float, int]) -> Judgement:
    patches, mean, largest = plain
    return Judgement(tuple(PatchDifference(*patch) for patch in patches), mean, largest)


def _numbers(values: ArrayLike, name: str, shape: tuple[int, ...]) -> Any:
    array = np.asarray(values)
    if array.dtype.kind not in "iuf":
        raise TypeError(f"{name} must be numbers")
    if array.shape != shape:
        raise ValueError(f"{name} has the shape {array.shape}; it must be {shape}")
    return array.tolist()


def _whole_number(value: int, name: str, least: int, most: int) -> int:
    try:
        number = operator.index(value)
    except TypeError as error:
        raise TypeError(f"{name} must be a whole number") from error
    if not least <= number <= most:
        raise ValueError(f"{name} must be from {least} to {most}, not {number}")
    return number


def _picture(image: NDArray[np.uint16], name: str, layout: Layout, order: Order | None) -> NDArray[np.uint16]:
    """The picture as an array of the shape (height, width, 3), red first: what a new processor makes of it."""
    try:
        picture = Processor().transform(image, layout=layout, order=order, out_layout="interleaved", out_order="rgb")
    except (TypeError, ValueError) as wrong:
        raise type(wrong)(str(wrong).replace("image", name)) from None
    if picture.ndim != 3 or picture.size == 0:
        raise ValueError(f"{name} has the shape {image.shape}; it must be one picture")
    return picture
