"""The command `status`, and the texts about a plan that other commands print as well."""

import shutil

from . import estimates, marks, pieces, planning, texts

LISTED_AT_MOST = 200
MOVIES_AT_MOST = 10


def print_problems(store, plan, states):
    """The recordings that failed with their messages, and those that wait."""
    bad = [entry for entry in plan["entries"] if states.of[entry["key"]] in ("failed", "refused")]
    for entry in bad[:LISTED_AT_MOST]:
        key = entry["key"]
        print(f"  failed: {texts.printable(entry['recording'])}: {texts.printable(states.marks[key]['message'])}")
        log = pieces.log_of(store, entry)
        if log:
            print(f"    log: {texts.printable(str(log))}")
    if len(bad) > LISTED_AT_MOST:
        print(f"  and {len(bad) - LISTED_AT_MOST} more that failed; the page lists all")
    for waiting in plan["waiting"][:LISTED_AT_MOST]:
        print(f"  waiting for the next run: {texts.printable(waiting['recording'])}: {waiting['reason']}")


def print_status(store):
    """Prints how far the library is; returns the exit status."""
    plan = planning.load(store)
    states = marks.States(store, plan)
    done, total = states.count("done"), len(plan["entries"])
    print(f"library: {texts.printable(str(store.movies))}")
    size = sum(entry["size"] for entry in plan["entries"])
    print(f"  {texts.count(total, 'recording')}, {texts.size_text(size)}: {done} done, "
          f"{states.count('failed', 'refused')} failed, {states.count('to do')} to do, {len(plan['waiting'])} waiting")
    made = [mark for key, mark in states.marks.items() if states.of[key] == "done"]
    if made:
        seconds, written = sum(mark["seconds"] for mark in made), sum(mark["bytes"] for mark in made)
        print(f"  made: {texts.size_text(written)} in {texts.time_text(seconds)} of job time")
    print_problems(store, plan, states)
    return 0 if done == total and not plan["waiting"] else 1


def print_plan(store, plan, everything):
    """What would be done, with all movies if asked. Returns the exit status: 1 when recordings were refused."""
    states = marks.States(store, plan)
    todo = [entry for entry in plan["entries"] if states.of[entry["key"]] in ("to do", "failed")]
    print(f"recordings: {texts.printable(plan['recordings'])}")
    print(f"movies:     {texts.printable(plan['movies'])}")
    if plan["options"]:
        print(f"options:    {texts.printable(' '.join(plan['options']))}")
    size = sum(entry["size"] for entry in todo)
    print(f"{texts.count(len(plan['entries']), 'recording')}: {states.count('done')} done already, "
          f"{len(todo)} to do, {texts.size_text(size)} to read")
    print_movies(todo, len(todo) if everything else MOVIES_AT_MOST)
    print_estimate(store, plan, todo, states)
    print_pieces(plan)
    unread = [entry for entry in todo if not entry["header"]]
    for entry in unread[:LISTED_AT_MOST]:
        print(f"  no length can be read, it may be broken: {texts.printable(entry['recording'])}")
    for entry in plan["entries"]:
        if "refused" in entry:
            print(f"Error: {texts.printable(entry['recording'])}: {texts.printable(entry['refused'])}")
    for waiting in plan["waiting"][:LISTED_AT_MOST]:
        print(f"  waiting: {texts.printable(waiting['recording'])}: {waiting['reason']}")
    return 1 if states.count("refused") else 0


def print_movies(todo, most):
    for entry in todo[:most]:
        print(f"  {texts.printable(entry['recording'])} -> {texts.printable(entry['movie'])}")
    if len(todo) > most:
        print(f"  and {len(todo) - most} more (--list shows all)")


def print_estimate(store, plan, todo, states):
    rate = estimates.Rate(plan["options"], list(states.marks.values()))
    seconds = sum(map(rate.seconds, todo))
    print(f"time: about {texts.time_text(seconds)} on one machine, one at a time ({rate.origin()})")
    sizes = [estimates.movie_bytes(entry, plan["options"]) for entry in todo]
    known = sum(size for size in sizes if size)
    folder = store.movies if store.movies.exists() else store.movies.parent
    free = shutil.disk_usage(folder).free if folder.exists() else None
    print(f"space: the movies take about {texts.size_text(known)}"
          + (f", {texts.size_text(free)} are free" if free is not None else ""))
    if free is not None and known > free:
        print("  that is more than there is; the run will stop at recordings that do not fit")


def print_pieces(plan):
    """Which recordings are cut and what that gains."""
    if not plan["piece_minutes"]:
        return
    cut = [entry for entry in plan["entries"] if pieces.of(entry)]
    parts = sum(len(pieces.of(entry)) for entry in cut)
    print(f"pieces: {texts.count(len(cut), 'recording')} in {parts} pieces of about "
          f"{plan['piece_minutes']:g} minutes")
    if cut:
        gain = max(len(pieces.of(entry)) for entry in cut)
        print(f"  with enough machines the longest recording is converted up to {gain} times as soon")
    for entry in plan["entries"]:
        if entry.get("cuts") and not pieces.of(entry):
            print(f"  in one go: {texts.printable(entry['recording'])}: {entry['cuts']['reason']}")
