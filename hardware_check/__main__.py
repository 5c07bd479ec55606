"""Tries every hardware encoder of this machine with the converter, judges the movies and writes a report."""

import argparse
import hashlib
import os
import shutil
import subprocess
import sys
import time
from pathlib import Path

import places
from machine import describe
from places import Unusable
from privacy import Scrubber
from report import FAILED, NOT_AVAILABLE, PASSED, Outcome, Report

# Longer than a group of pictures, which lasts two seconds.
SECONDS = 2.2
# Marks the folder of movies as ours, since it is emptied: one of that name may be somebody else's.
OWN_FOLDER_MARK = "made-by-hardware-check"
# The packaged program keeps the distance of key frames that libx265 has by itself.
PACKAGED_GROUP = 250
RECORDING_CODECS = {8: "h264", 10: "hevc10"}


def arguments():
    parser = argparse.ArgumentParser(prog="hardware-check", description=__doc__)
    parser.add_argument("--program", type=Path, default=places.default_program(), help="the converter to check")
    parser.add_argument("--output", type=Path, default=Path("hardware-check-result"), metavar="FOLDER",
                        help="where the report is written (default: hardware-check-result)")
    parser.add_argument("--quick", action="store_true", help="small and few pictures")
    parser.add_argument("--only", default="", metavar="TEXT", help="only rows with this text in their name, as \"spatial\"")
    parser.add_argument("--keep", action="store_true", help="keep recordings and movies in the output folder")
    parser.add_argument("--simulated-nvenc", type=Path, metavar="FOLDER",
                        help="use the simulated NVIDIA driver in this folder; the report says so")
    return parser.parse_args()


def digest(path):
    return hashlib.sha256(path.read_bytes()).hexdigest()[:16]


