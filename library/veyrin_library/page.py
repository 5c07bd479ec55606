"""The command `page`: MOVIES/index.html, one file with everything but the previews."""

import json
import os
import sys
import time
import urllib.parse
from pathlib import Path

from . import facts, marks, pieces, planning, system, texts
from .store import FOLDER

TEMPLATE = Path(__file__).with_name("page.html")
ORDER = {"failed": 0, "refused": 1, "to do": 2, "waiting": 3, "done": 4}


def link(path):
    """A relative link to a file below the movies' folder, whatever its name holds."""
    return "./" + urllib.parse.quote(os.fsencode(path) if os.sep == "/" else path.encode("utf-8", "replace"))


def shown(text):
    """Text that a page can hold: names that are not valid text get a sign in the place of each wrong byte."""
    return text.encode("utf-8", "surrogateescape").decode("utf-8", "replace")


def row(store, entry, state, mark, found):
    """What the page shows of one recording; the names are short because there are many."""
    header = entry["header"]
    data = {"n": shown(entry["recording"]), "s": state, "b": entry["size"]}
    data["l"] = number(found.get("duration_seconds"), header.get("seconds"))
    data["h"] = header.get("hdr")
    for short, name in (("z", "native_size"), ("v", "rectification_valid_pixels")):
        if name in found:
            data[short] = found[name]
    if "baseline_m" in found:
        data["m"] = number(found["baseline_m"], None)
    if "z" not in data and header.get("width"):
        data["z"] = f"{header['width']}x{header['height']}"
    if found.get("preview"):
        data["p"] = link(f"{FOLDER}/previews/{facts.facts_key(entry)}.png")
    if state == "done":
        data |= {"f": link(entry["movie"]), "t": mark["seconds"], "w": mark["bytes"], "o": mark["node"]}
    elif mark:
        data["e"] = shown(mark.get("message", ""))
    log = pieces.log_of(store, entry)
    if log:
        data["g"] = link(f"{FOLDER}/logs/{log.name}")
    return {name: value for name, value in data.items() if value is not None}


def number(text, otherwise):
    try:
        return float(text)
    except (TypeError, ValueError):
        return otherwise


def rows(store, plan, found):
    states = marks.States(store, plan)
    made = [row(store, entry, states.of[entry["key"]], states.marks[entry["key"]], found[entry["key"]])
            for entry in plan["entries"]]
    made += [{"n": shown(waiting["recording"]), "s": "waiting", "e": waiting["reason"]} for waiting in plan["waiting"]]
    return sorted(made, key=lambda each: (ORDER[each["s"]], each["n"]))


def totals(made):
    done = [each for each in made if each["s"] == "done"]
    bad = sum(each["s"] in ("failed", "refused") for each in made)
    parts = [f"{len(done)} of {texts.count(len(made), 'movie')} there"]
    if bad:
        parts.append(f"{bad} failed")
    parts.append(f"recordings: {texts.size_text(sum(each.get('b', 0) for each in made))}, "
                 f"{texts.time_text(sum(each.get('l') or 0 for each in made))}")
    if done:
        parts.append(f"movies: {texts.size_text(sum(each['w'] for each in done))}, made in "
                     f"{texts.time_text(sum(each['t'] for each in done))} of job time")
    return parts


def render(store, plan, found):
    """The text of the page; `found` has the facts of each key."""
    made = rows(store, plan, found)
    values = {"title": shown(store.movies.name) or "library", "totals": totals(made), "rows": made,
              "written": time.strftime("%Y-%m-%d %H:%M")}
    # Nothing in a name can end the script that the data stands in.
    data = json.dumps(values, separators=(",", ":")).replace("<", "\\u003c")
    return TEMPLATE.read_text(encoding="utf-8").replace("@DATA@", data)


def write_page(store, jobs):
    """Writes the page; returns the exit status."""
    plan = planning.load(store)
    store.make_folders()

    def tell(done, count):
        if sys.stdout.isatty() or done == count:
            print(f"\rpreviews: {done} of {count}", end="\n" if done == count else "", flush=True)

    found = facts.gather(store, plan, jobs or os.cpu_count() or 1, tell)
    target = store.movies / "index.html"
    part = store.folder / f"index.html.{system.node_name()}.{os.getpid()}.part"
    part.write_text(render(store, plan, found), encoding="utf-8")
    os.replace(part, target)
    print(texts.printable(str(target)))
    return 0
