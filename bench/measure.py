#!/usr/bin/python3
"""Measures tavro-take against other recorders on the same screens, in the same run.

CPU is percent of one core: the recorder's own, plus what the X server spends beyond what it spends on the same
screen unrecorded. "PSS MB" is the recorder's memory, as its proportional set size. "held" counts the painted frames
that are in the file, of those painted between its first and its last, "painted" how many those were a second: fewer
than the scene's rate when the machine is too busy for the painter; "SSIM" compares frames of the file with the
pictures painted. Larger screens are recorded at 1920×1080. The ratios are against ffmpeg's x11grab at the same preset
and CRF; a bar is what we hold ourselves to.
"""

import argparse
import math
import os
import pathlib
import subprocess
import sys
import tempfile
import time

import recorders
import usage
import video

PAINTER = recorders.BIN / "tavro-painter"
WARM_UP, WINDOW, TAIL = 2.0, 8.0, 1.0

# scene: (screen, painter's arguments, bar for the CPU ratio)
SCENES = {
    "still": ("1920x1080", ["still"], 1 / 50),
    "typing": ("1920x1080", ["typing", "--rate", "8"], 1 / 12),
    "scroll": ("1920x1080", ["scroll", "--rate", "60"], 0.6),
    "motion30": ("1920x1080", ["motion", "--rate", "30"], 0.6),
    "motion60": ("1920x1080", ["motion", "--rate", "60"], 0.85),
    "noise60": ("1920x1080", ["noise", "--rate", "60"], 0.7),
    "4k": ("3840x2160", ["scroll", "--rate", "60"], 0.6),
}


def pids(*services):
    """The processes of services of the desktop."""
    files = [pathlib.Path(os.environ["TAVRO_DESKTOP"], f"{service}.pid") for service in services]
    return [int(pid) for file in files for pid in file.read_text().split()]


def measure(recorder, scene, servers, servers_base, folder):
    recorder.start(folder, WARM_UP + WINDOW + TAIL)
    time.sleep(WARM_UP)
    own, spent = usage.percent_over(WINDOW, [recorder.process.pid], servers)
    memory = usage.memory_mb(recorder.process.pid)
    if recorder.waits_for_stop:
        time.sleep(TAIL)
    file = recorder.stop()
    used = {"cpu": own + max(0.0, spent - servers_base), "own": own, "memory": memory}
    return used | contents(file, scene)


def contents(file, scene):
    numbers = video.frame_numbers(file)
    if len(numbers) == 0:  # wf-recorder's file of a still screen lasts no time and shows nothing
        return dict.fromkeys(("painted", "held", "kbps", "ssim"), math.nan) | {"order": True, "frames": 0}
    span = int(numbers.max() - numbers.min()) + 1
    length = video.duration(file)
    return {
        "painted": span / length,
        "held": len(set(numbers.tolist())) / span,
        "order": bool((numbers[1:] >= numbers[:-1]).all()),
        "frames": len(numbers),
        "kbps": file.stat().st_size * 8 / 1000 / length,
        "ssim": video.quality(file, PAINTER, scene, numbers.tolist()),
    }


def record(scene, chosen, what, servers):
    """What each recorder takes of the scene and makes of it, printed, and by the recorder's name."""
    _, arguments, _ = SCENES[scene]
    results = {}
    with usage.Programs([PAINTER, *arguments]):
        (base,) = usage.percent_over(4, servers)
        print(f"\n{scene}: {what} alone {base:.1f} %")
        print(
            f"  {'':8}{'CPU %':>8}{'own %':>8}{'PSS MB':>8}{'painted':>9}{'held':>9}{'frames':>8}{'kbit/s':>9}"
            f"{'SSIM':>9}"
        )
        for recorder in chosen:
            with tempfile.TemporaryDirectory(prefix="tavro-bench-") as folder:
                r = results[recorder.name] = measure(recorder, arguments[0], servers, base, pathlib.Path(folder))
            order = "" if r["order"] else "  out of order!"
            print(
                f"  {recorder.name:8}{r['cpu']:8.2f}{r['own']:8.2f}{r['memory']:8.0f}{r['painted']:9.1f}"
                f"{r['held']:9.2%}{r['frames']:8}{r['kbps']:9.0f}{r['ssim']:9.5f}{order}",
                flush=True,
            )
    return results


COMPARED = {
    "CPU": lambda result: result["cpu"],
    "CPU a painted frame": lambda result: result["cpu"] / result["painted"],
    "memory": lambda result: result["memory"],
    "size a held frame": lambda result: result["kbps"] / result["held"],
}


def judge(results, peer, bars, held=0.0):
    """Holds ours to bars for its ratios to the peer's numbers, and for the share of the frames that it held."""
    if not {"tavro", peer} <= results.keys():
        return True
    ours, peers = results["tavro"], results[peer]
    as_similar = not ours["ssim"] < peers["ssim"]  # also to nothing
    kept = ours["order"] and as_similar
    for name, limit in bars.items():
        ratio = COMPARED[name](ours) / COMPARED[name](peers)
        kept &= ratio <= limit
        print(f"  {name} ratio {ratio:.3f} (bar {limit:.3f}){'' if ratio <= limit else '  MISSED'}")
    if held:
        kept &= ours["held"] >= held
        print(f"  held {ours['held']:.2%} (bar {held:.1%}){'' if ours['held'] >= held else '  MISSED'}")
    print(f"  SSIM {ours['ssim']:.5f} against {peers['ssim']:.5f}{'' if as_similar else '  MISSED'}")
    return kept


def run_scene(scene, chosen):
    _, arguments, bar = SCENES[scene]
    results = record(scene, chosen, "X server", pids("x11"))
    bars = {"CPU": bar, "memory": 0.5, "size a held frame": 1.1}
    return judge(results, "ffmpeg", bars, held=0.99 if arguments[0] == "scroll" else 0.0)


def on_desktops(scenes, options):
    """Measures the scenes of each screen size on a desktop of that size."""
    kept = True
    desktop = recorders.ROOT / "tools/desktop/desktop.py"
    for size in dict.fromkeys(SCENES[scene][0] for scene in scenes):
        command = [desktop, "--with", "x11,pulse", "--geometry", size, "--", pathlib.Path(__file__).resolve()]
        command += [scene for scene in scenes if SCENES[scene][0] == size]
        kept &= subprocess.run([*command, *options], check=False).returncode == 0
    return kept


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    named = f"of {', '.join(SCENES)}; default: all"
    parser.add_argument("scenes", nargs="*", metavar="SCENE", choices=[[], *SCENES], help=named)
    parser.add_argument("--only", help="recorders, comma-separated")
    arguments = parser.parse_args()
    scenes = arguments.scenes or list(SCENES)
    if "TAVRO_DESKTOP" not in os.environ:
        return 0 if on_desktops(scenes, ["--only", arguments.only] if arguments.only else []) else 1
    chosen = recorders.available()
    if arguments.only:
        chosen = [r for r in chosen if r.name in arguments.only.split(",")]
    kept = [run_scene(scene, chosen) for scene in scenes]
    return 0 if all(kept) else 1


if __name__ == "__main__":
    sys.exit(main())
