"""A stopped sound server (SIGSTOP) delays neither the launch nor a take nor its end. Its later answers are used.

    silent_sound_server.py TAVRO LOOPBACK_SERVICE TAVRO_PAINTER FLASH_AND_BEEP"""

import contextlib
import os
import pathlib
import signal
import subprocess
import sys

import harness
from harness import check, driver, environment, wait_for

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parents[2] / "bench/sync"))
import offsets  # noqa: E402

PAINTER, FLASH_AND_BEEP = sys.argv[3:5]
RATE = 30  # pictures a second that the painter shows
END = 2  # seconds that a finish may take
UNANSWERED = "[INFO] sound: the server does not answer"


def signal_server(number):
    for service in ("pulse", "pipewire"):
        file = environment("TAVRO_DESKTOP") / f"{service}.pid"
        for process in file.read_text().split() if file.exists() else []:
            os.kill(int(process), number)


@contextlib.contextmanager
def stopped_server():
    """Stops the sound server. Yields a function that continues it."""
    signal_server(signal.SIGSTOP)
    try:
        yield lambda: signal_server(signal.SIGCONT)
    finally:
        signal_server(signal.SIGCONT)


@contextlib.contextmanager
def running(*command, **variables):
    process = subprocess.Popen(command, stdout=subprocess.DEVNULL, env=os.environ | variables)
    try:
        yield
    finally:
        process.terminate()
        process.wait()


def start(scene):
    scene.grant_all()
    program = scene.start()
    program.wizard.wait_open()
    return program


def finish(program):
    """Ends the take; returns the video."""
    program.bar.press("Finish")
    program.wait_log("finishSession: opened review", seconds=END)
    program.bar.wait_closed()
    (video,) = (environment("XDG_DATA_HOME") / "Tavro/sessions").glob("*/video.mp4")
    return video


def shown_times(video):
    wanted = ["-select_streams", "v:0", "-show_entries", "packet=pts_time", "-of", "csv=p=0"]
    shown = driver.run("ffprobe", "-v", "error", *wanted, str(video))
    return sorted(float(line.strip(",")) for line in shown.split())


def the_picture_runs_without_it(scene):
    program = start(scene)
    with running(PAINTER, "motion", "--rate", str(RATE)), stopped_server():
        harness.begin_session(program)
        harness.let_time_pass(program, 3)
        program.wait_log(UNANSWERED)
        video = finish(program)
    found = harness.probe(video)
    check("h264" in found["codecs"] and found["seconds"] > 3, f"the film: {found}")
    times = shown_times(video)
    for second in range(3):
        count = sum(second <= time < second + 1 for time in times)
        check(count >= RATE / 2, f"{count} pictures in second {second} of the film, of {RATE} that were shown")


def what_it_hears_later_lies_at_its_place(scene):
    program = start(scene)
    with stopped_server() as go_on:
        harness.begin_session(program)
        harness.let_time_pass(program, 3)
        go_on()
        program.wait_log("Mic capture started")
        program.wait_log("System audio capture started")
        with running(FLASH_AND_BEEP, PULSE_SINK="micfeed"):
            harness.let_time_pass(program, 9)
        video = finish(program)
    program.wait_log("session.finish: mux succeeded")
    harness.probe(video)
    flashes, beeps = offsets.flashes(str(video)), offsets.beeps(str(video))
    check(len(flashes) >= 3 and len(beeps) > 0 and beeps[0] > 3, f"flashes at {flashes}, beeps at {beeps}")
    apart = [min(abs(beep - flash) for flash in flashes) for beep in beeps]
    check(len(beeps) >= len(flashes) - 1, f"flashes at {flashes}, beeps at {beeps}")
    check(max(apart) < 0.25, f"beeps are {apart} s from their flashes")


def a_launch_does_not_wait_for_it(scene):
    scene.grant_all()
    with stopped_server() as go_on:
        program = scene.start()
        wizard = program.wizard.wait_open()
        granted = lambda: wizard.names().count("Granted")
        wait_for(lambda: granted() == 2, "all but the microphone to be granted")
        go_on()
        wait_for(lambda: granted() == 3, "the microphone to be granted by itself")


harness.main([the_picture_runs_without_it, what_it_hears_later_lies_at_its_place, a_launch_does_not_wait_for_it])
