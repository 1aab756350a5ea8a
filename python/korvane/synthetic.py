"""The synthetic stereo module: frames of a known scene, with ground truth."""

from ._korvane.synthetic import Module, write_set

__all__ = ["Module", "write_set"]
