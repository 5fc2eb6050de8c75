#!/usr/bin/python3
"""Measures what narration costs a take, and how sound and picture of it lie, on PulseAudio and on PipeWire.

CPU is percent of one core, as the median of alternating takes of the same still screen with and without narration,
while a tone plays and the microphone hears noise. Synchrony is that of a screen that flashes and beeps at the same
instant every two seconds: positive when the beep comes after the flash. A bar is what we hold ourselves to.
"""

import argparse
import json
import os
import pathlib
import statistics
import subprocess
import sys
import tempfile
import time

import recorders
import usage

HERE = pathlib.Path(__file__).resolve().parent
WARM_UP, WINDOW, TAIL, ROUNDS = 3.0, 10.0, 1.0, 3
CPU_BAR, START_BAR, MOVED_BAR, MEMORY_BAR = 2.0, 40.0, 20.0, 1.02  # percent, ms, ms, ratio
SERVERS = ["pulse", "pipewire"]
MEASURES = ["cost", "synchrony"]


def sound_server_pids(server):
    return [int(line) for line in pathlib.Path(os.environ["TAVRO_DESKTOP"], f"{server}.pid").read_text().split()]


def shares_of_take(server, options, folder):
    """Percent of one core of the take itself and of the sound server."""
    recorder = recorders.Tavro(*options)
    recorder.start(folder, WARM_UP + WINDOW + TAIL)
    time.sleep(WARM_UP)
    shares = usage.percent_over(WINDOW, [recorder.process.pid], sound_server_pids(server))
    recorder.stop()
    return shares


def measure_cost(server, _):
    print(f"\ncost of the sound, {server}:")
    with tempfile.TemporaryDirectory(prefix="tavro-bench-") as folder:
        sounds = []
        for name, sink, kind in [("tone", "speakers", ["sine", "440"]), ("noise", "micfeed", ["pinknoise"])]:
            file = f"{folder}/{name}.wav"
            subprocess.run(["sox", "-q", "-n", "-r", "48000", "-c", "1", file, "synth", "240", *kind, "vol", "0.3"],
                           check=True)
            sounds.append(["paplay", f"--device={sink}", file])
        without, narrated = [], []
        with usage.Programs([recorders.BIN / "tavro-painter", "still"], *sounds):
            for _ in range(ROUNDS):
                without.append(shares_of_take(server, [], pathlib.Path(folder)))
                narrated.append(shares_of_take(server, ["--narrate"], pathlib.Path(folder)))
    takes, servers = zip(*[[b - a for a, b in zip(*pair)] for pair in zip(without, narrated)])
    print(f"  take without {statistics.median(own for own, _ in without):.2f} %, "
          f"with {statistics.median(own for own, _ in narrated):.2f} %; differences "
          + ", ".join(f"{difference:.2f}" for difference in takes))
    print(f"  the sound server spends {statistics.median(servers):.2f} % more")
    return usage.verdict("the sound's share of the take", statistics.median(takes), CPU_BAR, "%")


def memory_over(process, seconds):
    """MB (PSS) at minute 1, or half-way through a shorter take, and shortly before the end."""
    marks, sizes, start = [min(60.0, seconds / 2), seconds - 2], [], time.monotonic()
    for mark in marks:
        time.sleep(max(0.0, start + mark - time.monotonic()))
        sizes.append(usage.memory_mb(process.pid))
    return marks[0] / 60, *sizes


def measure_synchrony(server, minutes):
    print(f"\nsynchrony over {minutes:g} min, {server}:", flush=True)
    seconds = 60 * minutes
    with tempfile.TemporaryDirectory(prefix="tavro-bench-") as folder:
        with usage.Programs([recorders.BIN / "flash-and-beep"]):
            recorder = recorders.Tavro("--narrate")
            recorder.start(pathlib.Path(folder), seconds)
            mark, early, late = memory_over(recorder.process, seconds)
            file = recorder.stop()
        found = json.loads(subprocess.run([HERE / "sync" / "offsets.py", str(file)], check=True,
                                          stdout=subprocess.PIPE).stdout)
    print(f"  {found['pairs']} of {found['flashes']} flashes with a beep, {found['least']} to {found['most']} ms apart")
    kept = usage.verdict("apart at the start", abs(found["begin"]), START_BAR, "ms")
    kept &= usage.verdict("moved until the end", abs(found["moved"]), MOVED_BAR, "ms")
    print(f"  memory (PSS) {early:.1f} MB at minute {mark:g}, {late:.1f} MB at the end")
    return usage.verdict("memory's growth, ratio", late / early, MEMORY_BAR, "") and kept


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("measures", nargs="*", metavar="MEASURE", help=f"of {', '.join(MEASURES)}; default: both")
    parser.add_argument("--server", action="append", choices=SERVERS, help="may be repeated; default: both")
    parser.add_argument("--sync-minutes", type=float, default=1.0, help="of the take for the synchrony; default 1")
    parser.add_argument("--inside", action="store_true", help=argparse.SUPPRESS)  # of the server's desktop
    arguments = parser.parse_args()
    if wrong := set(arguments.measures) - set(MEASURES):
        parser.error(f"no such measure: {', '.join(wrong)}")
    measures = arguments.measures or MEASURES
    if arguments.inside:
        steps = {"cost": measure_cost, "synchrony": measure_synchrony}
        return 0 if all([steps[m](arguments.server[0], arguments.sync_minutes) for m in measures]) else 1
    codes = []
    for server in arguments.server or SERVERS:
        command = [sys.executable, str(HERE.parent / "tools/desktop/desktop.py"), "--with", f"x11,{server}", "--"]
        command += [sys.executable, __file__, *measures, "--inside", "--server", server]
        codes.append(subprocess.run([*command, f"--sync-minutes={arguments.sync_minutes}"], check=False).returncode)
    return max(codes)


if __name__ == "__main__":
    sys.exit(main())
