"""Camera profiles: how one camera's pixels become colours."""

from __future__ import annotations

import codecs
import functools
import json
import math
import os
import sys
import threading
from collections.abc import Mapping
from dataclasses import dataclass, fields
from typing import TYPE_CHECKING, Any, Literal, SupportsIndex, overload

import numpy as np
from numpy.typing import ArrayLike, NDArray

from . import _core
from ._types import Frames, Layout, Order, ProfileError

if TYPE_CHECKING:
    import dask.array.core

_Row = tuple[float, float, float]


@dataclass(frozen=True, init=False)
class Profile:
    """A camera profile: how one camera's pixels become colours.

    An immutable value: it compares, hashes and pickles. docs/profiles.md has the arithmetic; the bytes are those of
    kx_convert.

    Parameters
    ----------
    bits : int
        What the camera delivers, 8 to 16: samples from 0 to ``2**bits - 1``.
    description : str
    black_level : three numbers
        The samples that the camera delivers without light: red, green, blue, as in everything that follows.
    white_balance : three numbers
        Gains above 0, at most 1000.
    matrix : 3 x 3 numbers
        From balanced camera to linear output, -1000 to 1000. Rows are output, columns input.
    tone_curve : str or numbers
        "linear", "srgb", "rec709", "gamma:G", "inverse:" and one of these; or a table of 2 to 65536 numbers from 0 to 1.
    output_depth : {16, 8}
        Bits of an output sample.

    Raises
    ------
    ProfileError
        A member is wrong: its `path` says which, as in "/white_balance/1".

    Examples
    --------
    >>> profile = kc.Profile.load("camera.json")
    >>> pictures = profile.apply(stack, threads=4)
    >>> deep = profile.replace(output_depth=16)
    """

    bits: int
    description: str
    black_level: _Row
    white_balance: _Row
    matrix: tuple[_Row, _Row, _Row]
    tone_curve: str | tuple[float, ...]
    output_depth: Literal[8, 16]

    def __init__(
        self,
        *,
        bits: SupportsIndex,
        description: str = "",
        black_level: ArrayLike = (0, 0, 0),
        white_balance: ArrayLike = (1, 1, 1),
        matrix: ArrayLike = ((1, 0, 0), (0, 1, 0), (0, 0, 1)),
        tone_curve: str | ArrayLike = "linear",
        output_depth: SupportsIndex = 16,
    ) -> None:
        given = locals()
        self._become(_to_json({field.name: given[field.name] for field in fields(self)}))

    def _become(self, text: str) -> None:
        self.__dict__["_json"] = _core.canonical_profile(text)
        for name, value in self.to_dict().items():
            if name != "version":
                self.__dict__[name] = _frozen(value)

    @staticmethod
    def from_json(text: str) -> Profile:
        """The profile of a text in JSON, as a profile's file has it. Raises ProfileError for all that is none."""
        profile = Profile.__new__(Profile)
        profile._become(text)
        return profile

    @staticmethod
    def from_dict(members: Mapping[str, Any]) -> Profile:
        """The profile of a dict with the members of its JSON.

        "version" may be missing; NumPy's arrays and numbers are welcome. Raises ProfileError for what is no profile.
        """
        return Profile.from_json(_to_json(members))

    @staticmethod
    def load(path: str | os.PathLike[str]) -> Profile:
        """Read a profile from a file.

        It is text in UTF-8 or, with a byte-order mark, UTF-16. Raises OSError when the file cannot be read, ProfileError
        when it holds no profile. The message begins with the file's name.
        """
        with open(path, "rb") as file:
            content = file.read()
        encoding = "UTF-16" if content.startswith((codecs.BOM_UTF16_LE, codecs.BOM_UTF16_BE)) else "UTF-8"
        try:
            return Profile.from_json(content.decode(encoding))
        except UnicodeDecodeError as error:
            raise ProfileError(
                f"{os.fspath(path)}: is no text in {encoding}: the byte {content[error.start]:#x} at {error.start}", ""
            ) from None
        except ProfileError as error:
            raise ProfileError(f"{os.fspath(path)}: {error}", error.path) from None

    def save(self, path: str | os.PathLike[str]) -> None:
        """Write the profile to a file, which reads back as an equal one.

        A file that exists is replaced only when the new one is complete. Raises OSError where that is impossible.
        """
        _core.save_profile(self._json, path)

    def to_json(self) -> str:
        """The profile as the text of its file."""
        return self._json

    def to_dict(self) -> dict[str, Any]:
        """The profile as a dict, with the members that its JSON has."""
        members: dict[str, Any] = json.loads(self._json)
        return members

    def replace(self, **members: Any) -> Profile:
        """A profile with other values of the members that are named."""
        return Profile.from_dict({**self.to_dict(), **members})

    @overload
    def apply(
        self, image: Frames, *, channels: SupportsIndex = ..., out: NDArray[Any] | None = ...,
        threads: SupportsIndex = ..., layout: Layout = ..., order: Order | None = ..., out_layout: Layout | None = ...,
        out_order: Order | None = ...,
    ) -> NDArray[Any]: ...
    @overload
    def apply(
        self, image: dask.array.core.Array, *, channels: SupportsIndex = ..., threads: SupportsIndex = ...,
        layout: Layout = ..., order: Order | None = ..., out_layout: Layout | None = ..., out_order: Order | None = ...,
    ) -> dask.array.core.Array: ...
    def apply(
        self,
        image: Any,
        *,
        channels: SupportsIndex = 3,
        out: NDArray[Any] | None = None,
        threads: SupportsIndex = 1,
        layout: Layout = "interleaved",
        order: Order | None = None,
        out_layout: Layout | None = None,
        out_order: Order | None = None,
    ) -> Any:
        """Convert an image, or a stack of images, as the camera delivers them: a NumPy array at once, Dask's later.

        The first call makes a processor, which later calls use: keep the profile. Where profiles arrive by pickle, a
        process makes one for all that are equal, and keeps those of the eight that it used last.

        Parameters
        ----------
        image : numpy.ndarray or dask.array.Array of uint16, shape (..., height, width, 3)
            The images, red first unless `layout` or `order` say otherwise: samples from 0 to ``2**bits - 1``. Dask's
            leading dimensions, rows and columns may be chunked in any way, and stay so; the three channels are put into
            one chunk where they are not.
        channels : {3, 4}
            Samples of an output pixel. The fourth is 0.
        out, threads, layout, order, out_layout, out_order
            As for `Processor.transform`; no `out` with Dask, which computes several chunks at a time, so that one
            thread for each is enough.

        Returns
        -------
        numpy.ndarray or dask.array.Array
            Of uint8 or uint16, as the profile says, in the shape that `Processor.transform` has.

        Raises
        ------
        TypeError, ValueError
            As `Processor.transform` does: with Dask at once, but for a sample beyond ``2**bits - 1``, which raises
            ValueError when its chunk is computed.
        """
        if not isinstance(image, np.ndarray):
            dask_arrays = sys.modules.get("dask.array")
            if dask_arrays is not None and isinstance(image, dask_arrays.Array):
                from ._dask import apply_to_chunks

                if out is not None:
                    raise TypeError("out is for NumPy's arrays: Dask's are computed later")
                return apply_to_chunks(
                    self, image, channels=channels, threads=threads, layout=layout, order=order, out_layout=out_layout,
                    out_order=out_order)
        return _core.transform(
            self.__dict__.get("_native") or self._made(), image, self.output_depth, channels, None, None, out, threads,
            layout, order, out_layout, out_order)

    def _made(self) -> Any:
        with _making:
            if "_native" not in self.__dict__:
                self.__dict__["_native"] = _core.create_profile_processor(self._json)
        return self.__dict__["_native"]

    if TYPE_CHECKING:
        _json: str

    def __reduce__(self) -> tuple[Any, ...]:
        return _unpickle, (self._json,)


