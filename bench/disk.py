#!/usr/bin/python3
"""Takes on a file system of 1.5 GB (a tmpfs of its own: needs the right to mount, as root or in a user namespace),
narrated, with a screen that moves all over, filled up to the limits:

- before a take: it is not begun, and the user is told;
- in mid-take: it is finished by itself, and its film is whole: index in front, decodes without a complaint, as long
  as the take.

    disk.py
"""

import json
import os
import pathlib
import subprocess
import sys
import time
import warnings

import recorders
import usage

SIZE = 1_500_000_000  # bytes
SERVICES = "x11,wm,bus,panel,a11y,keyring,notify,pulse,stubopen"
PAINTER = recorders.BIN / "tavro-painter"
RECORDED = 5  # seconds


def fill(place, left):
    """Leaves this many bytes."""
    stuff = place / "stuff"
    stuff.unlink(missing_ok=True)
    space = os.statvfs(place)
    with open(stuff, "wb") as file:
        os.posix_fallocate(file.fileno(), 0, space.f_bavail * space.f_frsize - left)


def begin(driver, program):
    program.tray.choose("New Session…")
    setup = program.setup.wait_open()
    driver.wait_for(lambda: setup.get("Start").is_enabled(), "Start to be enabled")
    setup.press("Start")


def told(driver, summary):
    note = driver.wait_notification(summary)
    print(f"  told: {summary}: {note['body'].splitlines()[0]}")
    return note


def complaints(film):
    """What is wrong with it."""
    command = ["ffmpeg", "-v", "error", "-i", film, "-fps_mode", "passthrough", "-enc_time_base", "-1"]
    command += ["-f", "null", "-"]
    problems = subprocess.run(command, stderr=subprocess.PIPE, text=True, check=False).stderr
    if film.read_bytes().find(b"moof") >= 0:
        problems += "still in fragments\n"
    command = ["ffprobe", "-v", "error", "-show_entries", "stream=codec_name,duration", "-of", "json", film]
    shown = subprocess.run(command, check=True, stdout=subprocess.PIPE).stdout
    lengths = {s["codec_name"]: float(s["duration"]) for s in json.loads(shown)["streams"]}
    print(f"  film: {film.stat().st_size / 1e6:.0f} MB, " + ", ".join(f"{c} {d:.2f} s" for c, d in lengths.items()))
    if set(lengths) != {"h264", "aac"} or min(lengths.values()) < RECORDED:
        problems += "too short\n"
    if max(lengths.values()) - min(lengths.values()) > 0.05:
        problems += "picture and sound do not end together\n"
    return problems.strip()


def main():
    warnings.simplefilter("ignore", DeprecationWarning)
    sys.path.insert(0, str(recorders.ROOT / "tools/desktop"))
    import driver  # needs the desktop

    place = pathlib.Path(os.environ["TAVRO_SMALL_DISK"])
    subprocess.run(["mount", "-t", "tmpfs", "-o", f"size={SIZE}", "none", place], check=True)
    os.environ["XDG_CACHE_HOME"] = os.environ["XDG_DATA_HOME"] = str(place)
    driver.grant_all()
    driver.set_default("tavro.devMode", "true")
    program = driver.Program()
    good = True
    with usage.Programs([PAINTER, "motion", "--rate", "60", "--behind"]):
        program.tray.wait()
        for left in (990_000_000, 50_000_000):
            fill(place, left)
            begin(driver, program)
            told(driver, "The recording did not start")
            (driver.environment("TAVRO_DESKTOP") / "notifications.jsonl").unlink()
        # Below the limit at once, and far below it.
        for left in (310_000_000, 150_000_000):
            fill(place, 1_100_000_000)
            begin(driver, program)
            program.bar.wait_open()
            time.sleep(RECORDED)
            fill(place, left)
            told(driver, "The recording ends: the disk is nearly full")
            saved = told(driver, "Recording saved")
            problems = complaints(pathlib.Path(saved["body"]))
            print("  " + (problems or "whole"))
            good &= not problems
            program.bar.wait_closed()
            (driver.environment("TAVRO_DESKTOP") / "notifications.jsonl").unlink()
    program.stop()
    return good


if __name__ == "__main__":
    if "TAVRO_DESKTOP" not in os.environ:
        desktop = recorders.ROOT / "tools/desktop/desktop.py"
        command = [desktop, "--with", SERVICES, "--", "/usr/bin/python3", pathlib.Path(__file__).resolve()]
        sys.exit(subprocess.run(command, check=False).returncode)
    if "TAVRO_SMALL_DISK" not in os.environ:
        os.environ["TAVRO_SMALL_DISK"] = str(pathlib.Path(os.environ["TAVRO_DESKTOP"], "disk"))
        pathlib.Path(os.environ["TAVRO_SMALL_DISK"]).mkdir()
        own = ["--mount"] if os.getuid() == 0 else ["--mount", "--map-current-user", "--keep-caps"]
        os.execvp("unshare", ["unshare", *own, sys.executable, *sys.argv])
    sys.exit(0 if main() else 1)
