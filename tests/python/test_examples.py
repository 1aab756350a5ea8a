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
