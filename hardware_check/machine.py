"""What the machine is: graphics cards, drivers, system. Nothing that tells whose it is."""

import os
import platform
import re
import subprocess
from pathlib import Path

UNKNOWN = "unknown"
VIDEO_CONTROLLERS = ("Get-CimInstance Win32_VideoController | ForEach-Object "
                     "{ $_.Name + ', driver ' + $_.DriverVersion + ', ' + $_.VideoProcessor }")


def lines_of(*command):
    """Lines of a program's output; none when it is missing or fails."""
    try:
        done = subprocess.run(command, capture_output=True, timeout=60, check=False)
    except (OSError, subprocess.TimeoutExpired):
        return []
    text = done.stdout.decode(errors="replace") if done.returncode == 0 else ""
    return [line.strip() for line in text.splitlines() if line.strip()]


def graphics_cards():
    if os.name == "nt":
        return lines_of("powershell", "-NoProfile", "-Command", VIDEO_CONTROLLERS)
    found = [line.split(" ", 1)[1] for line in lines_of("lspci")
             if re.search(r"VGA|3D controller|Display controller", line)]
    return found or sorted(modules())


def modules():
    """Drivers of the cards that Linux knows, where lspci is missing."""
    drivers = {Path(os.path.realpath(entry)).name for entry in Path("/sys/class/drm").glob("card*/device/driver")}
    return {f"unknown card with the driver {driver}" for driver in drivers}


def nvidia_driver():
    """Name, driver and firmware of each NVIDIA card; no serial numbers."""
    return lines_of("nvidia-smi", "--query-gpu=name,driver_version,vbios_version", "--format=csv,noheader")


def system():
    if os.name == "nt":
        return f"Windows {platform.version()} {platform.machine()}"
    try:
        name = platform.freedesktop_os_release().get("PRETTY_NAME", "Linux")
    except (OSError, AttributeError):
        name = platform.system()
    return f"{name}, kernel {platform.release()} {platform.machine()}"


def describe(simulated):
    """(label, value) pairs."""
    cards = graphics_cards() or [UNKNOWN]
    facts = [("graphics card", card) for card in cards]
    facts += [("NVIDIA card, driver, firmware", line) for line in nvidia_driver() or [UNKNOWN]]
    if simulated:
        facts.append(("NVENC driver", "SIMULATED, not a GPU: rows of NVENC say nothing about real hardware"))
    return facts + [("system", system()), ("processors", str(os.cpu_count())), ("python", platform.python_version())]
