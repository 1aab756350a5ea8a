"""Virtual modules for tests and trials with no module attached.

The emulated modules exist only inside a process that korvane-virtual-module
starts (the device nodes and the chip are emulated beneath the process), so
a test runs the code that needs them as a child:

    result = korvane.virtual.run(["chip=2620,serial=KV0001"],
                                 [sys.executable, "-c", "import korvane; print(korvane.list_modules())"],
                                 capture_output=True, text=True)
"""

import os
import shutil
import subprocess
from typing import Any, Mapping, Optional, Sequence, Union

LAUNCHER = "korvane-virtual-module"

ModuleSpec = Union[str, Mapping[str, Any]]


def launcher() -> str:
    """The launcher's path: $KORVANE_VIRTUAL_MODULE, else korvane-virtual-module
    on PATH (package korvane-virtual-module). FileNotFoundError when neither."""
    path = os.environ.get("KORVANE_VIRTUAL_MODULE") or shutil.which(LAUNCHER)
    if not path:
        raise FileNotFoundError(f"{LAUNCHER} was not found: install the package korvane-virtual-module "
                                "or set KORVANE_VIRTUAL_MODULE to the launcher's path")
    return path


def module_options(spec: ModuleSpec) -> str:
    """One module's options as the launcher takes them: a string as it stands,
    or a mapping such as {"chip": "2650", "video": 2, "serial": "KV0002"}."""
    if isinstance(spec, str):
        return spec
    if not isinstance(spec, Mapping):
        raise TypeError(f"a module is a string or a mapping of options, not {type(spec).__name__}")
    for key, value in spec.items():
        if "," in f"{key}{value}" or "=" in f"{key}{value}":
            raise ValueError(f"module option {key}={value} holds ',' or '='")
    return ",".join(f"{key}={value}" for key, value in spec.items())


def command(modules: Sequence[ModuleSpec], program: Sequence[str], restart_delay_ms: Optional[int] = None) -> list:
    """The launcher's command line that runs program under those modules."""
    if isinstance(modules, (str, Mapping)):
        raise TypeError("modules is a list of modules")
    if isinstance(program, str):
        raise TypeError("program is a list of arguments, not one string")
    line = [launcher()]
    for spec in modules:
        line += ["--module", module_options(spec)]
    if restart_delay_ms is not None:
        line += ["--restart-delay", str(int(restart_delay_ms))]
    return line + ["--"] + list(program)


def run(modules: Sequence[ModuleSpec], program: Sequence[str], restart_delay_ms: Optional[int] = None,
        **kwargs: Any) -> subprocess.CompletedProcess:
    """Runs program (a list of arguments) under virtual modules and waits for
    it: subprocess.run's keyword arguments (timeout, capture_output, text,
    check, env, ...) apply."""
    return subprocess.run(command(modules, program, restart_delay_ms), **kwargs)
