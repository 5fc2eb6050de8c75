#!/usr/bin/python3
"""Kills takes at random moments and looks at what they leave: every file has to play and lack at most a second.

    kills.py [--uploads] [--kills N] [--at-once M] [--seed S]

Half of the takes are of a still screen, half of one that scrolls. What a file lacks is the time from the take's own
word that it records to its end, less what the file holds. With --uploads: takes whose upload fails, up to their
arrival after the next launch, see late_uploads.py.
"""

import argparse
import concurrent.futures
import os
import pathlib
import random
import subprocess
import sys
import tempfile
import time

import recorders
import usage
import video

SCENES = {"still": ["still"], "scroll": ["scroll", "--rate", "30"]}
EARLIEST, LATEST, BAR = 2.0, 20.0, 1.0  # seconds


def lacking(delay):
    """Starts a take and kills it `delay` seconds after it began to record."""
    with tempfile.TemporaryDirectory(prefix="tavro-kills-") as folder:
        home = pathlib.Path(folder)
        recorder = recorders.Tavro()
        recorder.start(home, LATEST + 60)
        log = home / "tavro.log"
        usage.wait_for(lambda: "capture started OK" in log.read_text(), "the take's start", recorder.process)
        start = time.monotonic()
        time.sleep(delay)
        recorder.process.kill()
        lasted = time.monotonic() - start
        recorder.process.communicate()
        (file,) = home.glob("cache/Tavro-recordings/*.mp4*")
        command = ["ffmpeg", "-v", "error", "-xerror", "-i", file, "-f", "rawvideo", "-y", "/dev/null"]
        subprocess.run(command, check=True)
        return lasted - video.duration(file)


def kill_takes(scene, delays, at_once):
    with usage.Programs([recorders.BIN / "tavro-painter", *SCENES[scene]]):
        with concurrent.futures.ThreadPoolExecutor(at_once) as pool:
            return list(pool.map(lacking, delays))


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("--uploads", action="store_true")
    parser.add_argument("--kills", type=int, default=20)
    parser.add_argument("--at-once", type=int, default=2)
    parser.add_argument("--seed", type=int, default=None)
    arguments = parser.parse_args()
    chance = random.Random(arguments.seed)
    if arguments.uploads:
        import late_uploads  # needs the desktop's buses

        delays = [chance.uniform(late_uploads.EARLIEST, late_uploads.LATEST) for _ in range(arguments.kills)]
        return 0 if late_uploads.run(delays, arguments.at_once) else 1
    kept = True
    for scene in SCENES:
        delays = [chance.uniform(EARLIEST, LATEST) for _ in range(arguments.kills // len(SCENES))]
        lacks = kill_takes(scene, delays, arguments.at_once)
        for delay, lack in sorted(zip(delays, lacks)):
            print(f"  {scene}: killed after {delay:5.2f} s, lacks {lack:5.2f} s{'' if lack <= BAR else '  MISSED'}")
        kept &= max(lacks) <= BAR
    return 0 if kept else 1


if __name__ == "__main__":
    if "TAVRO_DESKTOP" not in os.environ:
        desktop = recorders.ROOT / "tools/desktop/desktop.py"
        services = "x11,wm,bus,a11y,notify,panel,keyring,pulse" if "--uploads" in sys.argv else "x11"
        sys.exit(subprocess.run([desktop, "--with", services, "--", __file__, *sys.argv[1:]], check=False).returncode)
    sys.exit(main())
