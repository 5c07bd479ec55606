"""The arithmetic and the decisions of scripts/bench: ratios, bars, rows, the table, the exit status."""

import contextlib
import io
import sys
import tempfile
import unittest
from pathlib import Path

BENCH = Path(__file__).resolve().parents[2] / "bench"
sys.path.insert(0, str(BENCH))
sys.dont_write_bytecode = True

import job  # noqa: E402
import kernels  # noqa: E402
import main  # noqa: E402
import plan  # noqa: E402
import scaling  # noqa: E402
import start_up  # noqa: E402
from bars import Bar, bars, findings, judge  # noqa: E402
from figures import share, speed, take_turns  # noqa: E402
from machine import Machine  # noqa: E402
from programs import Failure, Usage  # noqa: E402
from table import markdown_table, number, text_table  # noqa: E402

WIDE = frozenset({"avx2", "avx512vbmi", "avx512_vnni"})


def machine(threads=2, flags=WIDE):
    return Machine("Some CPU", threads, frozenset(flags), 16, "Debian")


def usage(wall, cpu):
    return Usage(wall, cpu, 100.0, 1.0, "")


class Figures(unittest.TestCase):
    def test_a_speed_tells_how_often_our_time_fits_into_the_peers(self):
        row = speed("a", "b", "peer", "s", [2.0, 2.0, 8.0], [6.0, 10.0, 8.0])
        self.assertEqual((row.ratio, row.spread), (3.0, (1.0, 5.0)))
        self.assertEqual((row.our_median, row.peer_median), (2.0, 8.0))

    def test_a_share_tells_how_often_the_peers_figure_fits_into_ours(self):
        row = share("a", "b", "peer", "s", [3.0, 3.0, 5.0, 6.0], [2.0, 1.5, 2.0, 2.0])
        self.assertEqual((row.ratio, row.spread), (2.25, (1.5, 3.0)))

    def test_a_pair_of_slow_runs_does_not_move_the_ratio(self):
        row = share("a", "b", "peer", "s", [1.0, 40.0, 1.0], [2.0, 80.0, 2.0])
        self.assertEqual((row.ratio, row.spread), (0.5, (0.5, 0.5)))

    def test_sides_with_other_numbers_of_runs_are_refused(self):
        for ours, theirs in (([], []), ([1.0], [1.0, 2.0])):
            with self.assertRaises(ValueError):
                share("a", "b", "peer", "s", ours, theirs)

    def test_sides_take_turns_and_none_is_always_first(self):
        calls = []
        results = take_turns(3, *[lambda side=side: calls.append(side) or f"{side}{len(calls)}" for side in "abc"])
        self.assertEqual("".join(calls), "abccbaabc")
        self.assertEqual(results, [["a1", "a6", "a7"], ["b2", "b5", "b8"], ["c3", "c4", "c9"]])


