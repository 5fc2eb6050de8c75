#!/usr/bin/python3
"""What a tester does on the first day, with the installed program: starts it from the applications' menu, grants what
it asks for, records a take, quits; then chooses New Session… of its icon, which starts it again. Needs the desktop."""

import json
import pathlib
import shutil
import subprocess
import sys
import time
import warnings

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parent / "tools/desktop"))
warnings.simplefilter("ignore", DeprecationWarning)

import driver  # noqa: E402
from driver import Failure, wait_for  # noqa: E402

SHARE = pathlib.Path("/usr/share")
ENTRY = SHARE / f"applications/{driver.NAME}.desktop"
KEPT = pathlib.Path("/home/tester/.local/share")  # what the desktop's end would remove
begun = time.monotonic()


def tell(what):
    print(f"{time.monotonic() - begun:5.1f} s  {what}", flush=True)


def record(program):
    setup = program.setup.wait_open()
    program.wait_log("setup: found ")
    window = driver.run("xdotool", "search", "--name", "Tavro — New Session").split()[-1]
    if "Icon" not in driver.run("xprop", "-id", window, "_NET_WM_ICON"):
        raise Failure("the window has no icon")
    setup.press("Start")
    bar = program.bar.wait_open()
    tell("it records")
    wait_for(lambda: "00:02" in bar.names(), "two seconds on the bar's clock")
    bar.press("Pause")
    bar.press("Resume")
    wait_for(lambda: "00:04" in bar.names(), "four seconds on the bar's clock")
    bar.press("Finish")
    film = pathlib.Path(driver.wait_notification("Recording saved")["body"])
    bar.wait_closed()
    fields = "stream=codec_name:format=duration"
    found = json.loads(driver.run("ffprobe", "-v", "error", "-show_entries", fields, "-of", "json", film))
    codecs = sorted(stream["codec_name"] for stream in found["streams"])
    tell(f"a film: {codecs}, {found['format']['duration']} s, {film.stat().st_size} bytes")
    if codecs != ["aac", "h264"]:
        raise Failure(f"the film has {codecs}")


def main():
    driver.make_activatable((SHARE / f"dbus-1/services/{driver.NAME}.service").read_text())
    program = driver.Program(command=["gio", "launch", ENTRY])
    program.follow()
    tell("started by its desktop entry")
    program.tray.wait()
    tell("its icon is in the tray")
    wizard = program.wizard.wait_open()
    granted = lambda: wizard.names().count("Granted")
    wait_for(lambda: granted() == 1, "the screen to be granted")
    for count in (2, 3):  # microphone, then speech
        wizard.press("Grant")
        wait_for(lambda: granted() == count, f"{count} grants")
    tell("microphone and narration are granted")
    program.tray.choose("New Session…")
    record(program)
    program.ask("quit")
    wait_for(lambda: not driver.owner(), "the program's end")

    driver.run("gapplication", "action", driver.NAME, "new-session")
    program.follow()
    program.setup.wait_open()
    tell("started again by an action of its icon")
    second = subprocess.run(["tavro"], check=False, capture_output=True, text=True)
    if (second.returncode, second.stderr) != (0, ""):
        raise Failure(f"the second start: {second}")
    subprocess.run(["tavro", "--quit"], check=True)
    wait_for(lambda: not driver.owner(), "the program's end")
    tell("ended by --quit")
    shutil.copytree(driver.environment("XDG_DATA_HOME"), KEPT, dirs_exist_ok=True)


main()
