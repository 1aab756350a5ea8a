#!/usr/bin/python3
"""Lists the camera modules on the control channel, one line each, as
korvane-maintenance list does.

    PYTHONPATH=build/python examples/python/list_modules.py
"""

import sys

import korvane


def main():
    modules = korvane.list_modules()
    if not modules:
        print("no module is attached", file=sys.stderr)
        return 1
    print(f"{'NODE':<13}{'CHIP':<10}{'MODEL':<15}{'VID:PID':<11}{'SERIAL':<17}{'FLASH':<14}IDENTIFICATION")
    for m in modules:
        print(f"{m['node']:<13}{m['chip']:<10}{m['model']:<15}{m['vid']:04x}:{m['pid']:04x} {m['serial']:<17}"
              f"{m['flash_part']:<14}{m['identification']}")
    return 0


if __name__ == "__main__":
    sys.exit(main())
