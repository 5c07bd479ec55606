"""The page in a real browser."""

import os
import re
import time
import urllib.parse
from pathlib import Path

import numpy
import pytest

from browser import Browser
from test_slurm import ODD
from workbench import Library

STATE = "Array.from(document.querySelectorAll('article')).map(a => [a.querySelector('h2').textContent, a.className])"
PRORES = ("--sbs-codec", "prores")


@pytest.fixture(scope="module")
def browser(tmp_path_factory):
    browser = Browser(tmp_path_factory.mktemp("browser"))
    yield browser
    browser.close()


@pytest.fixture(scope="module")
def shown(tmp_path_factory, converter, make):
    """A library with movies, one broken recording, two refused ones, one that waits and odd names."""
    library = Library(tmp_path_factory.mktemp("page"), converter)
    library.add(make(), "plain.mp4", *ODD, "same.mp4", "same.mov", "<script>alert(1)<.mp4")
    library.add(make("--codec", "hevc10"), "bright.mp4")
    os.link(library.recordings / "plain.mp4", os.path.join(os.fsencode(library.recordings), b"no \xff text.mp4"))
    (library.recordings / "broken.mp4").write_bytes(b"nothing")
    (library.recordings / "later.mp4.partial").write_bytes(b"")
    library.plan(*PRORES, status=1)
    library.run("--profile", "plain", "--jobs", "2", status=1)
    assert "index.html" in library.call("page", "--movies", library.movies)
    return library


@pytest.fixture
def page(browser, shown):
    browser.screen(1100, 800)
    browser.open((shown.movies / "index.html").as_uri())
    return browser


def test_preview_that_could_not_be_made_is_tried_again(tmp_path, converter, make):
    library = Library(tmp_path, converter)
    library.add(make(), "plain.mp4")
    (library.recordings / "broken.mp4").write_bytes(b"nothing")
    library.plan(*PRORES)
    ill = tmp_path / "ill"
    ill.write_text("#!/bin/sh\nexit 1\n", encoding="ascii")
    ill.chmod(0o755)
    library.environment["VEYRIN_CONVERTER"] = str(ill)
    library.call("page", "--movies", library.movies)
    assert not list((library.state / "previews").iterdir())
    library.environment["VEYRIN_CONVERTER"] = str(converter)
    assert "previews: 2 of 2" in library.call("page", "--movies", library.movies)
    assert len(list((library.state / "previews").iterdir())) == 1
    # What the converter says of a broken recording is settled.
    assert "previews" not in library.call("page", "--movies", library.movies)


def row(browser, name, selector):
    return browser.value(f"""(() => {{
        const row = Array.from(document.querySelectorAll('article'))
            .find(a => a.querySelector('h2').textContent === {name!r});
        return Array.from(row.querySelectorAll({selector!r})).map(e => e.href || e.textContent);
    }})()""")


def target(address):
    return Path(os.fsdecode(urllib.parse.unquote_to_bytes(urllib.parse.urlsplit(address).path)))


def test_failures_come_first_and_everything_is_listed(page):
    rows = page.value(STATE)
    assert rows[:4] == [["broken.mp4", "failed"], ["same.mov", "refused"], ["same.mp4", "refused"],
                        ["later.mp4.partial", "waiting"]]
    assert all(state == "done" for _, state in rows[4:])
    assert {name for name, _ in rows[4:]} == {"plain.mp4", "bright.mp4", "<script>alert(1)<.mp4", "no \ufffd text.mp4",
                                              *ODD}
    assert "10 of 14 movies there" in page.value("document.getElementById('totals').textContent")
    assert "3 failed" in page.value("document.getElementById('totals').textContent")


def test_a_link_may_bring_any_words_for_the_filter(browser, shown):
    for words, value in (("plain", "plain"), ("50%25", "50%"), ("50%", "50%")):
        browser.open("about:blank")
        browser.open((shown.movies / "index.html").as_uri() + "#" + words)
        assert browser.value("document.getElementById('filter').value") == value
        assert browser.value("document.getElementById('count').textContent").endswith(" of 14")


def test_facts_of_a_recording(page):
    facts = row(page, "plain.mp4", ".facts span")
    assert facts[:2] == ["done", "1.0 s"]
    assert facts[3:] == ["SDR", "128 × 128 per eye", "baseline 64.0 mm", "valid: left 100.0%, right 100.0%"]
    assert row(page, "bright.mp4", ".facts span")[3] == "HDR"
    assert "could not open input" in row(page, "broken.mp4", ".error")[0]
    assert "same.mov would make the same movie" in row(page, "same.mp4", ".error")[0]


def test_links_lead_to_movies_and_logs(page, shown):
    links = page.value("Array.from(document.querySelectorAll('.done a')).map(a => [a.textContent, a.href])")
    movies = {target(address) for text, address in links if text == "movie"}
    assert movies == {shown.movies / entry["movie"] for entry in shown.entries() if "refused" not in entry and
                      entry["recording"] != "broken.mp4"}
    assert all(path.is_file() for path in movies)
    (log,) = row(page, "broken.mp4", ".more a")
    page.value(f"location.href = {log!r}")
    page.wait_for("document.body.textContent.includes('Error: could not open input')")


