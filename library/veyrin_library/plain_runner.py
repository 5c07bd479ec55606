"""Runs the tasks on this machine, several at a time, without any other program; works on Windows too."""

import concurrent.futures
import threading

from .errors import Interrupted
from .job import Stop
from .tasks import job_of


def run(store, listed, options, watch):
    """Runs all tasks; calls `watch` about once a second meanwhile. Returns None, or why the run ended early."""
    stop = Stop()
    ended = {identity: threading.Event() for identity in listed}

    def work(identity):
        try:
            # Tasks stand behind those that they need, so waiting cannot take the last worker from them.
            for needed in listed[identity]["needs"]:
                ended[needed].wait()
            stop.check()
            job_of(store, identity, stop).run()
        finally:
            ended[identity].set()

    pool = concurrent.futures.ThreadPoolExecutor(options.jobs)
    try:
        waiting = {pool.submit(work, identity) for identity in listed}
        while waiting:
            finished, waiting = concurrent.futures.wait(waiting, 1.0, concurrent.futures.FIRST_COMPLETED)
            for future in finished:
                error = future.exception()
                if error and not isinstance(error, Interrupted):
                    raise error
            watch()
    finally:
        stop.ask()
        pool.shutdown(wait=True, cancel_futures=True)
