"""The command line: commands, their options and exit statuses."""

import argparse
import os
import sys

from . import pieces, planning, run, status, system, tasks, texts
from .errors import Interrupted, LibraryError, reason
from .store import Store, find_library

WHICH = ("the movies' folder of the library (default: the one around the current folder, else the one that was "
         "planned last)")

EPILOG = """exit status: 0 when every movie is there (plan: when nothing was refused; page: when it was written),
1 when not, 2 for a wrong command line, 130 when interrupted"""


def positive(convert):
    """A reader of options that must be above 0."""
    def read(text):
        value = convert(text)
        if value <= 0:
            raise argparse.ArgumentTypeError(f"must be positive: {text}")
        return value
    return read


def profile(text):
    """A reader of --profile."""
    if text not in ("local", "slurm", "plain") and not os.path.isfile(os.path.join(text, "config.yaml")):
        raise argparse.ArgumentTypeError(f"neither local, slurm or plain nor a folder with config.yaml: {text}")
    return text


def parser():
    top = argparse.ArgumentParser(prog="veyrin-library", epilog=EPILOG, allow_abbrev=False,
                                  description="Converts a whole library of recordings; goes on where it stopped.")
    commands = top.add_subparsers(dest="command", required=True, metavar="plan|run|status|page")
    add_plan(commands)
    add_run(commands)
    for name, text in (("status", "how far it has got, what failed and why"),
                       ("page", "writes MOVIES/index.html with all recordings")):
        command = commands.add_parser(name, help=text, description=text, allow_abbrev=False, epilog=EPILOG)
        command.add_argument("--movies", metavar="DIR", help=WHICH)
        if name == "page":
            command.add_argument("--jobs", type=positive(int), metavar="N", help="previews made at a time")
    job = commands.add_parser("job", allow_abbrev=False)  # for Snakemake and the cluster only
    job.add_argument("id")
    job.add_argument("--movies", required=True)
    return top


def add_plan(commands):
    plan = commands.add_parser(
        "plan", allow_abbrev=False, epilog=EPILOG, help="looks at the recordings and says what would be done",
        usage="veyrin-library plan [--piece-minutes M] [--settle SECONDS] [--list] RECORDINGS MOVIES "
              "[converter options]",
        description="Looks at the recordings and says what would be done, how large it is and how long it takes. "
                    "Nothing is converted. Options of veyrin-video-converter may follow the two folders.")
    plan.add_argument("--piece-minutes", type=positive(float), metavar="M",
                      help="convert recordings longer than M minutes in pieces, side by side (default: no)")
    plan.add_argument("--settle", type=float, default=10.0, metavar="SECONDS",
                      help="recordings that changed within this time wait for the next run (default: 10)")
    plan.add_argument("--list", action="store_true", help="names all movies that would be made, not only the first ten")
    plan.add_argument("recordings", metavar="RECORDINGS", help="folder with recordings, also in folders below")
    plan.add_argument("movies", metavar="MOVIES", help="folder for the movies; keeps the recordings' folders")
    plan.add_argument("options", nargs=argparse.REMAINDER, metavar="converter options", help="for every recording")


def add_run(commands):
    command = commands.add_parser("run", allow_abbrev=False, epilog=EPILOG, help="converts what is missing",
                                  description="Converts what is missing. Can be stopped and started again at any time.")
    command.add_argument("--movies", metavar="DIR", help=WHICH)
    command.add_argument("--profile", type=profile, metavar="local|slurm|plain|FOLDER",
                         help="Snakemake on this machine, Snakemake on a Slurm cluster, this machine without "
                              "Snakemake, or a Snakemake profile of your own (default: local where Snakemake is "
                              "installed, else plain)")
    command.add_argument("--jobs", type=positive(int), metavar="N", help="jobs at a time")
    command.add_argument("--overwrite", action="store_true", help="replace movies that other options or programs made")
    cluster = command.add_argument_group("on a cluster")
    cluster.add_argument("--partition", help="Slurm partition")
    cluster.add_argument("--gres", help="what else each job needs, as gpu:1")
    cluster.add_argument("--cpus", type=positive(int), help="processors per job (default: 4)")
    cluster.add_argument("--memory", type=positive(int), metavar="MB", help="memory per job (default: by size)")
    cluster.add_argument("--minutes", type=positive(int), help="time limit per job (default: by length)")
    command.add_argument("--snakemake", action="append", default=[], metavar="WORD",
                         help="a further word for Snakemake, as --snakemake=--verbose; may be repeated")


def own_words_first(words):
    """Moves plan's own options before the folders: what follows those is for the converter."""
    if words[:1] != ["plan"]:
        return words
    own, rest, left = [], [], list(words[1:])
    while left:
        word = left.pop(0)
        if word in ("-h", "--help", "--list") or word.startswith(("--piece-minutes=", "--settle=")):
            own.append(word)
        elif word in ("--piece-minutes", "--settle"):
            own += [word, *left[:1]]
            del left[:1]
        else:
            rest.append(word)
    return ["plan", *own, *rest]


def plan_command(options):
    """The command `plan`; returns the exit status."""
    recordings, movies = planning.check_folders(options.recordings, options.movies)
    store = Store(movies)
    plan = planning.new_plan(store, recordings, options.options, options.piece_minutes, options.settle)
    pieces.plan_cuts(plan)
    store.make_folders()
    # A run saves its plan, too, as it found the folders.
    with system.locked(store.folder / "run.lock", wait=False) as lock:
        if lock is None:
            raise LibraryError(f"a run is at work on {store.movies}; plan again when it has ended")
        planning.save(store, plan)
    store.remember()
    return status.print_plan(store, plan, options.list)


def execute(options):
    """Runs the chosen command; returns the exit status."""
    if options.command == "plan":
        return plan_command(options)
    if options.command == "job":
        return tasks.run_one(Store(options.movies), options.id)
    store = find_library(options.movies)
    if options.command == "run":
        return run.run_library(store, options)
    if options.command == "status":
        return status.print_status(store)
    from . import page
    return page.write_page(store, options.jobs)


def main(words):
    """Runs a command line; returns the exit status. Errors become one line on standard error."""
    # Names that are not valid text are printed as well as possible, on any console.
    for stream in (sys.stdout, sys.stderr):
        if hasattr(stream, "reconfigure"):
            stream.reconfigure(errors="replace")
    try:
        status = execute(parser().parse_args(own_words_first(words)))
        sys.stdout.flush()
        return status
    except LibraryError as error:
        print(f"Error: {texts.printable(str(error))}", file=sys.stderr)
        return 1
    except BrokenPipeError:
        # Who read our output has seen enough, as `head` does. What is left in the buffer must not complain at the end.
        os.dup2(os.open(os.devnull, os.O_WRONLY), sys.stdout.fileno())
        return 1
    except OSError as error:
        name = os.fsdecode(error.filename) if isinstance(error.filename, (str, bytes, os.PathLike)) else "the library"
        print(f"Error: {texts.printable(name)}: {reason(error)}", file=sys.stderr)
        return 1
    except (KeyboardInterrupt, Interrupted):
        print("interrupted; run again to go on", file=sys.stderr)
        return 130
