"""The review page of a real take with two pauses, opened from its folder in a real browser.

    review_page.py TAVRO_TAKE TAVRO_PAINTER"""

import contextlib
import json
import re
import subprocess
import sys

import takes
from chromium import Page
from harness import check, equal, wait_for

TAKE, PAINTER = sys.argv[1:3]
NEAR = 0.1  # seconds
# A picture from just before the resume may reach the recorder after it.
LATE = 0.25
TAB, ENTER = 9, 13
DATA = re.compile('(?<=id="take">).*(?=</script>)')
HOSTILE = "</script><script>document.title = 'hit'</script><img src=x> \"'&"


@contextlib.contextmanager
def opened(file):
    page = Page(f"file://{file}")
    try:
        yield page
    finally:
        page.close()


def data_of(file):
    return json.loads(DATA.search(file.read_text())[0])


def a_take_is_reviewed(home):
    report = home.run("--seconds", "8", "--narrate", "--pause", "1.5-3.5", "--pause", "5-6.5")
    folder = home.sessions / report["sessionId"]
    take = data_of(folder / "review.html")
    check_pauses_in_the_film(folder / "video.mp4", take["pauses"])
    with opened(folder / "review.html") as page:
        check_the_film_plays(page, takes.probe(folder / "video.mp4")[1])
        check_marks(page, take["pauses"])
        check_without_a_mouse(page, take["pauses"])
        check_what_is_shown(page)
        files = {f"file://{folder}/{name}" for name in ("review.html", "video.mp4")}
        equal({address for address in page.requests if not address.startswith("data:")}, files, "requests")
        equal(page.complaints, [], "the console")
        check_texts_stay_texts(page, folder)
        equal(page.complaints, [], "the console with hostile texts")
        check_the_policy(page)
        (folder / "video.mp4").unlink()
        page.open(f"file://{folder}/hostile.html?without-film")
        hidden = "['problem', 'pauses'].map(id => document.getElementById(id).hidden)"
        wait_for(lambda: page.value(hidden) == [False, True], "word of the missing film")


def check_pauses_in_the_film(video, pauses):
    """The painter moves all the time: without a picture there is a pause, and nowhere else."""
    command = ["ffprobe", "-v", "error", "-select_streams", "v", "-show_entries", "packet=pts_time", "-of", "csv=p=0"]
    shown = subprocess.run([*command, str(video)], check=True, stdout=subprocess.PIPE, text=True).stdout
    times = sorted(float(time.strip(",")) for time in shown.split())
    equal(len(pauses), 2, "pauses")
    for pause, length in zip(pauses, (2, 1.5)):
        check(abs(pause["length"] - length) < 0.5, f"the pause {pause} took {length} s")
        begin, end = pause["at"] + NEAR, pause["at"] + pause["length"] - LATE
        within = [time for time in times if begin < time < end]
        equal(within, [], f"pictures within the pause {pause}")
        check(any(begin - 1 < time <= begin for time in times), f"no picture right before the pause {pause}")
        check(any(end <= time < end + 1 for time in times), f"no picture right after the pause {pause}")


def check_the_film_plays(page, length):
    wait_for(lambda: page.value("film.readyState") >= 2, "the film to load")
    check(abs(page.value("film.duration") - length) < NEAR, f"the film in the page is not {length} s long")
    equal(page.value("[film.videoWidth, film.videoHeight]"), [1920, 1080], "the film's size")
    page.value("film.play()")
    wait_for(lambda: page.value("film.currentTime") > 0.5, "the film to play")
    page.value("film.pause()")


def is_at(page, pause):
    now = "Array.from(document.querySelectorAll('button'), each => each.getAttribute('aria-current'))"
    shown, time, current = page.value(f"[film.seeking, film.currentTime, {now}]")
    number = [pauses["at"] for pauses in page.value("take.pauses")].index(pause["at"])
    marked = [index for index, value in enumerate(current) if value == "true"]
    return not shown and abs(time - pause["at"]) < NEAR and marked == [number]


