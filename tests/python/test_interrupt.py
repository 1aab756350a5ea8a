"""Frame waits release the GIL and give way to Ctrl-C."""

import os
import signal
import threading
import time

import pytest


def interrupt_after(seconds, sent):
    def send():
        sent.append(time.monotonic())
        os.kill(os.getpid(), signal.SIGINT)

    timer = threading.Timer(seconds, send)
    timer.start()
    return timer


@pytest.mark.parametrize("wait", ["get_stereo_frame", "get_raw_frame", "get_rect_stereo_frame"])
def test_ctrl_c_ends_a_frame_wait_within_100_ms(silent_camera, wait):
    sent = []
    timer = interrupt_after(0.3, sent)
    try:
        with pytest.raises(KeyboardInterrupt):
            getattr(silent_camera, wait)()
        caught = time.monotonic()
    finally:
        timer.join()
    assert sent and caught - sent[0] < 0.1


def test_other_threads_run_while_one_waits(silent_camera):
    result = []
    waiter = threading.Thread(target=lambda: result.append(silent_camera.get_stereo_frame()))
    waiter.start()
    time.sleep(0.05)
    count = 0
    until = time.monotonic() + 0.5
    while time.monotonic() < until:
        count += 1
    assert waiter.is_alive() and count > 10000
    silent_camera.stop_capture()
    waiter.join(10)
    assert not waiter.is_alive() and result == [None]


def test_an_interrupted_wait_leaves_the_camera_working(camera):
    camera.start_capture()
    assert camera.get_stereo_frame() is not None
    sent = []
    timer = interrupt_after(0.2, sent)
    try:
        with pytest.raises(KeyboardInterrupt):
            while True:  # waits of about one frame each, until the signal lands in one
                camera.get_stereo_frame()
    finally:
        timer.join()
    left, right, stamp = camera.get_stereo_frame()
    assert left.shape == right.shape and stamp > 0