def test_filter_and_state(page):
    page.value("document.getElementById('filter').focus()")
    page.type("BROKEN open")
    assert page.value(STATE) == [["broken.mp4", "failed"]]
    assert page.value("document.getElementById('count').textContent") == "1 of 14"
    page.value("document.getElementById('filter').select()")
    page.type("hdr")
    assert page.value(STATE) == [["bright.mp4", "done"]]
    page.value("document.getElementById('filter').select()")
    page.type("no such name")
    assert page.value(STATE) == []
    page.value("""filter = document.getElementById('filter'); filter.value = '';
        state = document.getElementById('state'); state.value = 'refused'; state.dispatchEvent(new Event('change'))""")
    assert page.value(STATE) == [["same.mov", "refused"], ["same.mp4", "refused"]]


def test_previews_are_shown_and_nothing_else_is_loaded(page, shown):
    page.wait_for("Array.from(document.images).every(i => i.complete && i.naturalWidth === 320)")
    assert page.value("document.images.length") == 12
    folder = shown.movies.as_uri()
    assert all(address.startswith((folder + "/", "data:")) for address in page.requests())
    # As from a file share, where all that the page needs comes along.
    text = (shown.movies / "index.html").read_text(encoding="utf-8")
    assert not re.search(r"https?://", text)


@pytest.mark.parametrize("width", (320, 390, 1400))
@pytest.mark.parametrize("scheme", ("light", "dark"))
def test_page_is_readable_on_any_screen(page, tmp_path, width, scheme):
    page.screen(width, 800, scheme)
    assert page.value("document.documentElement.scrollWidth <= innerWidth")
    assert page.value("Array.from(document.querySelectorAll('h2')).every(h => h.getBoundingClientRect().width > 150)")
    brightness = page.value("getComputedStyle(document.body).backgroundColor.match(/\\d+/g).map(Number)")
    assert (sum(brightness) / 3 > 200) == (scheme == "light")
    for selector in ("h2", ".facts", ".failed .state", ".done .state", ".waiting .state", ".error", "article a"):
        colours = page.value(f"""(() => {{ const e = document.querySelector({selector!r});
            return [getComputedStyle(e).color, getComputedStyle(e.closest('article')).backgroundColor]
                .map(c => c.match(/\\d+/g).map(Number)); }})()""")
        assert contrast(*colours) >= 4.5, selector
    page.screenshot(tmp_path / "page.png")
    assert (tmp_path / "page.png").stat().st_size > 10000


def contrast(first, second):
    """The ratio of two colours' luminances as WCAG defines it."""
    def luminance(colour):
        parts = numpy.array(colour[:3]) / 255
        parts = numpy.where(parts <= 0.04045, parts / 12.92, ((parts + 0.055) / 1.055) ** 2.4)
        return parts @ (0.2126, 0.7152, 0.0722)
    bright, dark = sorted((luminance(first), luminance(second)), reverse=True)
    return (bright + 0.05) / (dark + 0.05)


def test_thousands_of_recordings_stay_usable(browser, tmp_path):
    from veyrin_library import page as pages
    from veyrin_library.store import Store
    store = Store(tmp_path / "movies")
    store.make_folders()
    count = 20000
    entries = [{"key": f"{number:024x}", "recording": f"day {number // 50}/clip {number}.mp4", "movie": f"{number}.mov",
                "size": 10 ** 9, "changed": 0, "header": {"seconds": 61.0, "hdr": None}} for number in range(count)]
    found = {entry["key"]: {"preview": True} for entry in entries}
    (tmp_path / "movies" / "index.html").write_text(pages.render(store, {"entries": entries, "waiting": []}, found),
                                                    encoding="utf-8")
    browser.screen(1100, 800)
    begun = time.monotonic()
    browser.open((tmp_path / "movies" / "index.html").as_uri())
    browser.wait_for("document.querySelectorAll('article').length > 0")
    assert time.monotonic() - begun < 10
    assert browser.value("document.querySelectorAll('article').length") <= 500
    # Previews are asked for as they come near.
    assert len(browser.requests()) < 300
    assert browser.value("""(() => { const f = document.getElementById('filter'), t = performance.now();
        f.value = '19999'; f.dispatchEvent(new Event('input')); return performance.now() - t; })()""") < 1000
    assert browser.value("document.querySelector('h2').textContent") == "day 399/clip 19999.mp4"
    # All rows can be reached by scrolling.
    browser.value("""f = document.getElementById('filter'); f.value = 'clip'; f.dispatchEvent(new Event('input'));""")
    before = browser.value("document.querySelectorAll('article').length")
    browser.value("scrollTo(0, document.body.scrollHeight)")
    browser.wait_for(f"document.querySelectorAll('article').length > {before}")


def test_page_is_made_again_from_what_is_known(shown):
    before = {path: path.stat().st_mtime_ns for path in (shown.state / "previews").iterdir()}
    text = shown.call("page", "--movies", shown.movies)
    assert "previews" not in text
    assert before == {path: path.stat().st_mtime_ns for path in (shown.state / "previews").iterdir()}
