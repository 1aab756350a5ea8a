"""The Python examples run and write what they say."""

import os
import subprocess
import sys

EXAMPLES = os.path.join(os.path.dirname(__file__), "..", "..", "examples", "python")


def test_depth_example_writes_its_outputs_and_reports(tmp_path):
    result = subprocess.run(
        [sys.executable, os.path.join(EXAMPLES, "depth.py"), "--frames", "4", "--save-frame", "2",
         "--rect", "320x240", "--out", str(tmp_path)],
        capture_output=True, text=True, timeout=240, env=dict(os.environ, OPENCV_LOG_LEVEL="ERROR"))
    assert result.returncode == 0, result.stderr
    assert "4 depth frames in" in result.stdout
    assert "Depth error against ground truth" in result.stdout
    assert (tmp_path / "depth.png").stat().st_size > 0
    assert (tmp_path / "cloud.ply").read_bytes().startswith(b"ply\n")
    assert (tmp_path / "synthetic-928x400-320x240" / "complete").exists()


def test_live_view_shows_frames_in_a_window(synthetic_set, tmp_path):
    import shutil
    import pytest
    if not shutil.which("xvfb-run"):
        pytest.skip("needs xvfb-run")
    # No desktop services to look for: a bus address that fails at once.
    env = dict(os.environ, OPENCV_LOG_LEVEL="ERROR", DBUS_SESSION_BUS_ADDRESS="unix:path=/nonexistent",
               QT_QPA_PLATFORMTHEME="generic", NO_AT_BRIDGE="1", XDG_RUNTIME_DIR=str(tmp_path))
    result = subprocess.run(
        ["xvfb-run", "-a", sys.executable, os.path.join(EXAMPLES, "live_view.py"), "--frames", "5",
         "--video", os.path.join(synthetic_set, "frames", "frame_%04d.png")],
        capture_output=True, text=True, timeout=120, env=env)
    assert result.returncode == 0, result.stderr
    assert "showed 5 frames" in result.stdout


def test_live_view_needs_a_display():
    env = {k: v for k, v in os.environ.items() if k not in ("DISPLAY", "WAYLAND_DISPLAY")}
    result = subprocess.run([sys.executable, os.path.join(EXAMPLES, "live_view.py")], capture_output=True,
                            text=True, timeout=60, env=env)
    assert result.returncode == 1 and "no display" in result.stderr
