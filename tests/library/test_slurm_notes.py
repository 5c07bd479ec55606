"""What becomes of the jobs that Slurm and Snakemake have forgotten; without a cluster."""

import argparse
import os
import subprocess
import sys
from unittest.mock import Mock

import pytest

from veyrin_library import snakemake_runner, store
from workbench import REPOSITORY

FORGOTTEN = "echo 'slurm_load_jobs error: Invalid job id specified' >&2; exit 1"
AWAY = "echo 'Unable to contact slurm controller' >&2; exit 1"


@pytest.fixture
def kept(tmp_path):
    kept = store.Store(tmp_path / "movies")
    kept.make_folders()
    return kept


@pytest.fixture
def calls(kept, monkeypatch):
    """A function that begins a run's calls of Snakemake."""
    monkeypatch.setenv("XDG_STATE_HOME", str(kept.movies.parent / "state"))
    return lambda: snakemake_runner.Calls("snakemake", kept, argparse.Namespace(), None)


@pytest.mark.parametrize("scontrol, note, answer", [
    (FORGOTTEN, True, "success"), (FORGOTTEN, False, "failed"), (AWAY, True, "success"), (AWAY, False, "running"),
    ("echo JobId=7 JobState=RUNNING", True, "running"), ("echo JobId=7 JobState=NODE_FAIL", False, "failed")])
def test_status_of_a_job(kept, tmp_path, scontrol, note, answer):
    (tmp_path / "scontrol").write_text(f"#!/bin/sh\n{scontrol}\n", encoding="ascii")
    (tmp_path / "scontrol").chmod(0o755)
    if note:
        kept.path("logs/slurm", "7", ".ended").touch()
    done = subprocess.run([sys.executable, str(REPOSITORY / "library" / "cluster" / "veyrin-slurm-status"), "7"],
                          env={**os.environ, "PATH": f"{tmp_path}{os.pathsep}{os.environ['PATH']}",
                               "VEYRIN_LIBRARY_MOVIES": str(kept.movies)},
                          capture_output=True, text=True, check=True, timeout=30)
    assert done.stdout == answer + "\n"


def test_notes_of_an_older_run_are_removed(kept, calls):
    for name in ("7.ended", "7.log"):
        (kept.folder / "logs" / "slurm" / name).touch()
    calls()
    assert os.listdir(kept.folder / "logs" / "slurm") == ["7.log"]


@pytest.mark.parametrize("status, killed", ((-9, True), (1, False), (0, False)))
def test_a_killed_snakemake_leaves_jobs_behind(calls, status, killed):
    begun = calls()
    begun.running[Mock(returncode=status, poll=lambda: status)] = {"k": {}}
    begun.take_ended()
    assert begun.killed == killed and bool(begun.problem) == bool(status)
