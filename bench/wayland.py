#!/usr/bin/python3
"""Measures tavro-take against wf-recorder on a Wayland desktop (sway), in the same run: the columns of measure.py.

tavro-take records through the desktop's portal, wf-recorder asks the compositor itself. CPU is percent of one core:
the recorder's own, plus what the compositor, the portal, PipeWire and its session manager spend beyond what they spend
on the same screen unrecorded. The ratios are against wf-recorder at the same preset and CRF, and for each painted
frame, as a busy machine paints fewer for one than for the other; a bar is what we hold ourselves to.
"""

import argparse
import os
import pathlib
import subprocess
import sys

import measure
import recorders
import usage

SERVICES = ["sway", "portal", "pipewire"]
BARS = {"still": 0.8, "typing": 0.45, "scroll": 0.5, "motion30": 0.75, "motion60": 0.75}  # for the CPU ratio
HELD_BAR, MEMORY_BAR = 0.985, 110  # share of the frames of the text that scrolls; MB


def run_scene(scene, chosen):
    results = measure.record(scene, chosen, "the desktop", measure.pids(*SERVICES))
    cpu = "CPU" if scene == "still" else "CPU a painted frame"
    kept = measure.judge(results, "wf", {cpu: BARS[scene]}, held=HELD_BAR if scene == "scroll" else 0.0)
    if "tavro" in results:
        kept &= usage.verdict("memory (PSS)", results["tavro"]["memory"], MEMORY_BAR, "MB")
    return kept


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    named = f"of {', '.join(BARS)}; default: all"
    parser.add_argument("scenes", nargs="*", metavar="SCENE", choices=[[], *BARS], help=named)
    parser.add_argument("--only", help="recorders, comma-separated")
    arguments = parser.parse_args()
    chosen = [recorders.Tavro(), recorders.WfRecorder()]
    if arguments.only:
        chosen = [r for r in chosen if r.name in arguments.only.split(",")]
    kept = [run_scene(scene, chosen) for scene in arguments.scenes or BARS]
    return 0 if all(kept) else 1


if __name__ == "__main__":
    if "TAVRO_DESKTOP" not in os.environ and not {"-h", "--help"} & set(sys.argv):
        desktop = recorders.ROOT / "tools/desktop/desktop.py"
        command = [desktop, "--with", ",".join(["bus", *SERVICES]), "--", "/usr/bin/python3"]
        command += [pathlib.Path(__file__).resolve(), *sys.argv[1:]]
        sys.exit(subprocess.run(command, check=False).returncode)
    sys.exit(main())