class Bars(unittest.TestCase):
    def fails(self, key, ours, theirs, on=None, **more):
        section, name = key.split(": ")
        row = (speed if more.get("speed") else share)(section, name, "peer", more.get("unit", "s"), [ours], [theirs])
        verdict, = judge([row], bars(on or machine()))
        self.assertIsNotNone(verdict.bar, key)
        return verdict.fails

    def test_decide_at_their_limits(self):
        for key, theirs, below, at, kind in (
                ("job: wall time beside the encoder alone", 100, 110.1, 110, False),
                ("seeking: --start at 95 %", 10, 13.1, 13, False),
                ("memory: ProRes", 100, 115.1, 115, False),
                ("memory: HEVC", 100, 115.1, 115, False),
                ("kernels: luma P010 beside planar 10-bit", 95, 101, 100, True),
                ("start-up: peak memory at 3840x3840", 1, 320.1, 320, False)):
            with self.subTest(key):
                self.assertTrue(self.fails(key, below, theirs, speed=kind))
                self.assertFalse(self.fails(key, at, theirs, speed=kind))

    def test_ask_more_of_start_up_on_more_threads(self):
        key = "start-up: time at 3840x3840"
        for threads, enough, too_slow in ((1, 0.9, 0.8), (2, 1.71, 1.69), (16, 13.7, 13.5)):
            with self.subTest(threads):
                self.assertFalse(self.fails(key, 1.0, enough, machine(threads), speed=True))
                self.assertTrue(self.fails(key, 1.0, too_slow, machine(threads), speed=True))

    def test_ask_more_of_the_kernels_where_the_processor_has_both_extensions(self):
        key = "kernels: luma 8-bit inside"
        self.assertTrue(self.fails(key, 1.0, 6.4, speed=True))
        self.assertFalse(self.fails(key, 1.0, 6.5, speed=True))
        for flags in (WIDE - {"avx512vbmi"}, WIDE - {"avx512_vnni"}):
            self.assertFalse(self.fails(key, 1.0, 5.0, machine(flags=flags), speed=True))
            self.assertTrue(self.fails(key, 1.0, 4.9, machine(flags=flags), speed=True))

    def test_name_the_rows_that_miss_theirs(self):
        table = {"a: x": Bar("at most", 1.1), "a: y": Bar("at least", 2), "a: z": Bar("at most", 320, "ours")}
        rows = [share("a", "x", "peer", "s", [2.0], [1.0]), share("a", "y", "peer", "s", [2.0], [1.0]),
                share("a", "z", "peer", "MiB", [400.0], [400.0]), share("a", "without a bar", "peer", "s", [9.0], [1.0])]
        self.assertEqual(findings(judge(rows, table), ["a"], table),
                         ["a: x: at most 1.10 wanted, ratio 2.00", "a: z: at most 320 MiB wanted, 400 MiB"])

    def test_name_rows_of_measured_sections_that_are_not_there(self):
        table = {"a: x": Bar("at most", 1), "b: y": Bar("at most", 1)}
        self.assertEqual(findings([], ["a"], table), ["a: x: not measured"])
        self.assertEqual(findings([], [], table), [])

    def test_belong_to_rows_that_are_made(self):
        """Every bar's key is that of a row which a section makes from its results."""
        wide = {f"{kind} {side}": [1.0] for kind in ("luma 8-bit inside", "luma 10-bit inside", "luma P010 inside")
                for side in ("ours", "opencv")}
        run = {"seconds": 1.0, "peak": 2, "after": 1}
        made = {row.key for row in [*kernels.rows(wide), *start_up.rows_of_size(3840, [run], [run]),
                                    *job.rows([usage(3, 4)], [usage(1, 1)], [usage(1, 2)])]}
        others = {key for key in bars(machine()) if key.split(":")[0] not in ("kernels", "start-up", "job")}
        self.assertEqual(set(bars(machine())) - made, others)
        self.assertLessEqual({key.split(":")[0] for key in bars(machine())}, set(main.SECTIONS))


class Sections(unittest.TestCase):
    def test_kernels_stand_beside_opencv_and_p010_beside_planar_samples(self):
        values = {"luma P010 inside ours": [4.0, 5.0], "luma P010 inside opencv": [20.0, 20.0],
                  "luma 10-bit inside ours": [3.0, 5.0], "luma 10-bit inside opencv": [18.0, 20.0],
                  "chroma NV12 border ours": [2.0, 2.0], "chroma NV12 border opencv": [1.0, 1.0]}
        self.assertEqual([(row.name, row.ratio) for row in kernels.rows(values)],
                         [("luma 10-bit inside", 5.0), ("luma P010 inside", 4.5), ("chroma NV12 border", 0.5),
                          ("luma P010 beside planar 10-bit", 0.875)])

    def test_start_up_compares_threads_and_memory(self):
        both = [{"seconds": 1.0, "peak": 3 << 20, "after": 2 << 20}]
        time_row, memory_row = start_up.rows_of_size(64, both, [{"seconds": 1.8, "peak": 0, "after": 0}])
        self.assertEqual((time_row.ratio, memory_row.ratio, memory_row.our_median), (1.8, 1.5, 3.0))

    def test_job_leaves_the_encoder_out_run_by_run(self):
        rows = {row.name: row.ratio for row in job.rows([usage(11, 14), usage(12, 24)], [usage(10, 10), usage(10, 20)],
                                                        [usage(20, 18), usage(20, 28)])}
        expected = {"wall time beside the encoder alone": 1.15, "CPU time beside the encoder alone": 1.3,
                    "wall time beside v360": (20 / 11 + 20 / 12) / 2, "CPU time beside v360": (18 / 14 + 28 / 24) / 2,
                    "CPU time besides the encoder's": 2.0}
        self.assertEqual(rows.keys(), expected.keys())
        for name, ratio in expected.items():
            self.assertAlmostEqual(rows[name], ratio, msg=name)

    def test_scaling_has_a_row_for_each_number_of_threads_but_one(self):
        values = {"64 8-bit 1": [2.0], "64 8-bit 2": [3.0], "64 8-bit 3": [5.0]}
        self.assertEqual([(row.name, row.ratio) for row in scaling.rows(values, 3)],
                         [("64 8-bit, 2 threads", 1.5), ("64 8-bit, 3 threads", 2.5)])

    def test_thread_counts_double_and_end_with_all(self):
        for threads, counts in ((1, [1]), (2, [1, 2]), (3, [1, 2, 3]), (4, [1, 2, 4]), (12, [1, 2, 4, 8, 12])):
            self.assertEqual(plan.thread_counts(threads), counts)

    def test_the_filters_get_the_conversions_encoder(self):
        words = ["-f", "rawvideo", "-i", "pipe:0", "-i", "/in.mp4", "-map", "0:v:0", "-c:v", "libx265", "-b:v", "9",
                 "-c:a", "copy", "-y", "/out.mp4"]
        self.assertEqual(job.with_output(words, "/new.mp4"), [*words[:-1], "/new.mp4"])
        made = job.filter_arguments(words, "/in.mp4", "/new.mp4")
        self.assertEqual(made[made.index("-c:v"):], [*words[8:-1], "/new.mp4"])
        self.assertNotIn("pipe:0", made)
        # An angle of view in proportion to the radius, and the tangent's.
        self.assertIn("ih_fov=163.702:iv_fov=163.702:h_fov=110.016:v_fov=110.016", made[made.index("-filter_complex") + 1])