class HardwareCheck:
    def __init__(self, options):
        # The checks are importable only now.
        from converter import Converter
        self.options = options
        self.program = options.program.resolve()
        if not self.program.is_file():
            raise Unusable(f"there is no converter at {options.program}")
        self.converter = Converter(self.program, [])
        self.decoder = places.companion(self.program, "decode_view")
        self.work = options.output.resolve() / "movies"
        self.size, self.frames_per_second = (256, 15) if options.quick else (960, 30)
        self.rates = {8: 6_000_000, 10: 6_000_000} if options.quick else {8: 55_000_000, 10: 90_000_000}
        self.settings = {name: value for name, value in os.environ.items() if name.startswith("VEYRIN_SIMULATED_NVENC_")}
        if options.simulated_nvenc:
            self.settings["LD_LIBRARY_PATH"] = str(options.simulated_nvenc.resolve())
        self.prepared = {}
        self.runs = {}
        self.report = Report(Scrubber({self.work: "<movies>", options.output.resolve(): "<output>",
                                       self.program.parent: "<programs>", places.TOP: "<top>"}))

    @property
    def simulated(self):
        return bool(self.options.simulated_nvenc) or "simulated_nvenc" in os.environ.get("LD_LIBRARY_PATH", "")

    def run(self):
        from rows import all_rows
        ffmpeg = places.ffmpeg_version()
        rows = [row for row in all_rows(self.options.quick) if self.options.only in row.name]
        if not rows:
            raise Unusable(f'no row has "{self.options.only}" in its name')
        self.make_work_folder()
        self.report.facts = [*describe(self.simulated), ("converter", f"sha256 {digest(self.program)}"),
                             ("source", places.source()),
                             ("ffmpeg for reading", ffmpeg),
                             ("recording", f"{self.size}x{self.size} per eye, {SECONDS} s, {self.frames_per_second} frames/s")]
        for row in rows:
            outcome = self.outcome(row)
            self.report.outcomes.append(outcome)
            print(self.report.scrubber.clean(outcome.headline()), flush=True)
            self.report.write(self.options.output)  # so that a machine that hangs leaves what was found

    def make_work_folder(self):
        if self.work.exists() and not (self.work / OWN_FOLDER_MARK).exists():
            raise Unusable(f"{self.work} is not from an earlier check; name another folder by --output")
        shutil.rmtree(self.work, ignore_errors=True)
        self.work.mkdir(parents=True, exist_ok=True)
        (self.work / OWN_FOLDER_MARK).touch()

    def outcome(self, row):
        from rows import COULD_NOT_START, Failed, NotAvailable, judge_encoder, judge_refusal, reason_not_offered
        console, notes = "", []
        try:
            if reason := reason_not_offered(row):
                raise NotAvailable(reason)
            recording, eyes = self.recording(row.bits)
            notes = [self.support(row, recording)]
            run, output, seconds = self.convert(row, recording)
            notes.append(f"{seconds:.1f} s for {recording.frame_count} frames, with start and end")
            console = run.output + run.errors
            if run.status not in (0, 1):
                raise Failed(f"the converter ended with status {run.status:#x}")
            if run.status == 1:
                judge_refusal(row, run)
            judge_encoder(row, run)
            judgement = self.judge(row, output, recording, eyes)
            state = FAILED if judgement.failures else PASSED
            return Outcome(row, state, judgement.failures, judgement.values + notes, judgement.observations, console)
        except NotAvailable as reason:
            if '"supported":true' in "".join(notes[:1]) and str(reason).startswith(COULD_NOT_START):
                notes[0] += ": a contradiction"
            return Outcome(row, NOT_AVAILABLE, [str(reason)], notes[:1], console=console)
        except subprocess.TimeoutExpired as late:
            text = (late.stdout or b"").decode(errors="replace")
            return Outcome(row, FAILED, [f"no end after {late.timeout:.0f} s"], console=text)
        except Unusable:
            raise
        except Failed as mistake:
            return Outcome(row, FAILED, [str(mistake)], notes[:1], console=console)
        except Exception as mistake:  # pylint: disable=broad-except; one row must not end the others
            return Outcome(row, FAILED, [f"{type(mistake).__name__}: {mistake}"], notes[:1], console=console)

    def recording(self, bits):
        """The sample recording of a depth and the nearly lossless pictures of its eyes, made when first needed."""
        if bits not in self.prepared:
            from recording import Recording
            from spatial_checks import Eyes
            folder = self.work / f"{bits}-bit"
            shutil.rmtree(folder, ignore_errors=True)
            folder.mkdir()
            self.make_recording(bits, folder / "recording.mp4")
            recording = Recording(folder / "recording.mp4")
            try:
                self.prepared[bits] = recording, Eyes(self.converter, recording, folder)
            except AssertionError as mistake:
                raise Unusable(f"the sample recording could not be converted to ProRes\n{mistake}") from mistake
        return self.prepared[bits]

    def make_recording(self, bits, path):
        command = [places.companion(self.program, "make_recording"), "--size", f"{self.size}x{self.size}", "--rate",
                   self.frames_per_second, "--seconds", SECONDS, "--codec", RECORDING_CODECS[bits],
                   "--encoder", places.recording_encoder(self.program), path]
        done = subprocess.run([str(word) for word in command], capture_output=True, check=False)
        if done.returncode != 0:
            raise Unusable("the sample recording could not be made\n" + done.stderr.decode(errors="replace"))

    def rate_options(self):
        return "--sdr-bitrate", self.rates[8], "--hdr-bitrate", self.rates[10]

    def run_once(self, row, *words):
        """A run for a row, with its seconds; the run that was made when another row has asked for the same."""
        settings = self.settings | row.settings()
        key = *map(str, words), *settings.items()
        if key not in self.runs:
            begin = time.monotonic()
            run = self.converter.run(*words, folder=self.work, settings=settings, timeout=300, statuses=range(-64, 2**32))
            self.runs[key] = run, time.monotonic() - begin
        return self.runs[key]

    def support(self, row, recording):
        run, _ = self.run_once(row, "check-support", *row.options(), recording.path)
        return f"check-support: {(run.lines or ['nothing'])[-1]}"

    def convert(self, row, recording):
        """(run, movie, seconds)"""
        output = self.work / (row.file_name + row.suffix)
        run, seconds = self.run_once(row, *row.options(), *self.rate_options(), "--overwrite", "--output", output,
                                     recording.path)
        return run, output, seconds

    def judge(self, row, output, recording, eyes):
        from judging import judge_side_by_side, judge_spatial
        if row.spatial:
            return judge_spatial(output, recording, eyes, self.decoder, row.bits, self.rates[row.bits])
        return judge_side_by_side(output, recording, eyes, row.codec, row.bits, self.rates[row.bits],
                                  PACKAGED_GROUP if row.software else None)

    def clean_up(self):
        if not self.options.keep and (self.work / OWN_FOLDER_MARK).exists():
            shutil.rmtree(self.work, ignore_errors=True)


def main():
    options = arguments()
    try:
        places.use_checks()
        check = HardwareCheck(options)
        try:
            check.run()
        finally:
            check.clean_up()
    except Unusable as reason:
        print(f"hardware-check: {reason}", file=sys.stderr)
        return 1
    print(f"{check.report.summary()}\nreport: {check.report.write(options.output)}")
    return 1 if check.report.failed else 0


if __name__ == "__main__":
    sys.exit(main())
