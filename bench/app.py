#!/usr/bin/python3
"""What the whole program takes: the time to its tray icon, memory in the tray, and memory and CPU while it records with
the bar shown, without narration, with a silent one, and with a spoken one, which moves the bar's level meter: a still
screen, then one that moves all over. Memory is what the program costs the machine: its proportional set size (PSS). A
bar is what we hold ourselves to.

    app.py [tray] [quiet] [narrated] [spoken]      in the tray, takes without narration and with it; default: all
    app.py --readme                                all, and writes the figures of README.md

TAVRO_PROGRAM names another program than the release build's.
"""

import os
import pathlib
import statistics
import subprocess
import sys
import time
import warnings

import readme
import recorders
import usage

SERVICES = "x11,wm,bus,panel,a11y,keyring,notify,pulse,stubopen"
PAINTER = recorders.BIN / "tavro-painter"
SETTLE, WINDOW, STARTS = 6.0, 20.0, 9  # seconds, seconds, times
START_BAR, TRAY_BAR, TAKE_BAR, CPU_BAR = 150, 60, 95, 1.0  # ms, MB, MB, percent of one core
FIGURES = {"cpu": {}, "memory": {}, "moving": {}}  # these three by the kind of take


def start_to_tray(driver):
    """Milliseconds."""
    start = time.monotonic()
    program = driver.Program()
    try:
        program.tray.wait()
        return 1000 * (time.monotonic() - start)
    finally:
        program.stop()


def in_the_tray(driver):
    starts = [start_to_tray(driver) for _ in range(STARTS)]
    print("  starts " + ", ".join(f"{start:.0f}" for start in starts) + " ms")
    FIGURES["start"] = statistics.median(starts)
    kept = usage.verdict("median from start to tray icon", FIGURES["start"], START_BAR, "ms")
    program = driver.Program()
    try:
        program.tray.wait()
        time.sleep(SETTLE)
        FIGURES["tray"] = usage.memory_mb(program.process.pid)
        kept &= usage.verdict("memory (PSS) in the tray", FIGURES["tray"], TRAY_BAR, "MB")
        (cpu,) = usage.percent_over(WINDOW, [program.process.pid])
        return usage.verdict("CPU in the tray", cpu, 0.01, "%") and kept
    finally:
        program.stop()


def speech():
    """A file with a minute of what a level meter sees of speech."""
    file = pathlib.Path(os.environ["TAVRO_DESKTOP"], "speech.wav")
    syllables = ["synth", "60", "brownnoise", "tremolo", "4", "100", "tremolo", "0.3", "90"]
    subprocess.run(["sox", "-n", "-r", "48000", file, *syllables], check=True)
    return file


def recording(driver, narrated, spoken=False):
    program = driver.Program()
    try:
        program.tray.choose("New Session…")
        setup = program.setup.wait_open()
        program.wait_log("setup: found ")
        if not narrated:
            setup.get("Narrate with microphone").press()
        setup.press("Start")
        program.wait_log("control panel shown")
        bar = program.bar.wait_open()
        with usage.Programs(*([["paplay", "--device=micfeed", speech()]] if spoken else [])):
            time.sleep(SETTLE)
            (cpu,) = usage.percent_over(WINDOW, [program.process.pid])
            memory = usage.memory_mb(program.process.pid)
        with usage.Programs([PAINTER, "motion", "--rate", "60", "--behind"]):
            time.sleep(SETTLE)
            moving = usage.memory_mb(program.process.pid)
        bar.press("Finish")
        driver.wait_notification("Recording saved")
    finally:
        program.stop()
    kind = "a spoken take" if spoken else "a narrated take" if narrated else "a take without sound"
    FIGURES["cpu"][kind], FIGURES["memory"][kind], FIGURES["moving"][kind] = cpu, memory, moving
    kept = narrated or usage.verdict(f"CPU in {kind}", cpu, CPU_BAR, "%")
    if narrated:
        print(f"  CPU in {kind} {cpu:.2f} %")
    kept &= usage.verdict(f"memory (PSS) in {kind}", memory, TAKE_BAR, "MB")
    return usage.verdict(f"memory (PSS) in {kind} while all of the screen moves", moving, TAKE_BAR, "MB") and kept


def main():
    warnings.simplefilter("ignore", DeprecationWarning)
    sys.path.insert(0, str(recorders.ROOT / "tools/desktop"))
    import driver  # needs the desktop

    # All granted and signed in, so that no window opens by itself; the local backend all the same.
    driver.grant_all()
    driver.sign_in("token")
    driver.set_default("tavro.devMode", "true")
    measures = {
        "tray": lambda: in_the_tray(driver),
        "quiet": lambda: recording(driver, narrated=False),
        "narrated": lambda: recording(driver, narrated=True),
        "spoken": lambda: recording(driver, narrated=True, spoken=True),
    }
    for_readme = sys.argv[1:] == ["--readme"]
    kept = all([measures[name]() for name in measures if for_readme or name in (sys.argv[1:] or measures)])
    if for_readme:
        readme.write(FIGURES)
    return kept


if __name__ == "__main__":
    if "TAVRO_DESKTOP" not in os.environ:
        desktop = recorders.ROOT / "tools/desktop/desktop.py"
        command = [desktop, "--with", SERVICES, "--", "/usr/bin/python3", pathlib.Path(__file__).resolve()]
        sys.exit(subprocess.run([*command, *sys.argv[1:]], check=False).returncode)
    sys.exit(0 if main() else 1)
