"""The check as the Windows package has it: all modules in one folder, the programs beside it."""

import re
import shutil
import subprocess
import sys
from pathlib import Path

REPOSITORY = Path(__file__).resolve().parents[2]
COMMAND = REPOSITORY / "cmake" / "windows" / "hardware-check.cmd"


def packaged_checks():
    """The modules that the package takes from the tests."""
    text = (REPOSITORY / "hardware_check" / "CMakeLists.txt").read_text()
    names = re.search(r"set\(checks ([^)]*)\)", text).group(1).split()
    return [REPOSITORY / "tests" / "end_to_end" / f"{name}.py" for name in names] + [
        REPOSITORY / "tests" / "two_view_encoder" / "bit_stream.py"]


def test_package_has_all_modules_and_needs_no_pytest(request, tmp_path):
    folder = tmp_path / "package" / "hardware_check"
    (folder / "checks").mkdir(parents=True)
    for module in (REPOSITORY / "hardware_check").glob("*.py"):
        shutil.copy(module, folder)
    for module in packaged_checks():
        shutil.copy(module, folder / "checks")
    (folder / "checks" / "pytest.py").write_text("raise ImportError('volunteers have no pytest')")
    done = subprocess.run([sys.executable, folder, "--quick", "--only", "hevc_nvenc 8-bit spatial", "--program",
                           request.config.getoption("--program"), "--simulated-nvenc",
                           request.config.getoption("--simulated-nvenc")], cwd=tmp_path, capture_output=True, text=True,
                          check=False)
    assert done.returncode == 0, done.stdout + done.stderr
    assert "1 passed, 0 failed, 0 not available" in done.stdout
    assert "source: package" in (tmp_path / "hardware-check-result" / "hardware-check-report.txt").read_text()


def test_command_file_has_the_line_ends_of_windows():
    lines = COMMAND.read_bytes().split(b"\n")
    assert lines.pop() == b"" and all(line.endswith(b"\r") for line in lines)
