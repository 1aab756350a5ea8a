"""The control channel from Python, on the two virtual modules that its ctest
entry starts: korvane-virtual-module --module chip=2620,video=0,serial=KV0001
--module chip=2650,video=2,serial=KV0002 -- python3 -m pytest ..."""

import os
import re

import pytest

import korvane

SAMPLE_CALIBRATION = os.path.join(os.path.dirname(__file__), "..", "..", "..", "data", "sample_calibration.yml")

pytestmark = pytest.mark.skipif(os.environ.get("KORVANE_VIRTUAL_MODULES") != "1",
                                reason="needs the virtual modules (ctest python_control)")


def test_list_modules_gives_each_modules_record():
    records = korvane.list_modules()
    assert [r["node"] for r in records] == ["/dev/video0", "/dev/video2"]
    assert [r["serial"] for r in records] == ["KV0001", "KV0002"]
    for r in records:
        assert r["identity"] == f"{r['vid']:04x}:{r['pid']:04x}:{r['serial']}"
        assert r["identification"] == f"{r['bcd_device']}-{r['bcd_device']}-{r['vid']}-{r['serial']}"
        assert r["model"] != "UNKNOW" and r["flash_part_id"] > 0
        assert r["flash_part"] not in ("", "unknown") and r["flash_part"] == r["flash_part"].upper()
    assert records[0]["model"] != records[1]["model"]  # two chips, two protocols
    assert [r["chip"] for r in records] == ["SPCA2620", "SPCA2650"]


def test_a_module_reads_and_writes_its_registers():
    module = korvane.Module.open(0)
    assert module.info["serial"] == "KV0001"
    module.write_register(0x2000, 0x5A)
    assert module.read_register(0x2000) == 0x5A
    module.write_register(0x2000, 0x00)
    assert module.read_register(0x2000) == 0x00
    with pytest.raises(ValueError, match="one byte"):
        module.write_register(0x2000, 256)
    with pytest.raises(TypeError):
        module.write_register(-1, 0)


def test_sensor_registers():
    module = korvane.Module.open(0)
    module.write_sensor_register(0x3012, 0x1234)
    assert module.read_sensor_register(0x3012) == 0x1234
    with pytest.raises(ValueError, match="16 bits"):
        module.write_sensor_register(0x3012, 0x10000)
    with pytest.raises(ValueError, match="address is 16 bits"):
        module.read_sensor_register(0x10000)
    with pytest.raises(ValueError, match="one byte"):
        module.read_sensor_register(0x3012, slave=256)


def test_gpio_pins():
    module = korvane.Module.open(1)
    module.gpio_output(1)
    module.set_gpio(1, 1)
    module.set_gpio(1, 0)
    module.gpio_input(2)
    assert module.get_gpio(2) in (0, 1)
    with pytest.raises(ValueError, match="0 or 1"):
        module.set_gpio(1, 2)


def test_flash_blocks_and_identification():
    module = korvane.Module.open(0)
    assert len(module.read_calibration_block()) == 4096
    assert module.read_calibration_block() == module.read_user_piece(0)
    assert module.read_identification_block().rstrip(b"\0") == b"KV0001"
    assert re.fullmatch(r"\d+-\d+-\d+-KV0001", module.identification())
    with pytest.raises(ValueError, match="0 to 2"):
        module.read_user_piece(3)


def test_an_enumeration_leaves_opened_modules_stale():
    module = korvane.Module.open(0)
    korvane.list_modules()
    with pytest.raises(RuntimeError, match="enumerated again"):
        module.read_register(0x2000)
    with pytest.raises(IndexError, match="no module at index 5"):
        korvane.Module.open(5)


def test_the_device_camera_gives_the_modules_identification():
    module = korvane.Module.open(0)
    expected = module.identification()
    camera = korvane.KorvaneCamera(0)
    assert camera.device_node == 0
    assert camera.firmware_version() == expected
    with pytest.raises(RuntimeError, match="enumerated again"):
        module.identification()
    with pytest.raises(RuntimeError, match="no calibration"):
        camera.load_internal_calib_params()  # the virtual flash is blank


def test_list_modules_example_prints_one_line_per_module():
    import subprocess
    import sys
    example = os.path.join(os.path.dirname(__file__), "..", "..", "..", "examples", "python", "list_modules.py")
    result = subprocess.run([sys.executable, example], capture_output=True, text=True, timeout=60)
    assert result.returncode == 0, result.stderr
    lines = result.stdout.splitlines()
    assert lines[0].startswith("NODE") and len(lines) == 3
    assert "/dev/video0" in lines[1] and "KV0001" in lines[1] and "KV0002" in lines[2]
    assert "SPCA2620" in lines[1] and "SPCA2650" in lines[2]


