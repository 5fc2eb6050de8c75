#!/usr/bin/python3
"""A session by clicks, on a desktop without a screen: New Session…, Start, Pause, Resume, Finish, on the local
backend. Prints the path of the video.

    demo.py [PROGRAM]      starts the virtual desktop itself; the video goes to build/demo
"""

import os
import pathlib
import shutil
import subprocess
import sys
import time
import warnings

HERE = pathlib.Path(__file__).resolve().parent
ROOT = HERE.parents[1]
SERVICES = "x11,wm,bus,panel,a11y,notify,pulse,stubopen"


def perform(program_file):
    warnings.simplefilter("ignore", DeprecationWarning)
    import driver  # needs the desktop

    out = ROOT / "build/demo"
    out.mkdir(parents=True, exist_ok=True)
    driver.grant_all()
    driver.set_default("tavro.devMode", "true")

    painter_file = pathlib.Path(program_file).with_name("tavro-painter")
    painter = None
    if painter_file.exists():
        painter = subprocess.Popen([painter_file, "motion", "--rate", "30", "--behind"], stdout=subprocess.DEVNULL)
    program = driver.Program(program_file)
    try:
        program.wizard.wait_open()
        driver.screenshot(out / "wizard.png")
        program.tray.choose("New Session…")
        setup = program.setup.wait_open()
        program.wait_log("setup: found ")
        time.sleep(0.5)  # so that a viewer sees the form
        driver.screenshot(out / "setup.png")
        setup.press("Start")
        program.wait_log("control panel shown")
        bar = program.bar.wait_open()
        time.sleep(4)
        driver.screenshot(out / "recording.png")
        bar.press("Pause")
        time.sleep(1)
        bar.press("Resume")
        time.sleep(4)
        bar.press("Finish")
        saved = pathlib.Path(driver.wait_notification("Recording saved")["body"])
        video = shutil.copy(saved, out / "video.mp4")
        program.tray.choose("Quit")
        program.wait_end()
    finally:
        program.stop()
        if painter:
            painter.kill()
            painter.wait()
    fields = "stream=codec_name,width,height,nb_frames:format=duration"
    print(driver.run("ffprobe", "-v", "error", "-show_entries", fields, "-of", "default=nw=1", video), end="")
    print(f"The video is {video}; pictures of the windows lie beside it.")


if __name__ == "__main__":
    executable = sys.argv[1] if len(sys.argv) > 1 else ROOT / "build/release/bin/tavro"
    if "TAVRO_DESKTOP" in os.environ:
        perform(executable)
    else:
        command = [sys.executable, HERE / "desktop.py", "--with", SERVICES, "--", sys.executable, __file__, executable]
        sys.exit(subprocess.run([str(part) for part in command], check=False).returncode)
