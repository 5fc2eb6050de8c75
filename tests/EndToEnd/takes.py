"""Shared code of the tests that drive tavro-take: the folders of a user, the checks of a film, the run of all tests."""

import json
import os
import pathlib
import struct
import subprocess
import tempfile

from harness import Failure, check, equal

LENGTH_TOLERANCE = 0.1  # seconds
# The file begins with its first picture, the session's clock later, when everything runs. The difference is small on
# an idle machine.
LONGEST_LEAD = 1.0


class Home:
    """The folders of a new user."""

    def __init__(self, program, folder):
        self.program = program
        self.folder = pathlib.Path(folder)
        self.work = self.folder / "cache/Tavro-recordings"
        self.sessions = self.folder / "data/Tavro/sessions"
        self.log = self.folder / "state/Logs/Tavro/tavro.log"

    def start(self, *arguments, stderr=subprocess.PIPE, preexec_fn=None, **variables):
        folders = {f"XDG_{name.upper()}_HOME": str(self.folder / name) for name in ("data", "cache", "state", "config")}
        environment = {**os.environ, **folders, **variables}
        environment.pop("TMPDIR", None)
        return subprocess.Popen(
            [self.program, *arguments],
            env=environment,
            stdout=subprocess.PIPE,
            stderr=stderr,
            preexec_fn=preexec_fn,
            text=True,
        )

    def run(self, *arguments, code=0, **variables):
        """The program's report; its standard error when a failure is expected."""
        process = self.start(*arguments, **variables)
        try:
            out, complaints = process.communicate(timeout=60)
        except subprocess.TimeoutExpired:
            process.kill()
            raise
        equal(process.returncode, code, f"exit code of {arguments}\n{complaints}")
        if code:
            equal(out, "", "standard output of a failure")
            return complaints
        equal(out.count("\n"), 1, "lines on standard output")
        return json.loads(out)

    def recordings(self):
        return sorted(path.name for path in self.work.iterdir())

    def events(self):
        (folder,) = self.sessions.iterdir()
        return json.loads((folder / "events.json").read_text())


def probe(video):
    """The streams by type, and the length in seconds."""
    command = ["ffprobe", "-v", "error", "-of", "json", "-show_streams", "-show_format", str(video)]
    found = json.loads(subprocess.run(command, check=True, capture_output=True, text=True).stdout)
    return {stream["codec_type"]: stream for stream in found["streams"]}, float(found["format"]["duration"])


def boxes(video):
    """The names of the file's top-level boxes, in order."""
    names = []
    with open(video, "rb") as file:
        while header := file.read(8):
            size, name = struct.unpack(">I4s", header)
            skip = size - 8
            if size == 1:
                skip = struct.unpack(">Q", file.read(8))[0] - 16
            file.seek(skip, 1)
            names.append(name.decode())
    return names


def check_video(video, seconds, sound=False):
    streams, length = probe(video)
    equal(sorted(streams), ["audio", "video"] if sound else ["video"], "streams")
    picture = streams["video"]
    equal((picture["codec_name"], picture["width"], picture["height"]), ("h264", 1920, 1080), "picture")
    lead = length - seconds
    right = -LENGTH_TOLERANCE <= lead <= LENGTH_TOLERANCE + LONGEST_LEAD
    check(right, f"the file is {length} s long, the take was {seconds} s")
    names = boxes(video)
    check(names.index("moov") < names.index("mdat") and "moof" not in names, f"boxes {names}")
    decode = ["ffprobe", "-v", "error", "-count_frames", "-show_entries", "stream=nb_read_frames", str(video)]
    decoded = subprocess.run(decode, capture_output=True)
    equal((decoded.returncode, decoded.stderr), (0, b""), "decoding")


def run(tests, program):
    """Runs each test in a new home. The exit code."""
    failed = 0
    for test in tests:
        with tempfile.TemporaryDirectory() as folder:
            home = Home(program, folder)
            try:
                test(home)
                print(f"ok    {test.__name__}", flush=True)
            except (Failure, OSError, subprocess.SubprocessError, ValueError, KeyError) as error:
                failed += 1
                print(f"FAIL  {test.__name__}: {type(error).__name__}: {error}", flush=True)
                print(home.log.read_text() if home.log.exists() else "no log", flush=True)
    return 1 if failed else 0
