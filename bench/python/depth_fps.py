#!/usr/bin/python3
"""Compares the Python main job with korvane-depth on the same synthetic set:
runs them in turn, RUNS times each, and checks that the median frames per
second of the Python one is at least 95 % of the C++ one's. Also checks that
the module's own cost of a frame wait (the thread it runs on; the frame
itself is handed over without a copy) is at most one copy of a full frame.

    PYTHONPATH=build/python bench/python/depth_fps.py build/examples/korvane-depth
"""

import argparse
import os
import re
import statistics
import subprocess
import sys
import tempfile
import time

os.environ.setdefault("OPENCV_LOG_LEVEL", "ERROR")  # the absent device's warnings are not ours to show
import korvane  # noqa: E402

HERE = os.path.dirname(os.path.abspath(__file__))
DEPTH_PY = os.path.join(HERE, "..", "..", "examples", "python", "depth.py")
FPS = re.compile(r"([0-9.]+) frames per second")


def frames_per_second(command):
    result = subprocess.run(command, capture_output=True, text=True, timeout=900,
                            env=dict(os.environ, OPENCV_LOG_LEVEL="ERROR"))
    found = FPS.search(result.stdout)
    if result.returncode != 0 or not found:
        sys.exit(f"failed: {' '.join(command)}\n{result.stdout}\n{result.stderr}")
    return float(found.group(1))


def wait_cost(rounds=2000):
    """Seconds a frame wait costs of itself (a wait that returns at once)."""
    camera = korvane.StereoCamera(99)
    start = time.perf_counter()
    for _ in range(rounds):
        camera.get_disparity_frame()
    return (time.perf_counter() - start) / rounds


def copy_cost(rounds=200):
    """Seconds one copy of a 1856 x 800 frame costs."""
    frame = korvane.synthetic.Module((1856, 800)).render_frame(0)
    start = time.perf_counter()
    for _ in range(rounds):
        frame.copy()
    return (time.perf_counter() - start) / rounds


def main():
    parser = argparse.ArgumentParser(description=__doc__.split("\n\n")[0])
    parser.add_argument("korvane_depth", help="the C++ main job (build/examples/korvane-depth)")
    parser.add_argument("--runs", type=int, default=3)
    parser.add_argument("--frames", type=int, default=60)
    options = parser.parse_args()
    with tempfile.TemporaryDirectory() as out:
        common = ["--frames", str(options.frames), "--out", out]
        cpp, python = [], []
        for _ in range(options.runs):
            cpp.append(frames_per_second([options.korvane_depth, "--no-window", *common]))
            python.append(frames_per_second([sys.executable, DEPTH_PY, *common]))
    ratio = statistics.median(python) / statistics.median(cpp)
    wait, copy = wait_cost(), copy_cost()
    print("korvane-depth  fps:", " ".join(f"{v:.1f}" for v in cpp), f"(median {statistics.median(cpp):.1f})")
    print("depth.py       fps:", " ".join(f"{v:.1f}" for v in python), f"(median {statistics.median(python):.1f})")
    print(f"ratio {ratio:.3f} (at least 0.95)")
    print(f"frame wait's own cost {wait * 1e6:.0f} us, one copy of a 1856x800 frame {copy * 1e6:.0f} us")
    print(f"load average {os.getloadavg()[0]:.2f}")
    return 0 if ratio >= 0.95 and wait <= copy else 1


if __name__ == "__main__":
    sys.exit(main())
