"""Libraries on a real Slurm cluster of three nodes."""

import os
import signal
import subprocess

import pytest

from stand_in import use_joiner
from workbench import Library, wait_until

ODD = ("it's \"odd\" {a},[b]*.mp4", "line\nfeed %d & $HOME `x`;.mp4", "-dash.mp4", "ümläut ☃.mp4", "a: b.mp4",
       "x.y.z.mp4")


# What Snakemake, a shell or a format string would stumble over.
ODD_FOLDER = "it's {key} \"$x\", [of] mine"


@pytest.fixture
def clustered(tmp_path, converter, cluster):
    # Snakemake asks for its jobs every ten seconds, except where this variable is set.
    return Library(tmp_path, converter, movies=ODD_FOLDER, environment={**cluster.environment, "CI": "true"})


def test_cluster_makes_the_same_movies_as_this_machine(clip, clustered, tmp_path, converter):
    here = Library(tmp_path / "here", converter)
    for library in (clustered, here):
        library.add(clip, "one.mp4", "a/same.mp4", "b/same.mp4", *ODD)
        library.add(clip, "broken.mp4")
        with open(library.recordings / "broken.mp4", "r+b") as file:
            file.truncate(3000)
        library.plan("--sbs-codec", "prores")
    text = clustered.run("--profile", "slurm", "--cpus", "1", status=1)
    assert "9 of 10 movies there, 1 failed" in text
    assert "failed: broken.mp4: could not open input" in text
    here.run("--profile", "plain", "--jobs", "2", status=1)
    assert clustered.made() == here.made()
    assert len(clustered.made()) == 9
    assert clustered.leftovers() == []
    nodes = {mark["node"] for mark in clustered.done_marks().values()}
    assert nodes <= {"n1", "n2", "n3"} and len(nodes) > 1


def test_pieces_are_converted_on_the_cluster(clip, clustered):
    use_joiner(clustered)
    clustered.add(clip, "a.mp4")
    clustered.plan("--piece-minutes", "0.005", "--sbs-codec", "prores")
    clustered.run("--profile", "slurm", "--cpus", "1")
    clustered.check_all_done(1)
    assert len(clustered.journal("piece")) == 3


def test_job_of_a_dead_node_is_done_by_another(clip, clustered, cluster):
    clustered.add(clip, "slow.mp4", "quick.mp4")
    clustered.make_slow()
    clustered.plan("--sbs-codec", "prores")
    run = clustered.begin("--profile", "slurm", "--cpus", "1")
    clustered.wait_for_converters(1)
    node = next(event["node"] for event in clustered.journal("started") if event["key"] == clustered.key("slow.mp4"))
    try:
        cluster.kill_node(node)
        assert len(clustered.leftovers()) >= 1
        clustered.let_go()
        text = run.communicate(timeout=100)[0]
        assert run.returncode == 0, text + clustered.snakemake_log()
    finally:
        run.kill()
        cluster.start_node(node)
        cluster.wait_until_idle(cluster.nodes)
    clustered.check_all_done(2)
    assert clustered.done_marks()[clustered.key("slow.mp4")]["node"] != node


def test_killed_snakemake_leaves_jobs_that_the_next_run_waits_for(clip, clustered, cluster):
    clustered.add(clip, "slow.mp4", "quick.mp4")
    clustered.make_slow()
    clustered.plan("--sbs-codec", "prores")
    run = clustered.begin("--profile", "slurm", "--cpus", "1")
    clustered.wait_for_converters(1)
    snakemake = subprocess.run(["pgrep", "-P", str(run.pid)], capture_output=True, text=True, check=True).stdout.split()
    for process in snakemake:
        os.kill(int(process), signal.SIGKILL)
    text = run.communicate(timeout=30)[0]
    assert run.returncode == 1 and "snakemake was ended by signal 9" in text
    again = clustered.begin("--profile", "slurm", "--cpus", "1")
    wait_until(lambda: "PENDING" in cluster.output("squeue", "-h", "-o", "%T"))
    clustered.let_go()
    text = again.communicate(timeout=60)[0]
    assert again.returncode == 0, text + clustered.snakemake_log()
    clustered.check_all_done(2)
    assert len(clustered.waiting_converters()) == 1


def test_next_batch_begins_while_the_last_jobs_of_one_are_at_work(clip, clustered):
    clustered.add(clip, "a slow.mp4", "b.mp4", "c.mp4", "d.mp4", "e.mp4")
    clustered.make_slow()
    clustered.plan("--sbs-codec", "prores")
    clustered.use_batches(2)
    run = clustered.begin("--profile", "slurm", "--cpus", "1", "--jobs", "2")
    try:
        wait_until(lambda: len(clustered.journal("completed")) == 4)
        assert run.poll() is None
    finally:
        clustered.let_go()
        text = run.communicate(timeout=60)[0]
    assert run.returncode == 0, text + clustered.snakemake_log()
    clustered.check_all_done(5)


def test_interrupted_run_cancels_its_jobs_and_goes_on_later(clip, clustered, cluster):
    clustered.add(clip, "slow.mp4", "slow too.mp4")
    clustered.make_slow()
    clustered.plan("--sbs-codec", "prores")
    run = clustered.begin("--profile", "slurm", "--cpus", "1")
    clustered.wait_for_converters(2)
    run.send_signal(signal.SIGINT)
    text = run.communicate(timeout=60)[0]
    assert run.returncode == 130, text + clustered.snakemake_log()
    wait_until(lambda: cluster.output("squeue", "-h").strip() == "")
    assert clustered.made() == {}
    clustered.let_go()
    clustered.run("--profile", "slurm", "--cpus", "1")
    clustered.check_all_done(2)
