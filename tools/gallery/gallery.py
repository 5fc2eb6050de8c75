#!/usr/bin/python3
"""Pictures of every window in every state, as they look on different desktops, in build/gallery: a folder for each
desktop and beside it a sheet of all its pictures.

    gallery.py [DESKTOP...]      e.g. light-1.25 dark-2-large; default: all of them
    gallery.py --docs            the pictures in docs/screenshots instead

A desktop is light or dark, scaled by 1, 1.25, 1.5 or 2, with text of the ordinary size or half as large again.
"""

import itertools
import os
import pathlib
import shutil
import subprocess
import sys

ROOT = pathlib.Path(__file__).resolve().parents[2]
PROGRAM = ROOT / "build/release/bin/tavro-gallery"
SCREEN = "3840x2160"  # room for the largest
ORDINARY_TEXT, LARGE_TEXT = 11, 16.5  # points
KINDS = ["light", "dark"], ["1", "1.25", "1.5", "2"], ["", "-large"]
DESKTOPS = [f"{colors}-{scale}{text}" for colors, scale, text in itertools.product(*KINDS)]
DOCS = ROOT / "docs/screenshots"
DOCS_TWICE = ["panel-recording", "panel-menu", "setup", "wizard-half"]  # also at scale 2


def take(scale, *arguments):
    environment = os.environ | {"QT_SCALE_FACTOR": scale}
    done = subprocess.run([PROGRAM, *arguments], check=False, env=environment, capture_output=True, text=True)
    if done.returncode != 0:
        sys.exit(done.stdout + done.stderr)


def show(desktop):
    colors, scale, *text = desktop.split("-")
    folder = ROOT / "build/gallery" / desktop
    shutil.rmtree(folder, ignore_errors=True)
    folder.mkdir(parents=True)
    points = LARGE_TEXT if text else ORDINARY_TEXT
    take(scale, "--text", str(points), *(["--dark"] if colors == "dark" else []), folder)
    sheet = folder.with_name(desktop + ".png")
    pictures = sorted(folder.glob("*.png"))
    layout = ["-geometry", "+8+8", "-gravity", "north", "-tile", "4x"]
    subprocess.run(["montage", "-label", "%t", *pictures, *layout, sheet], check=True)
    print(sheet, flush=True)


def main():
    if sys.argv[1:] == ["--docs"]:
        for old in DOCS.glob("*.png"):
            old.unlink()
        take("1", DOCS)
        take("2", DOCS, *DOCS_TWICE)
        return
    for desktop in sys.argv[1:] or DESKTOPS:
        show(desktop)


if __name__ == "__main__":
    if "TAVRO_DESKTOP" in os.environ:
        main()
    else:
        command = [ROOT / "tools/desktop/desktop.py", "--with", "x11,wm", "--geometry", SCREEN, "--"]
        command += [sys.executable, __file__, *sys.argv[1:]]
        sys.exit(subprocess.run(command, check=False).returncode)