def check_marks(page, pauses):
    length = page.value("film.duration")
    line = page.value("line.getBoundingClientRect().toJSON()")
    marks = page.value("Array.from(document.querySelectorAll('.mark'), each => each.getBoundingClientRect().toJSON())")
    equal(len(marks), len(pauses), "marks")
    for mark, pause in zip(marks, pauses):
        begin, width = (line["width"] * pause[key] / length for key in ("at", "length"))
        check(abs(mark["left"] - line["left"] - begin) < 2 and abs(mark["width"] - width) < 2, f"{mark} for {pause}")
    for number in (1, 0):
        page.click(".mark", number)
        wait_for(lambda: is_at(page, pauses[number]), f"the film at its pause {number}")
    page.value("film.currentTime = 0")
    page.click("#line")
    wait_for(lambda: abs(page.value("film.currentTime") - length / 2) < NEAR, "the film at its middle")


def check_without_a_mouse(page, pauses):
    page.value("document.activeElement.blur()")
    for _ in range(30):
        page.press("Tab", TAB)
        if page.value("document.activeElement.matches('li:nth-child(2) button')"):
            break
    outline = "getComputedStyle(document.activeElement)"
    equal(page.value(f"[{outline}.outlineStyle, {outline}.outlineWidth]"), ["solid", "3px"], "the focus is shown")
    page.press("Enter", ENTER)
    wait_for(lambda: is_at(page, pauses[1]), "the film at the pause of the focused button")


def check_what_is_shown(page):
    controls = page.controls()
    for expected in (
        ("heading", "Guest checkout flow"),
        ("region", "Film"),
        ("region", "About this take"),
        ("Video", "The take's film"),
    ):
        check(expected in controls, f"{expected} is not in {controls}")
    check({"banner", "main"} <= {role for role, _ in controls}, f"landmarks are missing in {controls}")
    names = [name for role, name in controls if role == "button" and re.fullmatch(r"Paused at 0:0\d for \d s", name)]
    equal(len(names), 2, f"buttons of pauses in {controls}")
    shown = page.value("document.body.innerText")
    for text in ("Checkout Redesign", "Buy as guest", "without the pauses", "1920×1080"):
        check(text in shown, f"“{text}” is not in {shown}")


def check_texts_stay_texts(page, folder):
    text = (folder / "review.html").read_text()
    take = json.loads(DATA.search(text)[0])
    take.update({key: HOSTILE for key in ("project", "scenario", "description", "display", "address")})
    data = json.dumps(take).replace("<", "\\u003c")
    (folder / "hostile.html").write_text(DATA.sub(lambda _: data, text))
    page.open(f"file://{folder}/hostile.html")
    equal(page.value("document.title"), HOSTILE + " — Tavro", "title")
    equal(page.value("document.body.innerText").count(HOSTILE), 5, "texts shown")
    equal(page.value("[document.scripts.length, document.images.length, document.links.length]"), [2, 0, 0], "elements")


def check_the_policy(page):
    """Even an element that came into the page would do nothing."""
    added = "document.body.append(Object.assign(document.createElement('script'), {textContent: 'window.hit = 1'}))"
    equal(page.value(f"{added}; window.hit"), None, "a script of others")
    refused = "fetch('http://127.0.0.1:9/').then(() => '', reason => String(reason))"
    check("fetch" in page.value(refused), "a request is not refused")
    blocked = [each["text"] for each in page.complaints if "Content Security Policy" in str(each.get("text"))]
    check(len(blocked) >= 2, f"the policy did not say so: {page.complaints}")


def main():
    painter = subprocess.Popen([PAINTER, "motion", "--rate", "30"], stdout=subprocess.DEVNULL)
    try:
        return takes.run([a_take_is_reviewed], TAKE)
    finally:
        painter.terminate()
        painter.wait()


if __name__ == "__main__":
    sys.exit(main())
