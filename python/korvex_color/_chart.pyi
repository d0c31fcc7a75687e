from typing import Any

import numpy as np
from numpy.typing import NDArray

def calibrate(*arguments: Any) -> tuple[str, Any, Any, list[str], list[str]]: ...
def report(before: Any, after: Any) -> NDArray[np.uint8]: ...
