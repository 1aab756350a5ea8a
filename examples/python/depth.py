#!/usr/bin/python3
"""The kit's main job in Python, on the synthetic stereo module: renders the
module's set once, plays it through open_video, runs capture, semi-global
matching and depth for a number of frames, writes the colour depth image and
a PLY point cloud of one frame, and prints the frames per second, the latency
and the median depth error against the module's ground truth.

    PYTHONPATH=build/python examples/python/depth.py --frames 30 --out out
"""

import argparse
import os
import sys
import time

import numpy as np

import korvane

GROUND_TRUTH_FRAMES = 30
MIN_DEPTH, MAX_DEPTH = 0.05, 1.0  # metres: the kit's depth limits
DISPARITY_RANGE = 32  # pixels the matcher searches


def size(text):
    width, _, height = text.partition("x")
    return int(width), int(height)


def arguments():
    parser = argparse.ArgumentParser(description=__doc__.split("\n\n")[0])
    parser.add_argument("--frames", type=int, default=30, help="depth frames to run (default 30)")
    parser.add_argument("--size", type=size, default=(928, 400), help="module frame: 1856x800 or 928x400")
    parser.add_argument("--rect", type=size, default=(640, 480), help="rectified view size (default 640x480)")
    parser.add_argument("--save-frame", type=int, default=10, help="frame whose outputs are written (default 10)")
    parser.add_argument("--algorithm", choices=("sgbm", "bm"), default="sgbm", help="matcher (default sgbm)")
    parser.add_argument("--out", default="out", help="output folder (default out)")
    return parser.parse_args()


def prepare_set(options):
    """Writes the synthetic set once per size (the folder the C++ main job uses)."""
    folder = os.path.join(options.out, "synthetic-{}x{}-{}x{}".format(*options.size, *options.rect))
    if not os.path.exists(os.path.join(folder, "complete")):
        def progress(done):
            print(f"\rRendering the synthetic module: {done}/{GROUND_TRUTH_FRAMES} frames", end="", flush=True)

        korvane.synthetic.write_set(folder, size=options.size, rect_size=options.rect,
                                    frames=GROUND_TRUTH_FRAMES, progress=progress)
        open(os.path.join(folder, "complete"), "w").close()
        print()
    return folder


def ground_truth(folder):
    """Depth of frame 0, and the pixels whose depth never changes (the still scene)."""
    depths = np.stack([korvane.read_image(os.path.join(folder, "depth", f"depth_{i:04d}.tiff"))
                       for i in range(GROUND_TRUTH_FRAMES)])
    return depths[0], np.ptp(depths, axis=0) < 1e-5


def open_camera(folder, options):
    camera = korvane.StereoCamera(os.path.join(folder, "config.yml"))
    camera.load_calib_params(os.path.join(folder, "calibration.yml"))
    camera.raw_frame_size = options.size
    camera.open_video(os.path.join(folder, "frames", "frame_%04d.png"))
    camera.matching_algorithm = (korvane.StereoCamera.SEMI_GLOBAL_MATCHING if options.algorithm == "sgbm"
                                 else korvane.StereoCamera.BLOCK_MATCHING)
    return camera


def depth_error(depth, truth, still, focal, baseline):
    """Median relative error over the still pixels the matcher can reach, or None."""
    usable = still & (depth > 0) & (truth >= MIN_DEPTH) & (truth <= MAX_DEPTH)
    usable &= focal * baseline / np.maximum(truth, 1e-6) < DISPARITY_RANGE
    if not usable.any():
        return None
    return float(np.median(np.abs(depth[usable] - truth[usable]) / truth[usable]))


def save_outputs(camera, out):
    depth = camera.get_depth_frame()
    cloud = camera.get_point_cloud()
    if depth is None or cloud is None:
        print(f"\nCould not write the outputs into {out}", file=sys.stderr)
        return False
    korvane.write_image(os.path.join(out, "depth.png"), depth[0])
    korvane.write_ply(os.path.join(out, "cloud.ply"), *cloud)
    print(f"\nWrote {out}/depth.png and cloud.ply ({len(cloud[0])} points)")
    return True


def run(camera, options, truth, still):
    params = camera.get_calib_params()
    focal = params[5][0, 0] if params[5] is not None else 0.0
    baseline = 0.001 * float(np.linalg.norm(params[4]))
    latencies, errors, saved, done = [], [], False, 0
    start = time.monotonic()
    while done < options.frames:
        result = camera.get_disparity_frame()
        if result is None or result[0] is None:
            break
        disparity, _, stamp = result
        latencies.append(time.time() * 1e3 - stamp / 1e3)
        error = depth_error(camera.depth_from_disparity(disparity), truth, still, focal, baseline)
        if error is not None:
            errors.append(error)
        done += 1
        fps = done / (time.monotonic() - start)
        print(f"\rframe {done}/{options.frames}  {fps:.1f} fps  latency {latencies[-1]:.0f} ms", end="", flush=True)
        if done == min(options.save_frame, options.frames):
            saved = save_outputs(camera, options.out)
    return done, time.monotonic() - start, latencies, errors, saved


def main():
    options = arguments()
    os.makedirs(options.out, exist_ok=True)
    print(f"Running on the synthetic stereo module ({options.size[0]}x{options.size[1]}).")
    folder = prepare_set(options)
    truth, still = ground_truth(folder)
    with open_camera(folder, options) as camera:
        camera.start_capture()
        camera.start_stereo_compute()
        done, seconds, latencies, errors, saved = run(camera, options, truth, still)
    print(f"\n{done} depth frames in {seconds:.1f} s: {done / seconds if done else 0:.1f} frames per second")
    if latencies:
        print(f"Latency from raw frame to depth: median {np.median(latencies):.0f} ms")
    if errors:
        print(f"Depth error against ground truth (median over the still scene): {100 * np.median(errors):.2f} %")
    return 0 if saved else 1


if __name__ == "__main__":
    try:
        sys.exit(main())
    except KeyboardInterrupt:
        print("\nInterrupted")
        sys.exit(130)
