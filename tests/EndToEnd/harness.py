"""Shared code of the end-to-end tests. A test is a function; `main` runs the tests of a file, each in a new home,
against the program and the loopback service named on the command line."""

import contextlib
import json
import os
import pathlib
import shutil
import subprocess
import sys
import tempfile
import traceback
import urllib.request
import warnings

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parents[2] / "tools/desktop"))
warnings.simplefilter("ignore", DeprecationWarning)

import driver  # noqa: E402
from driver import Failure, environment, wait_for  # noqa: E402, F401

TOKEN = "token-1"


def check(condition, what):
    if not condition:
        raise Failure(what)


def equal(actual, expected, what):
    check(actual == expected, f"{what}: {actual!r}, expected {expected!r}")


class Service:
    """The loopback service, as a process."""

    def __init__(self, *command):
        self.process = subprocess.Popen(command, stdout=subprocess.PIPE, text=True)
        self.url = json.loads(self.process.stdout.readline())["url"]
        driver.set_default("tavro.backendURL", self.url)

    def control(self, verb, **arguments):
        request = urllib.request.Request(f"{self.url}/control/{verb}", json.dumps(arguments).encode(), method="POST")
        with urllib.request.urlopen(request, timeout=10) as reply:
            return json.load(reply)

    def received(self):
        return [entry for entry in self.control("received") if not entry["target"].startswith("/control/")]

    def events(self):
        """The types of the received live events, in order."""
        bodies = [entry["body"] for entry in self.received() if entry["kind"] == "message"]
        return [json.loads(body)["type"] for body in bodies]

    def uploads(self):
        return [entry for entry in self.received() if entry["method"] == "PUT"]

    def stop(self):
        self.process.kill()
        self.process.wait()


class Scene:
    """One test's home, program and service."""

    def __init__(self, program, service):
        self.executables = program, service
        self.programs, self.services, self.displays = [], [], []
        self.home = pathlib.Path(tempfile.mkdtemp(prefix="home-", dir=environment("TAVRO_DESKTOP")))
        for name in ("CONFIG", "DATA", "STATE", "CACHE"):
            os.environ[f"XDG_{name}_HOME"] = str(self.home / name.lower())
        for name in ("notifications.jsonl", "opened.txt"):
            (environment("TAVRO_DESKTOP") / name).unlink(missing_ok=True)
        self.recordings = environment("XDG_CACHE_HOME") / "Tavro-recordings"

    def launch(self, **variables):
        program = driver.Program(self.executables[0], **variables)
        self.programs.append(program)
        return program

    def start(self, **variables):
        program = self.launch(**variables)
        program.wait_log("Tavro launched")
        return program

    def service(self, *arguments):
        service = Service(self.executables[1], *arguments)
        self.services.append(service)
        return service

    def display(self, *arguments):
        """A further X server; returns its name."""
        command = ["Xvfb", "-displayfd", "1", "-nolisten", "tcp", *arguments]
        server = subprocess.Popen(command, stdout=subprocess.PIPE, stderr=subprocess.DEVNULL, text=True)
        self.displays.append(server)
        return ":" + server.stdout.readline().strip()

    def grant_all(self):
        driver.grant_all()

    def sign_in(self):
        driver.sign_in(TOKEN)

    def end(self):
        for program in self.programs:
            program.process.kill()
            program.process.wait()
        for service in self.services:
            service.stop()
        for server in self.displays:
            server.kill()
            server.wait()
        if shutil.which("secret-tool"):
            subprocess.run(["secret-tool", "clear", *driver.KEYRING_ITEM], check=False, stderr=subprocess.DEVNULL)


def token(item=None):
    command = ["secret-tool", "lookup", *(item or driver.KEYRING_ITEM)]
    found = subprocess.run(command, stdout=subprocess.PIPE, text=True, check=False)
    return found.stdout


