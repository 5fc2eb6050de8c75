#!/usr/bin/python3
"""Tells how far sound and picture of a recording of flash-and-beep are apart, and how that moves.

    offsets.py FILE.mp4

Positive: the beep comes after the flash. Prints a line of JSON, in milliseconds.
"""

import json
import subprocess
import sys

import numpy

WIDTH, HEIGHT, RATE = 16, 8, 16000


def run(*command):
    return subprocess.run(command, check=True, stdout=subprocess.PIPE).stdout


def flashes(path):
    times = run("ffprobe", "-v", "error", "-select_streams", "v:0", "-show_entries", "frame=best_effort_timestamp_time",
                "-of", "csv=p=0", path).decode().replace(",", "").split()
    raw = run("ffmpeg", "-v", "error", "-i", path, "-map", "0:v:0", "-vf", f"scale={WIDTH}:{HEIGHT},format=gray",
              "-vsync", "passthrough", "-f", "rawvideo", "-")
    light = numpy.frombuffer(raw, numpy.uint8).reshape(-1, WIDTH * HEIGHT).mean(axis=1) > 100
    times = numpy.array([float(t) for t in times])[: len(light)]
    return times[1:][light[1:] & ~light[:-1]]


def beeps(path):
    start = float(run("ffprobe", "-v", "error", "-select_streams", "a:0", "-show_entries", "stream=start_time", "-of",
                      "csv=p=0", path).decode().strip().strip(","))
    raw = run("ffmpeg", "-v", "error", "-i", path, "-map", "0:a:0", "-ac", "1", "-ar", str(RATE), "-f", "s16le", "-")
    sound = numpy.abs(numpy.frombuffer(raw, numpy.int16).astype(float))
    loud = numpy.flatnonzero(sound > 3000)
    first = loud[numpy.diff(loud, prepend=-RATE) > RATE // 2]
    return start + first / RATE


def main():
    lit, heard = flashes(sys.argv[1]), beeps(sys.argv[1])
    offsets = numpy.array([(heard[numpy.abs(heard - t).argmin()] - t) * 1000 for t in lit if len(heard)])
    pairs = numpy.abs(offsets) < 500
    offsets, lit = offsets[pairs], lit[pairs]
    if not len(offsets):
        sys.exit("offsets: no flash with a beep beside it")
    some = max(1, min(5, len(offsets) // 3))
    begin, end = numpy.median(offsets[:some]), numpy.median(offsets[-some:])
    print(json.dumps({
        "pairs": len(offsets), "flashes": int(len(pairs)), "seconds": round(float(lit[-1] - lit[0]), 1),
        "first": round(float(offsets[0]), 1), "begin": round(float(begin), 1), "end": round(float(end), 1),
        "moved": round(float(end - begin), 1), "least": round(float(offsets.min()), 1),
        "most": round(float(offsets.max()), 1)}))


if __name__ == "__main__":
    main()