_making = threading.Lock()
_kept = functools.lru_cache(maxsize=8)(Profile.from_json)


def _unpickle(text: str) -> Profile:
    with _making:
        return _kept(text)


def _unlock() -> None:
    """In a child of fork, which does not have the thread that may have held the lock."""
    global _making
    _making = threading.Lock()


os.register_at_fork(after_in_child=_unlock)


def _frozen(value: Any) -> Any:
    return tuple(map(_frozen, value)) if isinstance(value, list) else value


def _to_json(members: Mapping[str, Any]) -> str:
    return json.dumps({"version": 1, **{str(name): _plain(value, f"/{name}") for name, value in members.items()}})


def _plain(value: Any, path: str) -> Any:
    """What JSON can say: NumPy's arrays and numbers as Python's."""
    if isinstance(value, (np.ndarray, np.generic)):
        value = value.tolist()
    if isinstance(value, (list, tuple)):
        return [_plain(element, f"{path}/{index}") for index, element in enumerate(value)]
    if isinstance(value, float) and not math.isfinite(value):
        raise ProfileError(f"{path}: must be a finite number, not {value}", path)
    if value is not None and not isinstance(value, (str, int, float)):
        raise TypeError(f"{path}: a profile has no member of the type {type(value).__name__}")
    return value
