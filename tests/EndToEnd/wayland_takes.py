"""Takes with tavro-take on a Wayland desktop, through its real portal: sway with two outputs in two colours.

    wayland_takes.py TAVRO_TAKE"""

import contextlib
import itertools
import json
import os
import pathlib
import re
import signal
import subprocess
import sys
import threading
import time

import takes
from harness import check, equal, wait_for

import wayland  # of tools/desktop, where harness has pointed to

TAKE = sys.argv[1]
DESKTOP = pathlib.Path(os.environ["TAVRO_DESKTOP"])
CHOICE = DESKTOP / "portal-choice"
COLOURS = {"HEADLESS-1": (170, 34, 0), "HEADLESS-2": (0, 68, 204)}
LEFT = {"HEADLESS-1": 0, "HEADLESS-2": 1920}
OTHER_COLOUR = (0, 136, 0)
CANCELLED = ""


def sway(*command):
    subprocess.run(["swaymsg", "-q", "--", *command], check=True)


def paint(output, colour):
    sway("output", output, "bg", "#" + bytes(colour).hex(), "solid_color")

    def shown():
        look = subprocess.run(["grim", "-o", output, "-t", "ppm", "-"], stdout=subprocess.PIPE, check=True)
        return tuple(look.stdout[-3:]) == colour

    wait_for(shown, f"the colour of {output}")


def pixel(video, second, x, y):
    """A pixel of the film, in RGB, near this second of it; negative: before its end."""
    place = ["-sseof", str(second)] if second < 0 else ["-ss", str(second)]
    crop = ["-frames:v", "1", "-vf", f"crop=2:2:{x}:{y},format=rgb24", "-f", "rawvideo", "-"]
    command = ["ffmpeg", "-v", "error", *place, "-i", video, *crop]
    return tuple(subprocess.run(command, stdout=subprocess.PIPE, check=True).stdout[:3])


def check_colour(video, second, colour, what, x=1800, y=1000):
    seen = pixel(video, second, x, y)
    check(len(seen) == 3 and all(abs(a - b) < 12 for a, b in zip(seen, colour)), f"{what}: {seen}, not {colour}")


def displays(home):
    """The numbers of the displays, from left to right, as the program's log lists them."""
    return re.findall(r'"(\d+)"', re.search(r"available displays=\[(.*?)\]", home.log.read_text()).group(1))


def backend():
    for pid in (DESKTOP / "portal.pid").read_text().split():
        if b"portal-wlr" in pathlib.Path("/proc", pid, "cmdline").read_bytes():
            return int(pid)
    raise LookupError("the portal's backend")


@contextlib.contextmanager
def mouse_on(output):
    """Moves the mouse on this display: a screen where nothing moves may send no picture."""
    done = threading.Event()

    def move():
        for step in itertools.cycle(range(100)):
            wayland.move_pointer(LEFT[output] + 50 + step, 50)
            if done.wait(0.05):
                return

    mover = threading.Thread(target=move)
    mover.start()
    try:
        yield
    finally:
        done.set()
        mover.join()


def during(home, *arguments, action):
    """The report of a take with something that happens a second into it."""
    process = home.start(*arguments)
    try:
        wait_for(lambda: home.log.exists() and "recording started" in home.log.read_text(), "the take's start")
        time.sleep(1)
        action()
        out, complaints = process.communicate(timeout=60)
    finally:
        process.kill()
    equal(process.returncode, 0, f"exit code\n{complaints}")
    return json.loads(out)


def the_chosen_display_is_recorded_each_time(home):
    """Chosen once each; afterwards nobody is asked: the user would cancel."""
    numbers = {}
    for take in range(20):
        output = list(COLOURS)[take % 2]
        CHOICE.write_text(output if take < 2 else CANCELLED)
        number = ["--display", numbers[output]] if numbers else []
        with mouse_on(output):
            report = home.run("--seconds", "0.4", *number)
        if not numbers:
            numbers = dict(zip(COLOURS, displays(home)))
        check_colour(report["video"], -0.1, COLOURS[output], f"take {take} of {output}")
    tokens = home.folder / "data/tavro/displays.json"
    equal(tokens.stat().st_mode & 0o777, 0o600, "who may read the tokens")
    equal(sorted(json.loads(tokens.read_text())["displays"]), sorted(COLOURS), "the remembered displays")


def another_display_is_not_recorded(home):
    CHOICE.write_text("HEADLESS-2")
    complaints = home.run("--seconds", "0.4", code=1)  # of HEADLESS-1
    check("choose HEADLESS-1" in complaints, complaints)
    equal(complaints.count("asking the desktop for HEADLESS-1"), 2, "questions")
    check(not list(home.sessions.glob("*")), "a session is left")


def a_cancelled_dialog_leaves_nothing(home):
    CHOICE.write_text(CANCELLED)
    home.run("--seconds", "0.4", code=1)
    check(not list(home.sessions.glob("*")), "a session is left")
    check(not list(home.work.glob("*.mp4")), "a film is left")


def the_film_goes_on_when_the_display_changes(home):
    CHOICE.write_text("HEADLESS-1")

    def change():
        sway("output", "HEADLESS-1", "mode", "--custom", "1280x1024@60Hz")
        paint("HEADLESS-1", OTHER_COLOUR)

    try:
        with mouse_on("HEADLESS-1"):
            report = during(home, "--seconds", "5", action=change)
    finally:
        sway("output", "HEADLESS-1", "mode", "--custom", "1920x1080@60Hz")
        paint("HEADLESS-1", COLOURS["HEADLESS-1"])
    takes.check_video(report["video"], report["durationSeconds"])
    check_colour(report["video"], 0.8, COLOURS["HEADLESS-1"], "before the change")
    check_colour(report["video"], -0.3, OTHER_COLOUR, "after the change", x=960)
    check_colour(report["video"], -0.3, (0, 0, 0), "the bar beside the picture", x=100)


def the_film_keeps_its_last_picture_when_sharing_ends(home):
    CHOICE.write_text("HEADLESS-1")
    with mouse_on("HEADLESS-1"):
        report = during(home, "--seconds", "6", action=lambda: os.kill(backend(), signal.SIGKILL))
    takes.check_video(report["video"], report["durationSeconds"])
    check(report["durationSeconds"] > 5.5, "the take ended early")
    check_colour(report["video"], -0.3, COLOURS["HEADLESS-1"], "the last picture")
    check("does not share its screen any more" in home.log.read_text(), "nothing is said of it")


def pauses_and_restarts_need_no_dialog(home):
    CHOICE.write_text("HEADLESS-1")
    with mouse_on("HEADLESS-1"):
        report = home.run("--seconds", "3", "--pause", "0.5-1", "--restart-at", "1.5")
    check_colour(report["video"], -0.1, COLOURS["HEADLESS-1"], "the restarted take")
    equal(home.log.read_text().count("asking the desktop"), 1, "questions")


TESTS = [
    the_chosen_display_is_recorded_each_time,
    another_display_is_not_recorded,
    a_cancelled_dialog_leaves_nothing,
    the_film_goes_on_when_the_display_changes,
    pauses_and_restarts_need_no_dialog,
    the_film_keeps_its_last_picture_when_sharing_ends,  # last: it ends the portal's backend
]


def main():
    for output, colour in COLOURS.items():
        paint(output, colour)
    wayland.move_pointer(50, 50)
    return takes.run(TESTS, TAKE)


if __name__ == "__main__":
    sys.exit(main())
