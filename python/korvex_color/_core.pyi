from os import PathLike
from types import TracebackType
from typing import Any, Literal, Mapping, Sequence, overload

import numpy as np
from numpy.typing import ArrayLike, NDArray

from ._types import PerChannel

_Layout = Literal["interleaved", "planar"]
_Order = Literal["rgb", "bgr"]
_Images = NDArray[np.uint16]
_Clamp = tuple[int, int] | list[int]
_Switches = bool | np.bool_

__version__: str

class LUTs:
    @property
    def red(self) -> NDArray[np.uint32]: ...
    @property
    def green(self) -> NDArray[np.uint32]: ...
    @property
    def blue(self) -> NDArray[np.uint32]: ...
    @property
    def enabled(self) -> PerChannel[bool]: ...
    @enabled.setter
    def enabled(self, value: _Switches | PerChannel[_Switches]) -> None: ...

class Processor:
    def __init__(
        self,
        input_lut_bits: int = 16,
        output_lut_bits: int = 16,
        vector_level: Literal["scalar", "sse", "avx2"] | None = None,
    ) -> None: ...
    def append_matrix(self, matrix: ArrayLike) -> None: ...
    def set_matrix(self, matrix: ArrayLike) -> None: ...
    def clear_matrix(self) -> None: ...
    @property
    def input_luts(self) -> LUTs: ...
    @property
    def output_luts(self) -> LUTs: ...
    @property
    def closed(self) -> bool: ...
    def close(self) -> None: ...
    def __enter__(self) -> Processor: ...
    def __exit__(
        self, kind: type[BaseException] | None, error: BaseException | None, trace: TracebackType | None
    ) -> None: ...
    @overload
    def transform(
        self,
        frame: _Images,
        *,
        depth: Literal[16] = 16,
        channels: Literal[3, 4] = 3,
        clamp: _Clamp | PerChannel[_Clamp] = (0, 65535),
        shift: int | PerChannel[int] = 0,
        out: _Images | None = None,
        threads: int = 1,
        layout: _Layout = "interleaved",
        order: _Order | None = None,
        out_layout: _Layout | None = None,
        out_order: _Order | None = None,
    ) -> _Images: ...
    @overload
    def transform(
        self,
        frame: _Images,
        *,
        depth: Literal[8],
        channels: Literal[3, 4] = 3,
        clamp: _Clamp | PerChannel[_Clamp] = (0, 65535),
        shift: int | PerChannel[int] = 0,
        out: NDArray[np.uint8] | None = None,
        threads: int = 1,
        layout: _Layout = "interleaved",
        order: _Order | None = None,
        out_layout: _Layout | None = None,
        out_order: _Order | None = None,
    ) -> NDArray[np.uint8]: ...

class Profile:
    def __init__(
        self,
        *,
        bits: int,
        description: str = "",
        black_level: ArrayLike = (0, 0, 0),
        white_balance: ArrayLike = (1, 1, 1),
        matrix: ArrayLike = ...,
        tone_curve: str | ArrayLike = "linear",
        output_depth: Literal[8, 16] = 16,
        version: int = 1,
    ) -> None: ...
    @staticmethod
    def from_json(text: str) -> Profile: ...
    @staticmethod
    def from_dict(members: Mapping[str, Any]) -> Profile: ...
    @staticmethod
    def load(path: str | PathLike[str]) -> Profile: ...
    def save(self, path: str | PathLike[str]) -> None: ...
    def to_json(self) -> str: ...
    def to_dict(self) -> dict[str, Any]: ...
    def replace(self, **members: Any) -> Profile: ...
    @property
    def description(self) -> str: ...
    @property
    def bits(self) -> int: ...
    @property
    def black_level(self) -> tuple[float, float, float]: ...
    @property
    def white_balance(self) -> tuple[float, float, float]: ...
    @property
    def matrix(self) -> tuple[tuple[float, float, float], tuple[float, float, float], tuple[float, float, float]]: ...
    @property
    def tone_curve(self) -> str | tuple[float, ...]: ...
    @property
    def output_depth(self) -> Literal[8, 16]: ...
    def apply(
        self,
        frame: _Images,
        *,
        channels: Literal[3, 4] = 3,
        out: NDArray[np.uint16] | NDArray[np.uint8] | None = None,
        threads: int = 1,
        layout: _Layout = "interleaved",
        order: _Order | None = None,
        out_layout: _Layout | None = None,
        out_order: _Order | None = None,
    ) -> NDArray[np.uint16] | NDArray[np.uint8]: ...
