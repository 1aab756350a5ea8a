"""korvane.synthetic: rendering and the set writer."""

import os

import numpy as np
import pytest

import korvane
from korvane import synthetic


@pytest.fixture(scope="module")
def module():
    return synthetic.Module((928, 400))


def test_frame_is_a_colour_array_over_the_kits_matrix(module):
    frame = module.render_frame(0)
    assert frame.shape == (400, 928, 3) and frame.dtype == np.uint8
    assert type(frame.base).__name__ == "PyCapsule"
    assert korvane._korvane._owned_address(frame.base) == frame.__array_interface__["data"][0]
    assert frame.std() > 10  # a textured scene, not a blank image


def test_frames_are_a_function_of_their_index(module):
    assert np.array_equal(module.render_frame(3), module.render_frame(3))
    assert not np.array_equal(module.render_frame(0), module.render_frame(15))


def test_eyes_are_the_halves_of_the_frame(module):
    frame = module.render_frame(1)
    assert np.array_equal(module.render_eye(1), frame[:, :464])
    assert np.array_equal(module.render_eye(1, right=True), frame[:, 464:])


def test_depth_is_metres_of_the_room(module):
    depth = module.render_depth(0, (160, 120), 90.0)
    assert depth.shape == (120, 160) and depth.dtype == np.float32
    assert 0.5 < float(depth.min()) and float(depth.max()) < 3.5


@pytest.mark.parametrize("size, error", [((927, 400), ValueError), ((928,), ValueError), ("928x400", TypeError),
                                          ((928.0, 400), TypeError), ((0, 400), ValueError), (None, TypeError)])
def test_bad_sizes_are_refused(size, error):
    with pytest.raises(error, match="size"):
        synthetic.Module(size)


def test_bad_render_arguments_are_refused(module):
    with pytest.raises(ValueError, match="frame index"):
        module.render_frame(-1)
    with pytest.raises(ValueError, match="hfov"):
        module.render_depth(0, (160, 120), 200.0)
    with pytest.raises(TypeError):
        module.render_depth(0, "160x120")


def test_set_holds_what_the_kit_runs_on(synthetic_set):
    names = set(os.listdir(synthetic_set))
    assert {"calibration.yml", "config.yml", "manifest.yml", "frames", "depth"} <= names
    frame = korvane.read_image(os.path.join(synthetic_set, "frames", "frame_0000.png"))
    assert frame.shape == (400, 928, 3)
    depth = korvane.read_image(os.path.join(synthetic_set, "depth", "depth_0000.tiff"))
    assert depth.dtype == np.float32 and depth.shape == (240, 320)


def test_set_writer_reports_progress_and_refuses_bad_options(scratch):
    seen = []
    synthetic.write_set(os.path.join(scratch, "tiny"), size=(928, 400), rect_size=(64, 48), frames=2,
                        progress=seen.append)
    assert seen == [1, 2]
    with pytest.raises(ValueError, match="size"):
        synthetic.write_set(os.path.join(scratch, "bad"), size=(640, 480))
    with pytest.raises(ValueError, match="frames"):
        synthetic.write_set(os.path.join(scratch, "bad"), frames=0)
    with pytest.raises(RuntimeError, match="cannot write"):
        synthetic.write_set("/proc/no-such-place/set", size=(928, 400), rect_size=(64, 48), frames=1)
