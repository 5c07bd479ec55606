"""The program that makes the manual page and the completions."""

import subprocess
import sys

import pytest

from conftest import REPOSITORY


@pytest.fixture
def make_help(tmp_path):
    def run(*texts):
        words = []
        for number, text in enumerate(texts):
            (tmp_path / f"usage{number}.txt").write_text(text, encoding="utf-8")
            words += ["--usage", tmp_path / f"usage{number}.txt"]
        return subprocess.run([sys.executable, REPOSITORY / "help" / "make_help.py", *words, "--version", "7.8.9",
                               tmp_path / "made"], capture_output=True, text=True, check=False)
    return run


def test_files_of_the_build_are_those_of_the_programs(make_help, usage_text, join_usage_text, help_files, tmp_path):
    assert make_help(usage_text, join_usage_text).returncode == 0
    made = sorted(path.relative_to(tmp_path / "made") for path in (tmp_path / "made").rglob("*") if path.is_file())
    assert made == sorted(path.relative_to(help_files) for path in (help_files / "share").rglob("*") if path.is_file())
    assert len(made) == 3 * 4
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
    assert run.stderr.startswith(f"{tmp_path / 'usage0.txt'}: error: ")
    assert not (tmp_path / "made").exists()


def test_other_texts_of_veyrin_join_are_refused(make_help, usage_text, join_usage_text, tmp_path):
    run = make_help(usage_text, join_usage_text.replace("  --cuts MINUTES  ", "  cuts MINUTES    "))
    assert run.returncode == 1
    assert run.stderr.startswith(f"{tmp_path / 'usage1.txt'}: error: ")
    assert not (tmp_path / "made").exists()
