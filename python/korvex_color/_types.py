"""What the compiled module and its users share."""

from __future__ import annotations

from dataclasses import dataclass
from typing import Generic, TypeVar

T = TypeVar("T")


@dataclass(frozen=True, kw_only=True)
class PerChannel(Generic[T]):
    """One value for each channel, where one value would stand for all three."""

    red: T
    green: T
    blue: T


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