def make_firmware(tmp_path, form):
    tool = os.environ.get("KORVANE_FIRMWARE_TOOL")
    if not tool:
        pytest.skip("needs korvane-firmware-image (KORVANE_FIRMWARE_TOOL)")
    import subprocess
    image = tmp_path / f"{form}.bin"
    subprocess.run([tool, form, "-o", str(image)], check=True, timeout=60, capture_output=True)
    return image.read_bytes()


def test_firmware_update_reports_progress_and_follows_the_module(tmp_path):
    image = make_firmware(tmp_path, "2620")
    module = korvane.Module.open(0)
    other = korvane.Module.open(1)
    text = open(SAMPLE_CALIBRATION, "rb").read()
    module.write_calibration_block(text, tmp_path / "before.bin")
    seen = []
    backup = module.update_firmware(image, progress=lambda phase, percent: seen.append((phase, percent)),
                                    backup_dir=tmp_path / "backups")
    assert os.path.dirname(backup) == str(tmp_path / "backups") and os.path.getsize(backup) > 4096
    assert module.read_calibration_block() == text + b"\0" * (4096 - len(text))  # written back
    percents = [percent for _, percent in seen]
    assert len(seen) >= 3 and percents == sorted(percents) and percents[-1] == 100.0
    phases = [phase for phase, _ in seen]
    order = ["preparing", "erasing", "writing and verifying", "header", "restarting"]
    assert set(phases) <= set(order) and "writing and verifying" in phases  # erasing may fall between samples
    assert phases[0] == "preparing" and phases[-1] == "restarting"
    assert [order.index(p) for p in phases] == sorted(order.index(p) for p in phases)
    assert module.info["serial"] == "KV0001"
    module.write_register(0x2000, 0x11)
    assert module.read_register(0x2000) == 0x11
    with pytest.raises(RuntimeError, match="enumerated again"):
        other.read_register(0x2000)
    with pytest.raises(RuntimeError, match="the firmware update failed: .*\\(-[0-9]\\)"):
        module.update_firmware(make_firmware(tmp_path, "unmarked"), discard_user_data=True)
    module = korvane.Module.open(0)  # a failed download may have listed the modules again
    with pytest.raises(RuntimeError, match="failed: .*the user data as they were are in .*korvane-maintenance "
                                           "restore --device 0 "):
        module.update_firmware(make_firmware(tmp_path, "unmarked"), backup_dir=tmp_path / "refused")


def test_firmware_update_from_a_file(tmp_path):
    path = tmp_path / "image.bin"
    path.write_bytes(make_firmware(tmp_path, "2620"))
    module = korvane.Module.open(0)
    before = module.read_calibration_block()
    assert module.update_firmware(path, discard_user_data=True) is None
    assert module.info["serial"] == "KV0001"
    assert module.read_calibration_block() != before  # the download rewrote it, as asked
    with pytest.raises(RuntimeError, match="nothing written: Cannot back up the user data"):
        module.update_firmware(path, backup_dir="/proc/nowhere")
    with pytest.raises(FileNotFoundError):
        module.update_firmware(tmp_path / "missing.bin", discard_user_data=True)
    with pytest.raises(TypeError):
        module.update_firmware(42)


def test_calibration_block_writes_are_checked_and_backed_up(tmp_path):
    text = open(SAMPLE_CALIBRATION, "rb").read()
    module = korvane.Module.open(0)
    before = module.read_calibration_block()
    with pytest.raises(ValueError, match="not a calibration file.*nothing written"):
        module.write_calibration_block(b"%YAML:1.0\n---\nLeftXi: 1\n", tmp_path / "refused.bin")
    with pytest.raises(ValueError, match="more than the block"):
        module.write_calibration_block(text + b" " * 4096, tmp_path / "refused.bin")
    assert not (tmp_path / "refused.bin").exists()
    assert module.read_calibration_block() == before
    with pytest.raises(RuntimeError, match="cannot write the backup"):
        module.write_calibration_block(text, "/proc/nowhere/backup.bin")
    module.write_calibration_block(text, tmp_path / "backup.bin")
    assert (tmp_path / "backup.bin").read_bytes() == before
    assert module.read_calibration_block() == text + b"\0" * (4096 - len(text))
    camera = korvane.KorvaneCamera(0)  # loads the factory calibration from the block
    camera.load_internal_calib_params()
    assert camera.get_calib_params()[0].shape == (3, 3)
