"""Runs the tasks on this machine, several at a time, without any other program; works on Windows too."""

import concurrent.futures
import threading

from . import marks
from .errors import Interrupted, LibraryError
from .job import Stop
from .tasks import job_of


def run(store, listed, options, watch):
    """Runs all tasks; calls `watch` about once a second meanwhile.

    Returns None, or why the run ended early, and whether all jobs have ended with it. No error of one task ends the
    others.
    """
    stop = Stop()
    ended = {identity: threading.Event() for identity in listed}

    def work(identity):
        try:
            # Tasks stand behind those that they need, so waiting cannot take the last worker from them.
            for needed in listed[identity]["needs"]:
                ended[needed].wait()
            stop.check()
            job_of(store, identity, stop).run()
        except Interrupted:
            pass  # what asked for it ends the run itself
        except LibraryError as error:
            marks.fail(store, identity, str(error), "none")
        except Exception as error:
            marks.fail(store, identity, f"{type(error).__name__}: {error}", "none")
        finally:
            ended[identity].set()

    pool = concurrent.futures.ThreadPoolExecutor(options.jobs)
    try:
        waiting = {pool.submit(work, identity) for identity in listed}
        while waiting:
            finished, waiting = concurrent.futures.wait(waiting, 1.0, concurrent.futures.FIRST_COMPLETED)
            for future in finished:
                future.result()
            watch()
        return None, True
    finally:
        stop.ask()
        pool.shutdown(wait=True, cancel_futures=True)
