"""Reads what a recording holds: which painted frames, and how close to what was painted."""

import json
import subprocess

import numpy

WIDTH, HEIGHT, CELLS, CELL = 1920, 1080, 24, 16


def decoded(file, filters, pixel_format, size):
    command = ["ffmpeg", "-nostdin", "-v", "error", "-i", str(file), "-vf", filters, "-fps_mode", "passthrough"]
    command += ["-enc_time_base", "1:1000000"]
    command += ["-pix_fmt", pixel_format, "-f", "rawvideo", "-"]
    data = subprocess.run(command, stdout=subprocess.PIPE, check=True).stdout
    return numpy.frombuffer(data, numpy.uint8).reshape(-1, *size)


def frame_numbers(file):
    """The painted number that each frame of the file shows, in the file's order."""
    strips = decoded(file, f"crop={CELLS * CELL}:{CELL}:0:0", "gray", (CELL, CELLS * CELL))
    centres = strips[:, CELL // 2, CELL // 2 :: CELL]
    return ((centres > 127) * (1 << numpy.arange(CELLS - 1, -1, -1))).sum(axis=1)


def frame_times(file):
    """When the file shows each of its frames, in seconds."""
    command = ["ffprobe", "-v", "error", "-select_streams", "v", "-show_entries", "packet=pts_time", "-of", "csv=p=0"]
    data = subprocess.run([*command, str(file)], stdout=subprocess.PIPE, check=True, text=True).stdout
    return sorted(float(line.strip(",")) for line in data.split())


def named(file, what):
    command = ["ffprobe", "-v", "error", "-show_entries", f"stream={what}", "-of", "csv=p=0", str(file)]
    return subprocess.run(command, stdout=subprocess.PIPE, check=True, text=True).stdout


def luma_weights(file):
    """Of red, green and blue, after the matrix that the file names; BT.601 when it names none."""
    return numpy.array([0.2126, 0.7152, 0.0722] if "bt709" in named(file, "color_space") else [0.299, 0.587, 0.114])


def pictures(file, indexes):
    """The luma, in limited range, of the named frames of the file, as decoded."""
    select = "+".join(f"eq(n\\,{i})" for i in indexes)
    luma = decoded(file, f"select={select},extractplanes=y", "gray", (HEIGHT, WIDTH)).astype(float)
    return 16 + luma * 219 / 255 if "pc" in named(file, "color_range") else luma


def painted(painter, scene, numbers, weights):
    """The luma, in limited range, of the pictures that were painted."""
    command = [str(painter), scene, "--render", ",".join(str(n) for n in numbers)]
    data = subprocess.run(command, stdout=subprocess.PIPE, check=True).stdout
    bgrx = numpy.frombuffer(data, numpy.uint8).reshape(-1, HEIGHT, WIDTH, 4)
    return 16 + bgrx[..., 2::-1].astype(float) @ weights * 219 / 255


def ssim(a, b):
    """Structural similarity of two pictures' luma over windows of 8×8 pixels."""

    def windows(picture):
        return picture.reshape(HEIGHT // 8, 8, WIDTH // 8, 8).swapaxes(1, 2).reshape(-1, 64)

    x, y = windows(a), windows(b)
    mx, my = x.mean(axis=1), y.mean(axis=1)
    vx, vy = x.var(axis=1), y.var(axis=1)
    cov = (x * y).mean(axis=1) - mx * my
    c1, c2 = (0.01 * 255) ** 2, (0.03 * 255) ** 2
    return float(((2 * mx * my + c1) * (2 * cov + c2) / ((mx**2 + my**2 + c1) * (vx + vy + c2))).mean())


def duration(file):
    command = ["ffprobe", "-v", "error", "-show_entries", "format=duration", "-of", "json", str(file)]
    return float(json.loads(subprocess.run(command, stdout=subprocess.PIPE, check=True).stdout)["format"]["duration"])


def quality(file, painter, scene, numbers, samples=8):
    """Mean similarity of some frames, evenly spread over the file, to the pictures that were painted."""
    indexes = numpy.unique(numpy.linspace(len(numbers) * 0.2, len(numbers) - 1, samples).astype(int))
    originals = painted(painter, scene, [numbers[i] for i in indexes], luma_weights(file))
    return float(numpy.mean([ssim(a, b) for a, b in zip(pictures(file, indexes), originals)]))
