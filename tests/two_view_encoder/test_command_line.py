"""Options of the two-view encoder."""

import re


def lines(run):
    return run.stdout.decode().replace("\r\n", "\n").splitlines()


def test_help(encoder):
    run = encoder.run("--help")
    assert (run.returncode, run.stderr) == (0, b"")
    for word in ("veyrin-two-view-encoder", "--help", "--version", "--probe", "GNU General Public License"):
        assert any(word in line for line in lines(run)), word


def test_version(encoder):
    run = encoder.run("--version")
    assert run.returncode == 0
    [line] = lines(run)
    assert re.fullmatch(r"veyrin-two-view-encoder \d+\.\d+\.\d+ \(x265 4\.1\S*, protocol 1\)", line)


def test_probe(encoder):
    run = encoder.run("--probe")
    assert (run.returncode, lines(run)) == (0, ["8 bits: both views", "10 bits: both views"]), run.stderr


def test_other_arguments(encoder):
    for words in (("--prob",), ("x",), ("",), ("--help", "--probe"), ("--version", "")):
        run = encoder.run(*words)
        assert (run.returncode, run.stdout) == (2, b"")
        assert run.stderr.decode().splitlines() == [
            "unknown arguments: only --help, --version or --probe may be given"]
