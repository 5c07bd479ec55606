"""The program that makes the manual page and the completions."""

import subprocess
import sys

import pytest

from conftest import REPOSITORY


@pytest.fixture
def make_help(tmp_path):
    def run(text):
        (tmp_path / "usage.txt").write_text(text, encoding="utf-8")
        return subprocess.run([sys.executable, REPOSITORY / "help" / "make_help.py", "--usage", tmp_path / "usage.txt",
                               "--version", "7.8.9", tmp_path / "made"], capture_output=True, text=True, check=False)
    return run


def test_files_of_the_build_are_those_of_the_program(make_help, usage_text, help_files, tmp_path):
    assert make_help(usage_text).returncode == 0
    made = sorted(path.relative_to(tmp_path / "made") for path in (tmp_path / "made").rglob("*") if path.is_file())
    assert made == sorted(path.relative_to(help_files) for path in (help_files / "share").rglob("*") if path.is_file())
    assert len(made) == 4
    for name in made:
        text, built = ((folder / name).read_text(encoding="utf-8") for folder in (tmp_path / "made", help_files))
        # Only the page tells the version.
        assert (text != built) == (name.suffix == ".1"), name
        assert ("7.8.9" in text) == (name.suffix == ".1"), name


@pytest.mark.parametrize("damage", [
    lambda text: "",
    lambda text: text.replace("Usage:", "usage:"),
    lambda text: text.replace("\n\n", "\n"),
    lambda text: text.replace("  --start SECONDS           trim start\n", "  --start SECONDS\n"),
    lambda text: text.replace("  --inspect     ", "  inspect       "),
    lambda text: text.replace("--sbs-mode full|half", "--sbs-mode full half"),
], ids=["empty", "head", "blocks", "description", "name", "values"])
def test_other_texts_are_refused(make_help, usage_text, tmp_path, damage):
    damaged = damage(usage_text)
    assert damaged != usage_text
    run = make_help(damaged)
    assert run.returncode == 1
    assert run.stderr.startswith(f"{tmp_path / 'usage.txt'}: error: ")
    assert not (tmp_path / "made").exists()
