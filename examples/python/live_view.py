#!/usr/bin/python3
"""Live view: the left and right views of a module, side by side, in a
window, until Escape, Ctrl-C or the given number of frames. Without a module
it plays the synthetic set the main job writes.

    PYTHONPATH=build/python examples/python/live_view.py                  # synthetic module
    PYTHONPATH=build/python examples/python/live_view.py --device 0 --calib calibration.yml
"""

import argparse
import os
import sys

import numpy as np

import korvane

ESCAPE = 27
WINDOW = "Korvane: live view"


def arguments():
    parser = argparse.ArgumentParser(description=__doc__.split("\n\n")[0])
    parser.add_argument("--device", type=int, help="video device number of a module")
    parser.add_argument("--calib", help="calibration file (a module's own flash when left out)")
    parser.add_argument("--video", help="a recorded or synthetic side-by-side source instead of the device")
    parser.add_argument("--frames", type=int, default=0, help="stop after this many frames (0: until Escape)")
    parser.add_argument("--out", default="out", help="where the synthetic set is written (default out)")
    return parser.parse_args()


def synthetic_camera(out):
    folder = os.path.join(out, "synthetic-928x400-640x480")
    if not os.path.exists(os.path.join(folder, "complete")):
        print("Rendering the synthetic module ...")
        korvane.synthetic.write_set(folder, size=(928, 400), rect_size=(640, 480), frames=30)
        open(os.path.join(folder, "complete"), "w").close()
    camera = korvane.StereoCamera(os.path.join(folder, "config.yml"))
    camera.raw_frame_size = (928, 400)
    camera.open_video(os.path.join(folder, "frames", "frame_%04d.png"))
    return camera


def open_camera(options):
    if options.device is None and options.video is None:
        return synthetic_camera(options.out)
    camera = korvane.KorvaneCamera(options.device or 0)
    if options.calib:
        camera.load_calib_params(options.calib)
    if options.video:
        camera.open_video(options.video)
    return camera


def main():
    options = arguments()
    if not korvane.has_display():
        print("live_view: no display (set DISPLAY)", file=sys.stderr)
        return 1
    shown = 0
    with open_camera(options) as camera:
        camera.start_capture()
        for left, right, stamp in camera.frames():
            korvane.show_image(WINDOW, np.hstack((left, right)))
            shown += 1
            if korvane.wait_key(1) & 0xFF == ESCAPE or shown == options.frames:
                break
    korvane.close_windows()
    print(f"showed {shown} frames")
    return 0


if __name__ == "__main__":
    try:
        sys.exit(main())
    except KeyboardInterrupt:
        sys.exit(130)
