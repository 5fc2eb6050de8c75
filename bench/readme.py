"""The README's figures, from a run of app.py."""

import datetime
import os
import pathlib
import platform
import textwrap

README = pathlib.Path(__file__).resolve().parent.parent / "README.md"
BEGIN, END = "<!-- figures: ./dev bench app --readme -->\n", "<!-- end of the figures -->\n"
TEXT = """
While the screen stands still, recording it takes {cpu[a take without sound]:.1f} % of one core, with narration
{cpu[a narrated take]:.1f} %, and {memory[a narrated take]:.0f} MB of memory, {moving[a narrated take]:.0f} while all
of it moves. The tray icon alone takes {tray:.0f} MB and is there {start:.0f} ms after the start. Memory is what the
program costs the machine, its proportional set size: what it shares with other programs counts for its part.
(Measured on {day} on a virtual desktop: {cores} cores, {processor}, {system}.)
"""


def processor():
    names = [line for line in pathlib.Path("/proc/cpuinfo").read_text().splitlines() if line.startswith("model name")]
    return names[0].partition(":")[2].strip() if names else platform.machine()


def write(figures):
    """`figures` as app.py collects them, of all its measures."""
    text = TEXT.format(
        **figures,
        day=datetime.date.today().isoformat(),
        cores=os.cpu_count(),
        processor=processor(),
        system=platform.freedesktop_os_release()["PRETTY_NAME"],
    )
    before, _, rest = README.read_text().partition(BEGIN)
    _, found, after = rest.partition(END)
    if not found:
        raise SystemExit(f"{README} has no place for the figures")
    README.write_text(before + BEGIN + textwrap.fill(" ".join(text.split()), 120) + "\n" + END + after)
