"""Stereo fisheye camera modules from Python: capture, rectification,
disparity, depth and point clouds, on a module or on the synthetic one."""

from ._korvane import (
    FrameIterator,
    KorvaneCamera,
    StereoCamera,
    __version__,
    read_image,
    write_image,
    write_ply,
)
from . import synthetic

__all__ = [
    "FrameIterator",
    "KorvaneCamera",
    "StereoCamera",
    "__version__",
    "read_image",
    "synthetic",
    "write_image",
    "write_ply",
]
