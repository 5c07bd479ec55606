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
    except (FileNotFoundError, ProcessLookupError):  # the latter when it ends between opening and reading
        return False
    return state != "Z"


def check_end_with(process, number_file, ending):
    """A process that has left its number in the file ends with the one that started it, which gets the signal `ending`."""
    try:
        assert wait_for(number_file.exists)
        child = int(number_file.read_text())
        assert is_running(child)
        process.send_signal(ending)
        process.wait(timeout=20)
        assert wait_for(lambda: not is_running(child)), "the child outlived the converter"
    finally:
        process.kill()
        process.wait()
