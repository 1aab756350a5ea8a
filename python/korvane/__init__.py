"""Stereo fisheye camera modules from Python: capture, rectification,
disparity, depth and point clouds, on a module or on the synthetic one."""

from ._korvane import (
    FrameIterator,
    KorvaneCamera,
    Module,
    SharedFrameReader,
    StereoCamera,
    __version__,
    close_windows,
    has_display,
    list_modules,
    read_image,
    rotation_matrix,
    show_image,
    translation_matrix,
    wait_key,
    write_image,
    write_ply,
)
from . import synthetic
from . import virtual

__all__ = [
    "FrameIterator",
    "KorvaneCamera",
    "Module",
    "SharedFrameReader",
    "StereoCamera",
    "__version__",
    "close_windows",
    "has_display",
    "list_modules",
    "read_image",
    "rotation_matrix",
    "show_image",
    "synthetic",
    "virtual",
    "translation_matrix",
    "wait_key",
    "write_image",
    "write_ply",
]
