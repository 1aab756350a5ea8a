"""Shared fixtures: a synthetic module set, cameras on it, per-test time-outs."""

import os
import signal
import tempfile

import pytest

import korvane

TEST_SECONDS = 60
SET_SIZE = (928, 400)
RECT_SIZE = (320, 240)
SET_FRAMES = 6


class TestTimeout(Exception):
    """A test ran past TEST_SECONDS."""


@pytest.fixture(autouse=True)
def time_limit():
    """Ends any test that runs past TEST_SECONDS (frame waits check signals)."""

    def expire(signum, frame):
        raise TestTimeout(f"test ran past {TEST_SECONDS} s")

    previous = signal.signal(signal.SIGALRM, expire)
    signal.alarm(TEST_SECONDS)
    yield
    signal.alarm(0)
    signal.signal(signal.SIGALRM, previous)


@pytest.fixture(scope="session")
def scratch():
    base = os.environ.get("KORVANE_TEST_TMPDIR")
    if base:
        os.makedirs(base, exist_ok=True)
    with tempfile.TemporaryDirectory(prefix="python-", dir=base) as folder:
        yield folder


@pytest.fixture(scope="session")
def synthetic_set(scratch):
    """A small synthetic set: 928 x 400 frames, 320 x 240 rectified views."""
    folder = os.path.join(scratch, "synthetic")
    korvane.synthetic.write_set(folder, size=SET_SIZE, rect_size=RECT_SIZE, hfov=90.0, frames=SET_FRAMES)
    return folder


def open_synthetic(folder, camera_class=korvane.StereoCamera):
    camera = camera_class(os.path.join(folder, "config.yml"))
    camera.load_calib_params(os.path.join(folder, "calibration.yml"))
    camera.raw_frame_size = SET_SIZE
    camera.open_video(os.path.join(folder, "frames", "frame_%04d.png"))
    return camera


@pytest.fixture
def camera(synthetic_set):
    """A camera on the synthetic set, not yet capturing; stopped afterwards."""
    cam = open_synthetic(synthetic_set)
    yield cam
    cam.stop_stereo_compute()
    cam.stop_capture()


@pytest.fixture
def silent_camera():
    """A capturing camera whose source ends with the capture worker's ten
    warm-up frames: no pair is ever published, so every wait blocks until
    capture stops."""
    cam = korvane.StereoCamera(99)
    cam.raw_frame_size = SET_SIZE
    width, height = SET_SIZE
    cam.open_video(f"videotestsrc num-buffers=10 ! video/x-raw,format=BGR,width={width},height={height} ! appsink")
    cam.start_capture()
    yield cam
    cam.stop_capture()
