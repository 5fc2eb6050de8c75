#!/usr/bin/python3
"""Whole takes with narration. The one sound track has the computer's tone and the voice at the microphone. Sound
continues during a pause, and both tracks are as long as the take. What is seen and heard at one moment is at one
moment of the film, before and after a pause.

    narrated_take.py TAVRO_TAKE FLASH_AND_BEEP
"""

import json
import os
import pathlib
import subprocess
import sys
import tempfile

import numpy

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parents[3] / "bench/sync"))
import offsets  # noqa: E402

RATE = 16000
AMPLITUDE = 0.25


def run(*command):
    return subprocess.run(command, check=True, stdout=subprocess.PIPE).stdout


def sound(path):
    form = ["-ar", str(RATE), "-ac", "1", "-f", "s16le"]
    raw = run("ffmpeg", "-v", "error", "-i", str(path), "-map", "0:a:0", *form, "-")
    return numpy.frombuffer(raw, numpy.int16) / 32768


def streams(path):
    found = json.loads(run("ffprobe", "-v", "error", "-show_streams", "-of", "json", str(path)))["streams"]
    return {stream["codec_type"]: stream for stream in found}


def best_correlation(heard, needle):
    size = 1 << (len(heard) + len(needle)).bit_length()
    product = numpy.fft.irfft(numpy.fft.rfft(heard, size) * numpy.conj(numpy.fft.rfft(needle, size)), size)
    product = product[: len(heard) - len(needle)]
    power = numpy.cumsum(numpy.concatenate([[0], heard**2]))
    power = power[len(needle):-1] - power[: -len(needle) - 1]
    return numpy.max(numpy.abs(product) / numpy.sqrt(numpy.maximum(power, 1e-6) * numpy.sum(needle**2)))


def without(signal, frequency):
    spectrum = numpy.fft.rfft(signal)
    frequencies = numpy.fft.rfftfreq(len(signal), 1 / RATE)
    spectrum[numpy.abs(frequencies - frequency) < 15] = 0
    return numpy.fft.irfft(spectrum, len(signal))


def flashes_and_beeps():
    seen_and_heard = subprocess.Popen([sys.argv[2]], env=os.environ | {"PULSE_SINK": "micfeed"})
    try:
        report = json.loads(run(sys.argv[1], "--seconds", "14", "--narrate", "--pause", "4.5-8.5"))
    finally:
        seen_and_heard.terminate()
        seen_and_heard.wait()
    flashes, beeps = offsets.flashes(report["video"]), offsets.beeps(report["video"])
    print("flashes", flashes, "beeps", beeps)
    assert any(flashes < 4) and any(flashes > 9), "before and after the pause"
    apart = [min(abs(beeps - flash)) for flash in flashes if flash < 4 or flash > 9]
    assert max(apart) < 0.15, f"beeps are {apart} s from their flashes"


def voice_and_tone():
    folder = pathlib.Path(tempfile.mkdtemp(dir=os.environ["TAVRO_DESKTOP"]))
    tone, voice = folder / "tone.wav", folder / "voice.wav"
    run("sox", "-q", "-n", "-r", "48000", "-c", "2", str(tone), "synth", "30", "sine", "440", "vol", str(AMPLITUDE))
    run("espeak-ng", "-a", "60", "-w", str(voice), "The quick brown fox jumps over the lazy dog, and then once more")
    players = [subprocess.Popen(["paplay", "--latency-msec=20", "--device=speakers", str(tone)])]
    take = subprocess.Popen(
        [sys.argv[1], "--seconds", "10", "--narrate", "--pause", "3-8"], stdout=subprocess.PIPE, text=True)
    # The voice comes while the picture stands still.
    speaker = subprocess.Popen(["sh", "-c", f"sleep 3.5; exec paplay --device=micfeed {voice}"])
    report = json.loads(take.communicate(timeout=90)[0])
    for player in players + [speaker]:
        player.terminate()
        player.wait()

    video = pathlib.Path(report["video"])
    found = streams(video)
    assert found["audio"]["codec_name"] == "aac", found["audio"]["codec_name"]
    assert found["audio"]["sample_rate"] == str(RATE) and found["audio"]["channels"] == 1, found["audio"]
    lengths = {kind: float(stream["duration"]) for kind, stream in found.items()}
    print(report["durationSeconds"], lengths)
    assert abs(report["durationSeconds"] - 5) < 0.5, "the session's own time leaves the pause out"
    for kind, length in lengths.items():
        assert abs(length - 10) < 0.5, f"{kind}: {length} s of a take of 10 s"

    heard = sound(video)
    part = heard[1 * RATE: 3 * RATE]
    spectrum = numpy.abs(numpy.fft.rfft(part * numpy.hanning(len(part)))) * 4 / len(part)
    strongest = numpy.argmax(spectrum)
    level = 20 * numpy.log10(spectrum[strongest] / AMPLITUDE)
    print("tone", strongest * RATE / len(part), "Hz", level, "dB")
    assert abs(strongest * RATE / len(part) - 440) <= 1
    assert abs(level) < 1

    spoken = run("sox", str(voice), "-t", "s16", "-r", str(RATE), "-c", "1", "-")
    spoken = numpy.frombuffer(spoken, numpy.int16) / 32768
    needle = without(spoken, 440)[RATE // 2: 2 * RATE]
    correlation = best_correlation(without(heard, 440), needle)
    print("voice", correlation)
    assert correlation > 0.8


if __name__ == "__main__":
    voice_and_tone()
    flashes_and_beeps()
