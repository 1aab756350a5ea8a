"""korvane.virtual: a test starts virtual modules and runs Python under them."""

import os
import sys

import pytest

import korvane

needs_launcher = pytest.mark.skipif(not os.environ.get("KORVANE_VIRTUAL_MODULE"),
                                    reason="the build has no korvane-virtual-module")

LIST = "import korvane; print([(m['chip'], m['serial'], m['flash_part']) for m in korvane.list_modules()])"


@needs_launcher
def test_python_under_two_virtual_modules_lists_them():
    result = korvane.virtual.run(
        ["chip=2620,video=0,serial=KV0101", {"chip": "2650", "video": 2, "serial": "KV0102", "flash": "GD25Q40C"}],
        [sys.executable, "-c", LIST], capture_output=True, text=True, timeout=60)
    assert result.returncode == 0, result.stderr
    assert result.stdout.strip() == "[('SPCA2620', 'KV0101', 'MX25L512'), ('SPCA2650', 'KV0102', 'GD25Q40C')]"


@needs_launcher
def test_the_launchers_failure_is_the_childs_result():
    result = korvane.virtual.run(["chip=9999"], [sys.executable, "-c", "pass"], capture_output=True, text=True,
                                 timeout=60)
    assert result.returncode != 0 and "9999" in result.stderr


def test_module_options_and_command_line(monkeypatch):
    monkeypatch.setenv("KORVANE_VIRTUAL_MODULE", "/opt/x/korvane-virtual-module")
    assert korvane.virtual.module_options({"chip": "2620", "video": 0}) == "chip=2620,video=0"
    assert korvane.virtual.command(["chip=2085"], ["prog", "-v"], restart_delay_ms=50) == [
        "/opt/x/korvane-virtual-module", "--module", "chip=2085", "--restart-delay", "50", "--", "prog", "-v"]
    with pytest.raises(ValueError, match="holds ','"):
        korvane.virtual.module_options({"serial": "A,B"})
    with pytest.raises(TypeError, match="list of modules"):
        korvane.virtual.command("chip=2620", ["prog"])
    with pytest.raises(TypeError, match="list of arguments"):
        korvane.virtual.command(["chip=2620"], "prog -v")


def test_a_missing_launcher_is_named(monkeypatch):
    monkeypatch.delenv("KORVANE_VIRTUAL_MODULE", raising=False)
    monkeypatch.setenv("PATH", "/nonexistent")
    with pytest.raises(FileNotFoundError, match="korvane-virtual-module"):
        korvane.virtual.launcher()
