"""Disparity, depth and point clouds on the synthetic set, against ground truth."""

import os

import numpy as np
import pytest

import korvane
from conftest import RECT_SIZE, SET_SIZE, SET_FRAMES


@pytest.fixture
def computing(camera):
    camera.start_capture()
    camera.start_stereo_compute()
    return camera


def still_truth(folder):
    depths = [korvane.read_image(os.path.join(folder, "depth", f"depth_{i:04d}.tiff")) for i in range(SET_FRAMES)]
    still = np.ptp(np.stack(depths), axis=0) < 1e-5
    return depths[0], still


def test_disparity_and_metric_depth_match_the_ground_truth(computing, synthetic_set):
    disparity, centre, stamp = computing.get_disparity_frame()
    assert disparity.dtype == np.float32 and disparity.shape == (RECT_SIZE[1], RECT_SIZE[0])
    assert centre.shape == (RECT_SIZE[1], RECT_SIZE[0], 3) and stamp > 0
    depth = computing.depth_from_disparity(disparity)
    assert depth.dtype == np.float32 and depth.shape == disparity.shape
    truth, still = still_truth(synthetic_set)
    usable = still & (depth > 0) & (truth > 0.05) & (truth < 1.0)
    assert usable.sum() > 500
    error = np.median(np.abs(depth[usable] - truth[usable]) / truth[usable])
    assert error < 0.05


def test_depth_image_is_in_colour(computing):
    computing.get_disparity_frame()
    image, stamp = computing.get_depth_frame()
    assert image.shape == (RECT_SIZE[1], RECT_SIZE[0], 3) and image.dtype == np.uint8 and stamp > 0


def test_point_cloud_and_ply(computing, tmp_path):
    points, colours = computing.get_point_cloud()
    assert points.dtype == np.float32 and colours.dtype == np.uint8
    assert points.shape == colours.shape and points.shape[1] == 3 and len(points) > 100
    assert np.all(points[:, 2] > 0) and np.all(points[:, 2] < 1.5)
    korvane.write_ply(tmp_path / "cloud.ply", points, colours)
    korvane.write_ply(tmp_path / "bare.ply", points, ascii=True)
    header = (tmp_path / "cloud.ply").read_bytes().split(b"end_header")[0].decode()
    assert f"element vertex {len(points)}" in header and "binary_little_endian" in header
    assert "property uchar red" in header
    assert "red" not in (tmp_path / "bare.ply").read_text().split("end_header")[0]


def test_bad_arrays_are_refused(computing, tmp_path):
    with pytest.raises(TypeError, match="float32"):
        computing.depth_from_disparity(np.zeros((4, 4), dtype=np.float64))
    with pytest.raises(ValueError, match="2-D"):
        computing.depth_from_disparity(np.zeros((4, 4, 2), dtype=np.float32))
    with pytest.raises(TypeError):
        computing.depth_from_disparity("not an array")
    points = np.zeros((5, 3), dtype=np.float32)
    with pytest.raises(ValueError, match=r"shape \(N, 3\)"):
        korvane.write_ply(tmp_path / "x.ply", np.zeros((5, 2), dtype=np.float32))
    with pytest.raises(TypeError, match="float32"):
        korvane.write_ply(tmp_path / "x.ply", points.astype(np.int32))
    with pytest.raises(ValueError, match="as many rows"):
        korvane.write_ply(tmp_path / "x.ply", points, np.zeros((4, 3), dtype=np.uint8))
    with pytest.raises(TypeError, match="uint8"):
        korvane.write_ply(tmp_path / "x.ply", points, [[1, 2, 3]] * 5)
    with pytest.raises(RuntimeError, match="cannot write"):
        korvane.write_ply("/proc/nowhere/x.ply", points)


def test_images_round_trip_through_files(tmp_path):
    image = np.arange(48, dtype=np.uint8).reshape(4, 4, 3)
    korvane.write_image(tmp_path / "a.png", image)
    assert np.array_equal(korvane.read_image(tmp_path / "a.png"), image)
    with pytest.raises(RuntimeError, match="cannot read"):
        korvane.read_image(tmp_path / "missing.png")
    with pytest.raises(ValueError, match="channels"):
        korvane.write_image(tmp_path / "b.png", np.zeros((4, 4, 7), dtype=np.uint8))


def test_display_functions_refuse_without_a_display(monkeypatch):
    monkeypatch.delenv("DISPLAY", raising=False)
    monkeypatch.delenv("WAYLAND_DISPLAY", raising=False)
    assert not korvane.has_display()
    with pytest.raises(RuntimeError, match="no display"):
        korvane.show_image("x", np.zeros((4, 4, 3), dtype=np.uint8))
    with pytest.raises(RuntimeError, match="no display"):
        korvane.wait_key(1)