def browser():
    """Puts a fake xdg-open first on the path. It records its argument, fetches web addresses and follows redirects."""
    folder = pathlib.Path(tempfile.mkdtemp(prefix="browser-", dir=environment("TAVRO_DESKTOP")))
    stub = folder / "xdg-open"
    stub.write_text(
        '#!/bin/sh\nprintf "%s\\n" "$1" >>"$TAVRO_DESKTOP/opened.txt"\n'
        'case "$1" in http*) exec curl --silent --location --max-time 20 --output /dev/null "$1" ;; esac\n'
    )
    stub.chmod(0o755)
    os.environ["PATH"] = f"{folder}:{os.environ['PATH']}"


def probe(video):
    """Decodes a video with ffmpeg; fails when it does not play to its end."""
    problems = subprocess.run(
        ["ffmpeg", "-v", "error", "-i", video, "-fps_mode", "passthrough", "-enc_time_base", "-1", "-f", "null", "-"],
        stderr=subprocess.PIPE,
        text=True,
        check=False,
    )
    equal(problems.stderr, "", f"what the decoder says of {video}")
    shown = driver.run("ffprobe", "-v", "error", "-show_streams", "-show_format", "-of", "json", str(video))
    found = json.loads(shown)
    return {
        "codecs": sorted(stream["codec_name"] for stream in found["streams"]),
        "seconds": float(found["format"]["duration"]),
    }


def let_time_pass(program, seconds):
    """Waits until the bar shows this many more seconds."""

    def shown():
        clocks = [name for name in program.bar.names() if len(name) == 5 and name[2] == ":"]
        return int(clocks[0][:2]) * 60 + int(clocks[0][3:]) if clocks else 0

    start = shown()
    wait_for(lambda: shown() >= start + seconds, f"{seconds} s on the bar's clock")


def lock_keyring():
    keyring = "/org/freedesktop/secrets/collection/login"
    subprocess.run(
        ["gdbus", "call", "--session", "-d", "org.freedesktop.secrets", "-o", "/org/freedesktop/secrets",
         "-m", "org.freedesktop.Secret.Service.Lock", f"['{keyring}']"],
        check=True, stdout=subprocess.DEVNULL,
    )


def signed_in(scene, *arguments):
    """A service, and a program that is signed in there and may record."""
    service = scene.service(*arguments)
    scene.grant_all()
    scene.sign_in()
    return service, scene.start()


def begin_session(program):
    """New Session…, Start; waits for the bar."""
    lines = len(program.log())
    program.tray.choose("New Session…")
    start_take(program, lines)


def start_take(program, after=0):
    """Starts a take in the open setup window, whose log lines come after the first `after`."""
    program.setup.wait_open()
    for list_loaded in ("scenario(s) for project", "setup: found "):
        program.wait_log(list_loaded, after=after)
    program.setup.press("Start")
    program.wait_log("beginSession: control panel shown, recording active", after=after)
    program.bar.wait_open()
    program.setup.wait_closed()


def log_has_in_order(program, *parts):
    lines = iter(program.log())
    for part in parts:
        check(any(part in line for line in lines), f"no “{part}” (in this order) in\n" + "\n".join(program.log()))


RECORD_COLOR = (214, 71, 59)  # Theme.record, rounded


def main(tests):
    program, service = sys.argv[1:3]
    failed = []
    for test in tests:
        print(f"--- {test.__name__}", flush=True)
        scene = Scene(program, service)
        try:
            test(scene)
        except Exception:  # noqa: BLE001  (a failed test must not hide the others)
            failed.append(test.__name__)
            traceback.print_exc()
            with contextlib.suppress(Exception):
                for each in scene.programs:
                    print("\n".join(each.log()))
                    for window in (each.wizard, each.setup, each.bar):
                        print(f"[{window.title}]", window.dump(), sep="\n")
                if os.environ.get("TAVRO_SCREENSHOTS"):
                    driver.screenshot(pathlib.Path(os.environ["TAVRO_SCREENSHOTS"], test.__name__ + ".png"))
        finally:
            scene.end()
    sys.exit(f"failed: {', '.join(failed)}" if failed else 0)
