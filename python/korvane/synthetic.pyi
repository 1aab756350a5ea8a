from os import PathLike
from typing import Callable, ClassVar, Optional, Tuple, Union

import numpy as np
import numpy.typing as npt

Size = Tuple[int, int]

class Module:
    FRAME_RATE: ClassVar[float]
    def __init__(self, size: Size = (1856, 800)) -> None: ...
    @property
    def size(self) -> Size: ...
    def render_frame(self, index: int) -> npt.NDArray[np.uint8]: ...
    def render_eye(self, index: int, right: bool = False) -> npt.NDArray[np.uint8]: ...
    def render_depth(self, index: int, rect_size: Size = (640, 480), hfov: float = 90.0) -> npt.NDArray[np.float32]: ...

def write_set(
    directory: Union[str, PathLike[str]],
    size: Size = (1856, 800),
    rect_size: Size = (640, 480),
    hfov: float = 90.0,
    frames: int = 60,
    progress: Optional[Callable[[int], None]] = None,
) -> None: ...