class Table(unittest.TestCase):
    def setUp(self):
        rows = [speed("a", "fast", "them", "ns", [3.904, 3.9], [31.6, 31.6]),
                share("a", "slow", "them", "s", [3.0], [2.0])]
        self.verdicts = judge(rows, {"a: slow": Bar("at most", 1.1), "a: fast": Bar("at least", 5)})

    def test_is_aligned_and_marks_what_misses_its_bar(self):
        self.assertEqual(text_table(self.verdicts), (
            "row      ours     peer           ratio  spread        runs  bar\n"
            "a: fast  3.90 ns  31.6 ns, them  8.10   8.09 to 8.10  2     at least 5.00\n"
            "a: slow  3.00 s   2.00 s, them   1.50                 1     at most 1.10 (missed)"))

    def test_is_printed_for_documents(self):
        self.assertEqual(markdown_table(self.verdicts), (
            "| row | ours | peer | ratio | spread | runs | bar |\n| --- | --- | --- | ---: | --- | ---: | --- |\n"
            "| a: fast | 3.90 ns | 31.6 ns, them | 8.10 | 8.09 to 8.10 | 2 | at least 5.00 |\n"
            "| a: slow | 3.00 s | 2.00 s, them | 1.50 |  | 1 | at most 1.10 (missed) |"))

    def test_numbers_have_three_digits(self):
        self.assertEqual([number(value) for value in (0.123, 9.876, 98.76, 987.6)], ["0.12", "9.88", "98.8", "988"])


class CommandLine(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.real = main.set_up_and_build, main.SECTIONS, main.bars, main.BUILD
        main.BUILD = folder.name
        main.set_up_and_build = lambda: None
        main.bars = lambda machine: {"kernels: x": Bar("at least", 2), "job: y": Bar("at most", 1)}
        self.ratio = 3.0
        main.SECTIONS = {"kernels": (lambda plan: [share("kernels", "x", "peer", "s", [self.ratio], [1.0])], ""),
                         "job": (self.job, "")}
        self.addCleanup(self.restore)

    def restore(self):
        main.set_up_and_build, main.SECTIONS, main.bars, main.BUILD = self.real

    def job(self, plan):
        raise Failure("no job")

    def run_main(self, *words):
        out, err = io.StringIO(), io.StringIO()
        with contextlib.redirect_stdout(out), contextlib.redirect_stderr(err):
            status = main.main(list(words))
        return status, out.getvalue(), err.getvalue()

    def test_fails_for_bars_only_when_checking(self):
        self.assertEqual(self.run_main("--only", "kernels", "--check")[0], 0)
        self.ratio = 1.9
        status, out, err = self.run_main("--only", "kernels", "--check")
        self.assertEqual(status, 1)
        self.assertIn("at least 2.00 (missed)", out)
        self.assertIn("missed: kernels: x: at least 2.00 wanted, ratio 1.90\n", err)
        self.assertEqual(self.run_main("--only", "kernels")[0], 0)

    def test_fails_when_a_section_could_not_be_measured_and_shows_the_others(self):
        for words in ((), ("--check",)):
            status, out, err = self.run_main(*words)
            self.assertEqual(status, 1)
            self.assertIn("kernels: x", out)
            self.assertIn("error: job: no job\n", err)
        self.assertIn("missed: job: y: not measured\n", err)

    def test_takes_known_options_only(self):
        for words in (["--only", "kernel"], ["--benchmark_filter=x"]):
            with self.assertRaises(SystemExit) as ended:
                self.run_main(*words)
            self.assertEqual(ended.exception.code, 2)
        self.assertTrue(self.run_main("--only", "kernels", "--markdown")[1].startswith("| row |"))


if __name__ == "__main__":
    unittest.main()
