"""Programs of a private desktop: started, named by their service, and ended for certain."""

import ctypes
import os
import pathlib
import signal
import subprocess
import time

PR_SET_PDEATHSIG, PR_SET_CHILD_SUBREAPER = 1, 36


class StartError(Exception):
    pass


def prctl(option, value):
    ctypes.CDLL(None).prctl(option, value, 0, 0, 0)


def wait_for(condition, what, seconds=30):
    deadline = time.monotonic() + seconds
    while not condition():
        if time.monotonic() > deadline:
            raise StartError(f"{what} did not come up within {seconds} s")
        time.sleep(0.02)


def succeeds(*command):
    return subprocess.run(command, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL, check=False).returncode == 0


def output_of(*command):
    result = subprocess.run(command, stdout=subprocess.PIPE, stderr=subprocess.DEVNULL, text=True, check=False)
    return result.stdout


def has_name(name):
    call = ["gdbus", "call", "--session", "--dest", "org.freedesktop.DBus", "--object-path", "/", "--method"]
    return "true" in output_of(*call, "org.freedesktop.DBus.NameHasOwner", name)


def bus_property(name, path, interface, what):
    """As gdbus prints it; empty when there is none."""
    call = ["gdbus", "call", "--session", "--dest", name, "--object-path", path, "--method"]
    return output_of(*call, "org.freedesktop.DBus.Properties.Get", interface, what)


def write(file, text):
    file.parent.mkdir(parents=True, exist_ok=True)
    file.write_text(text)


def alive(pid):
    try:
        return open(f"/proc/{pid}/stat", encoding="ascii").read().rsplit(")", 1)[1].split()[0] != "Z"
    except OSError:
        return False


def end_stragglers():
    """Ends and reaps the processes that the services left to us as their subreaper."""
    while True:
        children = [int(pid) for pid in open("/proc/thread-self/children", encoding="ascii").read().split()]
        for pid in children:
            os.kill(pid, signal.SIGKILL)
            os.waitpid(pid, 0)
        if not children:
            return


class Processes:
    """The programs of one private desktop, with their state in one folder."""

    def __init__(self, root, bound_to_us):
        self.root = pathlib.Path(root)
        self.bound_to_us = bound_to_us  # services end with this process

    def spawn(self, service, command, stdin=None, **options):
        def in_child():
            os.setpgid(0, 0)
            if self.bound_to_us:
                prctl(PR_SET_PDEATHSIG, signal.SIGKILL)

        with open(self.root / f"{service}.log", "ab") as log:
            process = subprocess.Popen(
                command, stdin=stdin or subprocess.DEVNULL, stdout=log, stderr=log, preexec_fn=in_child, **options
            )
        with open(self.root / f"{service}.pid", "a", encoding="ascii") as pids:
            print(process.pid, file=pids)
        return process

    def pids(self, service):
        file = self.root / f"{service}.pid"
        return [int(line) for line in file.read_text().split()] if file.exists() else []

    def start(self, service):
        getattr(self, "start_" + service)()

    def stop(self, service, how=signal.SIGKILL):
        pids = self.pids(service)
        for pid in reversed(pids):
            try:
                os.kill(pid, how)
            except ProcessLookupError:
                pass
        try:
            wait_for(lambda: not any(alive(pid) for pid in pids), service, 3)
        except StartError:
            if how != signal.SIGKILL:
                self.stop(service)
        (self.root / f"{service}.pid").unlink(missing_ok=True)
