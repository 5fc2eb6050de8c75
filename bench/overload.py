#!/usr/bin/python3
"""What recorders keep of text that scrolls at 30 frames a second while other programs want all of the machine.

Busy loops, one spinning thread each, count what they get done. Of each recorder: the painted frames in its file
("held", of those painted between its first and its last), the longest time the file shows one picture ("hole", beside
the painter's own between two of its pictures in that time), CPU as in measure.py, and what the loops get done compared
with loops and painter alone before and after it. A bar is what we hold ourselves to.
"""

import argparse
import multiprocessing
import os
import pathlib
import subprocess
import sys
import tempfile
import time

import measure
import recorders
import usage
import video

LOADS = [2, 4]  # busy loops
HELD_BAR, HOLE_BAR, LEFT_BAR = 0.98, 0.15, 0.8  # share of the frames, seconds, share of the loops' work


def spin(done):
    while True:
        for _ in range(10000):
            pass
        done.value += 1


class BusyLoops:
    """Loops that spin until the block ends."""

    def __init__(self, number):
        self.done = [multiprocessing.RawValue("Q", 0) for _ in range(number)]
        self.processes = [multiprocessing.Process(target=spin, args=[done], daemon=True) for done in self.done]

    def __enter__(self):
        for process in self.processes:
            process.start()
        return self

    def __exit__(self, *_):
        for process in self.processes:
            process.terminate()
            process.join()

    def watched(self, *groups):
        """What the loops do in a second, and the CPU of each group of processes meanwhile."""
        before, start = sum(done.value for done in self.done), time.monotonic()
        shares = usage.percent_over(measure.WINDOW, *groups)
        return (sum(done.value for done in self.done) - before) / (time.monotonic() - start), *shares


def longest_step(times, numbers):
    """The longest time between one number and another."""
    changes = [times[0]] + [t for t, before, now in zip(times[1:], numbers, numbers[1:]) if now != before]
    return max((b - a for a, b in zip(changes, changes[1:])), default=0.0)


def record(recorder, loops, folder):
    folder.mkdir()
    recorder.start(folder, measure.WARM_UP + measure.WINDOW + measure.TAIL)
    time.sleep(measure.WARM_UP)
    watched = loops.watched([recorder.process.pid], measure.pids("x11"))
    if recorder.waits_for_stop:
        time.sleep(measure.TAIL)
    return watched, recorder.stop()


def run_load(number, scene, chosen, folder):
    server = measure.pids("x11")
    paintings = folder / "paintings"
    with open(paintings, "w", encoding="utf-8") as output:
        painter = usage.Programs([measure.PAINTER, *scene], output=output)
        with BusyLoops(number) as loops, painter:
            alone, taken = [loops.watched(server)], []
            for recorder in chosen:
                taken.append(record(recorder, loops, folder / recorder.name))
                alone.append(loops.watched(server))
    painted = dict(map(str.split, paintings.read_text().splitlines()))
    print(f"\n{str(number) + ' busy loops':16}{'CPU %':>8}{'held':>9}{'hole s':>8}{'painter s':>10}{'loops':>7}")
    kept = True
    for i, (recorder, ((work, own, spent), file)) in enumerate(zip(chosen, taken)):
        work_alone, server_alone = [sum(values) / 2 for values in zip(*alone[i : i + 2])]
        numbers = video.frame_numbers(file).tolist()
        first, last = min(numbers), max(numbers)
        held = len(set(numbers)) / (last - first + 1)
        hole = longest_step(video.frame_times(file), numbers)
        pictures = range(first, last + 1)
        own_hole = longest_step([float(painted[str(n)]) for n in pictures], pictures)
        left = work / work_alone
        print(f"  {recorder.name:14}{own + max(0.0, spent - server_alone):8.1f}{held:9.2%}{hole:8.3f}{own_hole:10.3f}"
              f"{left:7.2f}", flush=True)
        if recorder.name == "tavro":
            kept = held >= HELD_BAR and hole <= HOLE_BAR and left >= LEFT_BAR
    bars = f"held {HELD_BAR:.0%}, hole {HOLE_BAR} s, loops {LEFT_BAR}"
    print(f"  bars for tavro: {bars}{'' if kept else '  MISSED'}", flush=True)
    return kept


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("loads", nargs="*", type=int, metavar="LOOPS", help="busy loops; default: 2, then 4")
    parser.add_argument("--only", help="recorders, comma-separated")
    parser.add_argument("--scene", choices=measure.SCENES, help="instead of the text at 30 frames a second")
    arguments = parser.parse_args()
    scene = measure.SCENES[arguments.scene][1] if arguments.scene else ["scroll", "--rate", "30"]
    chosen = [r for r in recorders.available() if not arguments.only or r.name in arguments.only.split(",")]
    kept = []
    for number in arguments.loads or LOADS:
        with tempfile.TemporaryDirectory(prefix="tavro-bench-") as folder:
            kept.append(run_load(number, scene, chosen, pathlib.Path(folder)))
    return 0 if all(kept) else 1


if __name__ == "__main__":
    if "TAVRO_DESKTOP" not in os.environ:
        desktop = recorders.ROOT / "tools/desktop/desktop.py"
        command = [desktop, "--with", "x11,pulse", "--", "/usr/bin/python3", pathlib.Path(__file__).resolve()]
        sys.exit(subprocess.run([*command, *sys.argv[1:]], check=False).returncode)
    sys.exit(main())
