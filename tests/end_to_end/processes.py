"""Watches processes that a test has not started itself."""

import time


def wait_for(condition, seconds=20):
    deadline = time.monotonic() + seconds
    while time.monotonic() < deadline:
        if condition():
            return True
        time.sleep(0.05)
    return False


def is_running(process):
    try:
        state = open(f"/proc/{process}/stat", encoding="utf-8").read().rsplit(")", 1)[1].split()[0]
    except FileNotFoundError:
        return False
    return state != "Z"
