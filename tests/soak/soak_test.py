"""The soak's own parts: programs that misbehave are found out, and layouts keep a recording's samples."""

import random
import subprocess
import sys
import tempfile
import unittest
from pathlib import Path
from types import SimpleNamespace

HERE = Path(__file__).resolve().parent
sys.path[:0] = [str(HERE), str(HERE.parent / "end_to_end")]
sys.dont_write_bytecode = True

import runs  # noqa: E402
from box_tree import file_bytes, read_tree  # noqa: E402
from inputs import InputSource  # noqa: E402
from movie_model import Recording  # noqa: E402

FAILURE = "echo 'Error: could not open input'; exit 1"


def ffmpeg(*words):
    subprocess.run(["ffmpeg", "-v", "error", "-y", *map(str, words)], check=True)


def small_movie(folder):
    path = Path(folder, "movie.mp4")
    ffmpeg("-f", "lavfi", "-i", "testsrc=s=64x64:r=25:d=0.4", "-f", "lavfi", "-i", "sine=d=0.4", "-c:v", "libx264", "-bf",
           "2", "-pix_fmt", "yuv420p", "-c:a", "aac", "-use_editlist", "0", path)
    return path


def packets(path):
    """Track, time stamps, flags and checksum of all packets, as another reader sees them."""
    done = subprocess.run(["ffprobe", "-v", "error", "-show_packets", "-show_data_hash", "md5", "-show_entries",
                           "packet=stream_index,pts,dts,flags,data_hash", "-of", "csv", str(path)],
                          capture_output=True, text=True, check=True)
    assert not done.stderr, done.stderr
    return sorted(done.stdout.splitlines())


class Layouts(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.folder = Path(folder.name)
        self.movie = small_movie(self.folder)
        self.data = self.movie.read_bytes()

    def test_boxes_are_written_as_they_were_read(self):
        self.assertEqual(file_bytes(read_tree(self.data)), self.data)
        for cut in (0, 5, 100, len(self.data) - 3):
            self.assertEqual(file_bytes(read_tree(self.data[:cut])), self.data[:cut])

    def test_every_layout_keeps_all_packets(self):
        expected = packets(self.movie)
        self.assertGreater(len(expected), 20)
        for name, made in (("plain", Recording(self.data).plain()), ("first", Recording(self.data).plain(True)),
                           ("fragments", Recording(self.data).fragmented(3))):
            path = self.folder / f"{name}.mp4"
            path.write_bytes(made)
            self.assertEqual(packets(path), expected, name)

    def test_an_edit_list_moves_a_track(self):
        recording = Recording(self.data)
        recording.tracks[0].edits = [(500, -1, 0x10000), (400, 1024, 0x10000)]
        path = self.folder / "edited.mp4"
        path.write_bytes(recording.plain())
        self.assertNotEqual(packets(path), packets(self.movie))


class Inputs(unittest.TestCase):
    def test_a_number_means_the_same_file_for_ever(self):
        with tempfile.TemporaryDirectory() as folder:
            movie = small_movie(folder)
            script = Path(folder, "maker")
            script.write_text("#!/bin/sh\nprintf 'Faults for --malformed:\\n  one  the first\\n'\n")
            script.chmod(0o755)
            shelf = SimpleNamespace(maker=script, get=lambda *options: SimpleNamespace(path=movie))
            first, second = (InputSource(shelf, "7") for _ in range(2))
            made = [first.make(number) for number in range(120)]
            random.random()
            again = [second.make(number) for number in reversed(range(120))][::-1]
            self.assertEqual(made, again)
            self.assertGreater(len({item.data for item in made}), 100)
            self.assertNotEqual(InputSource(shelf, "8").make(50).data, made[50].data)


class Judgement(unittest.TestCase):
    def found(self, body, job=None):
        """The kinds of findings for a program that is this script."""
        with tempfile.TemporaryDirectory() as folder:
            program = Path(folder, "program")
            program.write_text(f"#!/bin/sh\n{body}\n")
            program.chmod(0o755)
            stage = runs.Stage(Path(folder, "stage"), b"a recording", ".mp4")
            job = job or runs.Job("prores", ("--output", "sbs.mov"), "sbs.mov")
            outcome = runs.Runner(program, folder).run(stage, job, 0)
            self.assertEqual(stage.findings(runs.Job("after", ())), [finding for finding in outcome.findings
                                                                     if "changed" in finding[0]])
            return [kind for kind, _ in outcome.findings]

    def test_proper_ends(self):
        self.assertEqual(self.found(FAILURE), [])
        self.assertEqual(self.found(f"echo part >sbs.mov; {FAILURE}"), [])
        inspect = runs.Job("inspect", ("--inspect",))
        self.assertEqual(self.found("echo '  duration_seconds: 1'", inspect), [])
        movie = "ffmpeg -v error -f lavfi -i testsrc=s=64x64:d=0.2 -c:v mpeg4 sbs.mov </dev/null"
        self.assertEqual(self.found(movie + "; echo '  encoded_frames: 5'"), [])
        self.assertEqual(self.found(movie + "; echo '  encoded_frames: 6'"), ["frames"])

    def test_bad_ends(self):
        for body, kind in (("kill -SEGV $$", "signal"), ("echo Error: x; exit 3", "status"), ("exit 1", "messages"),
                           ("echo 'Error: a'; " + FAILURE, "messages"), ("echo 'Error: '; exit 1", "messages"),
                           (f"echo oops >&2; {FAILURE}", "text on standard error"), ("exit 0", "no output"),
                           ("echo noise >sbs.mov", "unreadable output"),
                           ("printf 'Error: %0700d\\n' 1; exit 1", "long line")):
            self.assertIn(kind, self.found(body), body)
        self.assertEqual(self.found("echo 'Error: x' >sbs.mov; echo 'Error: x'"), ["messages", "unreadable output"])

    def test_files(self):
        for body, kind in (("echo x >>../recordings/clip.mp4", "recording changed"),
                           ("rm ../recordings/clip.mp4", "recording changed"),
                           ("echo x >others.txt", "file of others changed"),
                           ("rm ../temporary/others.txt", "file of others changed"),
                           ("touch sbs.mov.tmp", "file left behind"), ("mkdir ../new", "file left behind"),
                           ("touch $TMPDIR/probe", "file left behind")):
            self.assertEqual(self.found(f"{body}; {FAILURE}"), [kind], body)

    def test_answers(self):
        job = runs.Job("check-support", ("check-support",), own_process=False)
        answer = '{"schemaVersion":1,"supported":true,"acceleration":"software"}'
        self.assertEqual(self.found(f"echo '{answer}'", job), [])
        self.assertEqual(self.found(f"echo '{answer}'; exit 1", job), ["status"])
        for body in (f"printf '{answer}'", f"echo; echo '{answer}'", "echo text", "echo '{}'", "exit 0"):
            self.assertEqual(self.found(body, job), ["answer"], body)

    def test_limits(self):
        limits = runs.HANG_SECONDS, runs.MEMORY_MIB
        try:
            runs.HANG_SECONDS, runs.MEMORY_MIB = 0.3, 4096
            self.assertEqual(self.found("sleep 20"), ["hang"])
            runs.HANG_SECONDS, runs.MEMORY_MIB = 20, 0.5
            self.assertEqual(self.found(FAILURE), ["memory"])
        finally:
            runs.HANG_SECONDS, runs.MEMORY_MIB = limits


if __name__ == "__main__":
    unittest.main()
