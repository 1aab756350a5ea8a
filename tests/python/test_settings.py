"""StereoCamera settings, configuration and calibration files."""

import os

import numpy as np
import pytest

import korvane
from conftest import SET_SIZE, RECT_SIZE


@pytest.fixture
def bare():
    return korvane.StereoCamera(7)


def test_a_camera_on_a_missing_device_is_not_opened(bare):
    assert bare.device_node == 7
    assert not bare.is_opened()
    assert bare.get_stereo_frame() is None
    assert bare.get_disparity_frame() is None
    assert bare.get_depth_frame() is None


def test_configuration_file_sets_the_camera(synthetic_set):
    cam = korvane.StereoCamera(os.path.join(synthetic_set, "config.yml"))
    assert cam.raw_frame_size == SET_SIZE
    assert cam.rect_frame_size == RECT_SIZE
    assert cam.depth_mode == korvane.StereoCamera.PERSPECTIVE_VIEW
    assert cam.field_of_view == 90.0


def test_settings_read_back(bare):
    bare.raw_frame_size = (928, 400)
    bare.rect_frame_size = [320, 240]
    bare.matching_algorithm = korvane.StereoCamera.BLOCK_MATCHING
    bare.depth_mode = korvane.StereoCamera.LON_LAT_VIEW
    bare.field_of_view = 100.0
    bare.pairs_in_flight = 1
    bare.position_number = 3
    bare.serial_number = 1234
    bare.log_level = 0
    bare.receiver_network = "10.0.0."
    assert (bare.raw_frame_size, bare.rect_frame_size) == ((928, 400), (320, 240))
    assert (bare.matching_algorithm, bare.depth_mode, bare.field_of_view) == (1, 1, 100.0)
    assert (bare.pairs_in_flight, bare.position_number, bare.serial_number) == (1, 3, 1234)
    assert (bare.log_level, bare.receiver_network) == (0, "10.0.0.")


@pytest.mark.parametrize("name, value, error, words", [
    ("raw_frame_size", (640, 480), ValueError, "1856, 800"),
    ("raw_frame_size", (928, 400, 3), ValueError, "two numbers"),
    ("raw_frame_size", "928x400", TypeError, "pair of integers"),
    ("raw_frame_size", 928, TypeError, "pair of integers"),
    ("rect_frame_size", (320.5, 240), TypeError, "pair of integers"),
    ("rect_frame_size", (-1, 240), ValueError, "from 1"),
    ("matching_algorithm", 7, ValueError, "SEMI_GLOBAL_MATCHING"),
    ("depth_mode", 0, ValueError, "LON_LAT_VIEW"),
    ("field_of_view", 200.0, ValueError, "60 to 140"),
    ("pairs_in_flight", 0, ValueError, "from 1 to 8"),
    ("log_level", -2, ValueError, "0 or more"),
    ("receiver_network", "10.0.0", ValueError, "three octets"),
    ("matching_algorithm", "sgbm", TypeError, ""),
])
def test_bad_settings_are_refused_and_change_nothing(bare, name, value, error, words):
    before = getattr(bare, name)
    with pytest.raises(error, match=words):
        setattr(bare, name, value)
    assert getattr(bare, name) == before


def test_settings_cannot_change_while_capture_runs(camera):
    camera.start_capture()
    with pytest.raises(ValueError, match="while capture runs"):
        camera.matching_algorithm = korvane.StereoCamera.BLOCK_MATCHING


def test_files_that_do_not_load_raise_with_the_kits_message(bare, tmp_path):
    with pytest.raises(RuntimeError, match=r"cannot load the configuration file .*missing.yml: .*Error"):
        bare.load_config(tmp_path / "missing.yml")
    bad = tmp_path / "bad.yml"
    bad.write_text("%YAML:1.0\n---\nLogLevel: 1\n")
    with pytest.raises(RuntimeError, match="Bad configuration file .*bad.yml, key LogLevel"):
        bare.load_config(bad)
    with pytest.raises(RuntimeError, match="cannot load the calibration file"):
        bare.load_calib_params(tmp_path / "missing.yml")
    with pytest.raises(FileNotFoundError, match="missing.yml"):
        korvane.StereoCamera(str(tmp_path / "missing.yml"))
    with pytest.raises(TypeError):
        bare.load_config(12)


def test_configuration_and_calibration_files_round_trip(synthetic_set, tmp_path):
    cam = korvane.StereoCamera(os.path.join(synthetic_set, "config.yml"))
    cam.load_calib_params(os.path.join(synthetic_set, "calibration.yml"))
    cam.save_config(tmp_path / "config.yml")
    cam.save_calib_params(tmp_path / "calibration.yml")
    again = korvane.StereoCamera(str(tmp_path / "config.yml"))
    again.load_calib_params(tmp_path / "calibration.yml")
    assert again.raw_frame_size == cam.raw_frame_size
    for right in (False, True):
        for a, b in zip(cam.get_calib_params(right)[:5], again.get_calib_params(right)[:5]):
            assert np.allclose(a, b)


def test_calibration_parameters_are_copies_and_can_be_set(synthetic_set, bare):
    cam = korvane.StereoCamera(os.path.join(synthetic_set, "config.yml"))
    cam.load_calib_params(os.path.join(synthetic_set, "calibration.yml"))
    params = cam.get_calib_params()
    assert len(params) == 6 and params[0].shape == (3, 3) and params[0].dtype == np.float64
    params[0][0, 0] = -1.0
    assert cam.get_calib_params()[0][0, 0] != -1.0
    bare.set_calib_params(cam.get_calib_params()[:5], right=True)
    assert np.array_equal(bare.get_calib_params(right=True)[0], cam.get_calib_params()[0])
    with pytest.raises(ValueError, match="five arrays"):
        bare.set_calib_params(params[:2])
    with pytest.raises(TypeError, match="dtype"):
        bare.set_calib_params([np.zeros((3, 3), dtype=np.complex64)] * 5)
