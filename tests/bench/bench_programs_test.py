"""What scripts/bench learns from programs: time, memory, reading, reports; recordings and captured frames."""

import contextlib
import io
import json
import os
import subprocess
import sys
import tempfile
import unittest
from pathlib import Path

BENCH = Path(__file__).resolve().parents[2] / "bench"
sys.path.insert(0, str(BENCH))
sys.dont_write_bytecode = True

import programs  # noqa: E402
import recordings  # noqa: E402
from google_benchmark import counter_values  # noqa: E402
from machine import Machine, processor_facts  # noqa: E402
from programs import Failure  # noqa: E402


class Reports(unittest.TestCase):
    def test_repetitions_are_collected_and_aggregates_left_out(self):
        report = json.dumps({"benchmarks": [
            {"run_name": "1920 8-bit 1/real_time", "run_type": "iteration", "fps": 3.0},
            {"run_name": "1920 8-bit 2/real_time", "run_type": "iteration", "fps": 5.0},
            {"run_name": "1920 8-bit 1/real_time", "run_type": "iteration", "fps": 4.0},
            {"run_name": "1920 8-bit 1/real_time", "run_type": "aggregate", "aggregate_name": "median", "fps": 3.5}]})
        self.assertEqual(counter_values(report, "fps"), {"1920 8-bit 1": [3.0, 4.0], "1920 8-bit 2": [5.0]})

    def test_the_processor_is_read_from_the_systems_text(self):
        text = "processor\t: 0\nmodel name\t: Some CPU\nflags\t\t: fpu avx2\n\nprocessor\t: 1\nmodel name\t: Other\nflags\t: x\n"
        self.assertEqual(processor_facts(text), ("Some CPU", {"fpu", "avx2"}))
        self.assertEqual(processor_facts("Processor: 0\n"), ("unknown processor", frozenset()))

    def test_the_kernels_names_of_both_extensions_are_known(self):
        for flags, wide in (("avx2 avx512vbmi avx512_vbmi2 avx512_vnni", True), ("avx2 avx512_vbmi2 avx512_vnni", False),
                            ("avx2 avx512vbmi avx_vnni", False)):
            machine = Machine("x", 2, processor_facts(f"flags\t: {flags}\n")[1], 16, "Debian")
            self.assertEqual(machine.permutes_wide, wide)
            self.assertIn(f", {'with' if wide else 'without'} AVX-512 VBMI and VNNI", machine.text)


class Programs(unittest.TestCase):
    def test_grandchildren_count_and_waiting_does_not(self):
        spin = "import time\nwhile time.process_time() < 0.3: pass"
        inner = f"import subprocess, sys, time; subprocess.run([sys.executable, '-c', {spin!r}]); time.sleep(0.3)"
        used = programs.run([sys.executable, "-c", inner])
        self.assertGreater(used.cpu, 0.29)
        self.assertGreater(used.wall, used.cpu - 0.3 + 0.29)

    def test_memory_and_reading_are_those_of_the_program(self):
        with tempfile.NamedTemporaryFile() as file:
            file.write(bytes(8 << 20))
            file.flush()
            words = [sys.executable, "-c", "import sys; x = bytearray(b'1' * (64 << 20)); sys.stdin.buffer.read()"]
            little, much = programs.run(words), programs.run(words, stdin=file.name)
        self.assertGreater(little.peak_mib, 64)
        self.assertAlmostEqual(much.read_mib - little.read_mib, 8, delta=0.1)

    def test_a_failed_program_is_a_failure_with_its_last_words(self):
        with self.assertRaisesRegex(Failure, "(?s)status 3 of sh -c.*the last words"):
            programs.run(["sh", "-c", "echo the last words >&2; exit 3"])
        with self.assertRaisesRegex(Failure, "status -9"):
            programs.run(["sh", "-c", "kill -9 $$"])

    def test_the_converters_own_switches_are_taken_out_of_the_environment(self):
        os.environ["VEYRIN_SKIP_RECTIFICATION"] = "1"
        self.addCleanup(os.environ.pop, "VEYRIN_SKIP_RECTIFICATION")
        used = programs.run(["sh", "-c", "echo \"[$VEYRIN_SKIP_RECTIFICATION] [$HOME] [$OTHER]\""], environment={"OTHER": "x"})
        self.assertEqual(used.output, f"[] [{os.environ['HOME']}] [x]\n")


class Files(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.folder = Path(folder.name)
        said = contextlib.redirect_stderr(io.StringIO())
        said.__enter__()
        self.addCleanup(said.__exit__, None, None, None)

    def program(self, name, text):
        path = self.folder / name
        path.write_text("#!/bin/sh\n" + text, encoding="utf-8")
        path.chmod(0o755)
        return path

    def test_a_recording_is_made_once_for_its_options(self):
        maker = self.program("maker", f"for last; do :; done; echo x >>{self.folder}/calls; echo \"$*\" >\"$last\"")
        folder = self.folder / "cache"
        first = recordings.recording("clip", "--seconds", 3, folder=folder, maker=maker)
        self.assertEqual(recordings.recording("clip", "--seconds", 3, folder=folder, maker=maker), first)
        other = recordings.recording("clip", "--seconds", 4, folder=folder, maker=maker)
        self.assertEqual(len((self.folder / "calls").read_text()), 4)
        self.assertEqual({path.name for path in folder.iterdir()}, {first.name, other.name})
        self.assertIn("--seconds 4", other.read_text())

    def test_a_recording_that_could_not_be_made_leaves_nothing(self):
        maker = self.program("maker", "for last; do :; done; echo half >\"$last\"; exit 1")
        with self.assertRaises(Failure):
            recordings.recording("clip", folder=self.folder / "cache", maker=maker)
        self.assertEqual(list((self.folder / "cache").iterdir()), [])

    def test_the_capture_keeps_what_the_encoder_is_given_and_encodes_it(self):
        encoder = self.program("encoder", "cat; printf '%s|' \"$@\"")
        environment = {**os.environ, "CAPTURE_TO": str(self.folder / "kept"), "CAPTURE_WITH": str(encoder)}

        def capture(*words, given=b""):
            return subprocess.run([BENCH / "capture-encoder", *words], input=given, env=environment, check=True,
                                  capture_output=True).stdout
        self.assertEqual(capture("-f", "lavfi"), b"-f|lavfi|")
        self.assertFalse((self.folder / "kept.frames").exists())
        self.assertEqual(capture("-i", "pipe:0", "a b", given=b"\0frames\n"), b"\0frames\n-i|pipe:0|a b|")
        self.assertEqual((self.folder / "kept.frames").read_bytes(), b"\0frames\n")
        self.assertEqual((self.folder / "kept.arguments").read_bytes(), b"-i\0pipe:0\0a b\0")


if __name__ == "__main__":
    unittest.main()
