"""Runs programs, tells what they use, and judges it."""

import pathlib
import subprocess
import time


def cpu_seconds(pid):
    return time.clock_gettime((~pid << 3) | 2)  # the process's own clock, as clock_getcpuclockid tells it


def percent_over(seconds, *groups):
    """Percent of one core that each group of processes spends."""

    def spent():
        return [sum(map(cpu_seconds, group)) for group in groups]

    before, start = spent(), time.monotonic()
    time.sleep(seconds)
    after, elapsed = spent(), time.monotonic() - start
    return [100 * (b - a) / elapsed for a, b in zip(before, after)]


def memory_mb(pid):
    """What the process costs the machine: its own memory and its share of what it has in common with others (PSS)."""
    for line in pathlib.Path(f"/proc/{pid}/smaps_rollup").read_text().splitlines():
        if line.startswith("Pss:"):
            return int(line.split()[1]) / 1024
    raise RuntimeError("no Pss")


def wait_for(condition, what, process, seconds=30):
    """Until the condition holds, as long as the process runs."""
    deadline = time.monotonic() + seconds
    while not condition():
        if process.poll() is not None or time.monotonic() > deadline:
            raise RuntimeError(f"{what} did not come")
        time.sleep(0.01)


def verdict(what, value, bar, unit):
    kept = value <= bar
    print(f"  {what} {value:.2f} {unit} (bar {bar:g}){'' if kept else '  MISSED'}", flush=True)
    return kept


class Programs:
    """Programs that end with the block."""

    def __init__(self, *commands, output=subprocess.DEVNULL):
        self.commands = commands
        self.output = output

    def __enter__(self):
        self.processes = [subprocess.Popen(c, stdout=self.output) for c in self.commands]
        time.sleep(1.5)

    def __exit__(self, *_):
        for process in self.processes:
            process.terminate()
            process.wait()
