"""Capture on the synthetic set: frames, stamps, no-copy arrays, stopping."""

import threading
import time

import numpy as np
import pytest

import korvane
from conftest import SET_SIZE, RECT_SIZE, open_synthetic


def test_a_source_that_does_not_open_raises():
    cam = korvane.StereoCamera(9)
    with pytest.raises(RuntimeError, match="cannot open the video source /no/such"):
        cam.open_video("/no/such/frames_%04d.png")
    assert not cam.is_opened()


def test_stereo_frames_are_the_halves_with_rising_stamps(camera):
    camera.start_capture()
    stamps = []
    for _ in range(3):
        left, right, stamp = camera.get_stereo_frame()
        assert left.shape == right.shape == (SET_SIZE[1], SET_SIZE[0] // 2, 3)
        assert left.dtype == np.uint8 and isinstance(stamp, int)
        stamps.append(stamp)
    assert stamps == sorted(stamps) and len(set(stamps)) == 3
    assert abs(stamps[-1] / 1e6 - time.time()) < 5  # microseconds of the wall clock


def test_frame_arrays_own_the_kits_buffers(camera):
    camera.start_capture()
    left, right, _ = camera.get_stereo_frame()
    for array in (left, right):
        assert type(array.base).__name__ == "PyCapsule"
        assert array.__array_interface__["data"][0] == korvane._korvane._owned_address(array.base)
        assert array.flags.writeable and array.flags.c_contiguous
    raw, _ = camera.get_raw_frame()
    assert raw.shape == (SET_SIZE[1], SET_SIZE[0], 3)
    assert raw.__array_interface__["data"][0] == korvane._korvane._owned_address(raw.base)


def test_rectified_views_have_the_rectified_size(camera):
    camera.start_capture()
    left, right, centre, stamp = camera.get_rect_stereo_frame()
    assert left.shape == right.shape == centre.shape == (RECT_SIZE[1], RECT_SIZE[0], 3)
    assert stamp > 0


def test_frames_iterate_until_capture_stops(camera):
    camera.start_capture()
    assert camera.get_stereo_frame() is not None  # past the worker's warm-up
    stopper = threading.Timer(0.5, camera.stop_capture)
    stopper.start()
    try:
        count = sum(1 for _ in camera.frames())
    finally:
        stopper.join()
    assert 3 <= count <= 40
    assert camera.get_stereo_frame() is None


def test_leaving_the_context_stops_the_disparity_worker_then_capture(synthetic_set):
    calls = []

    class Recording(korvane.StereoCamera):
        def stop_stereo_compute(self):
            calls.append("stop_stereo_compute")
            super().stop_stereo_compute()

        def stop_capture(self):
            calls.append("stop_capture")
            super().stop_capture()

    with open_synthetic(synthetic_set, Recording) as cam:
        cam.start_capture()
        cam.start_stereo_compute()
        assert cam.get_disparity_frame() is not None
    assert calls == ["stop_stereo_compute", "stop_capture"]
    assert cam.get_stereo_frame() is None and cam.get_disparity_frame() is None


def test_a_forgotten_running_camera_is_stopped_when_dropped(synthetic_set):
    cam = open_synthetic(synthetic_set)
    cam.start_capture()
    cam.start_stereo_compute()
    assert cam.get_stereo_frame() is not None
    del cam  # must join the workers, not end the process


def test_source_cannot_change_while_capturing(camera, synthetic_set):
    camera.start_capture()
    with pytest.raises(RuntimeError, match="cannot open the video source"):
        camera.open_video(synthetic_set + "/frames/frame_%04d.png")


def test_perspective_views_whatever_the_depth_mode(camera):
    camera.depth_mode = korvane.StereoCamera.LON_LAT_VIEW
    camera.start_capture()
    left, right = camera.get_perspective_frame()
    assert left.shape == right.shape == (RECT_SIZE[1], RECT_SIZE[0], 3)


def test_shared_memory_carries_the_left_image(camera):
    import os
    position = 40 + os.getpid() % 50  # a key no other test process uses at once
    with pytest.raises(RuntimeError, match="cannot attach"):
        korvane.SharedFrameReader(position)
    camera.position_number = position
    camera.start_capture(share_memory=True)
    deadline = time.monotonic() + 10
    while True:  # the worker makes the segment after its warm-up frames
        try:
            reader = korvane.SharedFrameReader(position)
            break
        except RuntimeError:
            assert time.monotonic() < deadline
            time.sleep(0.05)
    assert reader.attached and reader.image_size == (SET_SIZE[0] // 2, SET_SIZE[1])
    image = reader.read(timeout=5.0)
    assert image.shape == (SET_SIZE[1], SET_SIZE[0] // 2, 3) and image.std() > 10
    camera.stop_capture()
    reader.read(timeout=0.1)  # an image the worker left before it stopped, if any
    assert reader.read(timeout=0.1) is None
    reader.detach()
    assert not reader.attached
    with pytest.raises(RuntimeError, match="detached"):
        reader.read()


def test_mounting_matrices():
    rotation = korvane.rotation_matrix("z", np.pi / 2)
    assert rotation.shape == (3, 3) and rotation.dtype == np.float32
    assert np.allclose(rotation @ rotation.T, np.eye(3), atol=1e-6)
    assert np.allclose(np.abs(rotation @ [1, 0, 0]), [0, 1, 0], atol=1e-6)
    transform = korvane.translation_matrix("x", 0.0, (1.0, 2.0, 3.0))
    assert transform.shape == (4, 4) and np.allclose(transform[:3, 3], [1, 2, 3])
    with pytest.raises(ValueError, match="axis"):
        korvane.rotation_matrix("w", 0.0)
    with pytest.raises(ValueError, match="three numbers"):
        korvane.translation_matrix("x", 0.0, (1.0, 2.0))
