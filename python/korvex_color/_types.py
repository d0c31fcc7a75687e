"""What the package's parts share."""

from __future__ import annotations

from collections.abc import Sequence
from dataclasses import dataclass
from typing import Any, Generic, Literal, SupportsIndex, TypeVar, Union

import numpy as np
from numpy.typing import NDArray

T_co = TypeVar("T_co", covariant=True)


@dataclass(frozen=True)
class PerChannel(Generic[T_co]):
    """One value for each channel, where one value would stand for all three: a sequence of red, green and blue."""

    red: T_co
    green: T_co
    blue: T_co

    def __len__(self) -> int:
        return 3

    def __getitem__(self, index: int) -> T_co:
        return (self.red, self.green, self.blue)[index]


Frames = NDArray[np.uint16]
Layout = Literal["interleaved", "planar"]
Order = Literal["rgb", "bgr"]
# Of one range, or of each channel's.
Range = Union[Sequence[SupportsIndex], NDArray[np.integer[Any]]]
Clamp = Union[Range, Sequence[Range], PerChannel[Range]]
Shift = Union[SupportsIndex, Range, PerChannel[SupportsIndex]]
Switch = Union[bool, np.bool_]
Switches = Union[Switch, Sequence[Switch], PerChannel[Switch], NDArray[np.bool_]]


class Error(RuntimeError):
    """A failure that the library reported.

    Attributes
    ----------
    code : int
        The library's status code, or -1 where it made nothing and says why in its log.
    """

    def __init__(self, message: str, code: int) -> None:
        super().__init__(message, code)
        self.code = code

    def __str__(self) -> str:
        return str(self.args[0])


class ProfileError(ValueError):
    """What is wrong with a camera profile.

    Attributes
    ----------
    path : str
        The place in the profile, as "/white_balance/1"; empty for the profile as a whole.
    """

    def __init__(self, message: str, path: str) -> None:
        super().__init__(message, path)
        self.path = path

    def __str__(self) -> str:
        return str(self.args[0])
