"""Takes with tavro-take, on a real X server with a moving picture: the files of a take and their contents.

    take.py TAVRO_TAKE TAVRO_PAINTER LOOPBACK_SERVICE"""

import json
import os
import pathlib
import signal
import struct
import subprocess
import sys
import tempfile
import time

from harness import Failure, Service, check, equal

TAKE, PAINTER, SERVICE = sys.argv[1:4]
LENGTH_TOLERANCE = 0.1  # seconds
# The file begins with its first picture, the session's clock later, when everything runs. The difference is small on
# an idle machine.
LONGEST_LEAD = 1.0


class Home:
    """The folders of a new user."""

    def __init__(self, folder):
        self.folder = pathlib.Path(folder)
        self.work = self.folder / "cache/Tavro-recordings"
        self.sessions = self.folder / "data/Tavro/sessions"
        self.log = self.folder / "state/Logs/Tavro/tavro.log"

    def start(self, *arguments, stderr=subprocess.PIPE, preexec_fn=None, **variables):
        folders = {f"XDG_{name.upper()}_HOME": str(self.folder / name) for name in ("data", "cache", "state", "config")}
        environment = {**os.environ, **folders, **variables}
        environment.pop("TMPDIR", None)
        return subprocess.Popen(
            [TAKE, *arguments],
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


def a_take_from_begin_to_upload(home):
    report = home.run("--seconds", "4")
    equal(
        sorted(report), ["durationSeconds", "events", "framesDelivered", "framesDropped", "sessionId", "video"], "keys"
    )
    check_video(report["video"], report["durationSeconds"])
    check(abs(report["durationSeconds"] - 4) < 1, f"duration {report['durationSeconds']}")
    check(report["framesDelivered"] > 0, "no frame was delivered")
    folder = home.sessions / report["sessionId"]
    equal((report["video"], report["events"]), (f"{folder}/video.mp4", f"{folder}/events.json"), "places")
    equal(home.events(), [{"type": "finished", "durationSeconds": report["durationSeconds"]}], "events")
    for path in [home.work, *home.work.iterdir(), pathlib.Path(report["video"])]:
        equal(path.stat().st_mode & 0o077, 0, f"what others may do with {path}")

    home.run("--seconds", "0.5")
    check(not any(name.startswith(report["sessionId"]) for name in home.recordings()), "uploaded files were kept")


def a_take_through_the_recording_output(home):
    report = home.run("--seconds", "2", "--system-version", "15.0")
    check_video(report["video"], report["durationSeconds"])
    check("using SCRecordingOutput" in home.log.read_text(), "the other path was taken")


def pauses_are_reported_and_left_out_of_the_duration(home):
    report = home.run("--seconds", "5", "--pause", "1-2", "--pause", "3-4.5")
    duration = report["durationSeconds"]
    kinds = ["paused", "resumed", "paused", "resumed"]
    events = [{"type": kind} for kind in kinds] + [{"type": "finished", "durationSeconds": duration}]
    equal(home.events(), events, "events")
    check(abs(duration - 2.5) < 0.5, f"duration {duration}")
    check_video(report["video"], duration + 2.5)  # the picture may stand still that long


def a_restart_begins_from_zero(home):
    report = home.run("--seconds", "4", "--pause", "1-3", "--restart-at", "2")
    duration = report["durationSeconds"]
    equal([event["type"] for event in home.events()], ["paused", "finished"], "events")
    check(duration < 2.5, f"duration {duration}")
    check_video(report["video"], duration)


def a_deleted_session_leaves_nothing(home):
    report = home.run("--seconds", "9", "--delete-at", "1")
    equal((report["video"], report["events"]), (None, None), "video and events")
    equal((list(home.sessions.iterdir()), home.recordings()), ([], []), "what is left")


def sound_lies_beside_the_picture(home):
    report = home.run("--seconds", "3", "--narrate")
    check_video(report["video"], report["durationSeconds"], sound=True)
    streams, _ = probe(report["video"])
    lengths = [float(stream["duration"]) for stream in streams.values()]
    check(max(lengths) - min(lengths) <= LENGTH_TOLERANCE, f"picture and sound are {lengths} s long")
    check("[INFO] session.finish: mux succeeded" in home.log.read_text(), "nothing was joined")


def targets_that_are_not_there_leave_nothing(home):
    for kind in ("display", "window"):
        complaints = home.run("--seconds", "1", f"--{kind}", "77", code=1)
        check("tavro-take: Capture target not found" in complaints, complaints)
        for line in (
            f"[ERROR] filter: no {kind} matches id=77",
            "[ERROR] recorder.start: capture target not found (filter nil) — aborting session start",
        ):
            check(line in complaints and line in home.log.read_text(), f"{line!r} is missing")
        equal(home.recordings(), [], "recordings")
    complaints = home.run("--seconds", "1", code=1, DISPLAY=":4711")
    check("tavro-take: " in complaints, complaints)
    equal(home.recordings(), [], "recordings")


def an_interrupted_take_stays_as_a_finished_file(home):
    for number in (signal.SIGTERM, signal.SIGINT):
        process = home.start("--seconds", "60", "--narrate")
        for line in process.stderr:
            if "recording started" in line:
                break
        begun = time.monotonic()
        time.sleep(2)
        process.send_signal(number)
        out, complaints = process.communicate(timeout=60)
        check(process.returncode > 0, f"exit code {process.returncode}")  # not killed
        check(out == "" and "tavro-take: interrupted" in complaints, complaints)
        (muxed,) = home.work.glob("*-muxed.mp4")
        streams, length = probe(muxed)
        equal(sorted(streams), ["audio", "video"], "streams")
        check(1.5 < length < time.monotonic() - begun + 0.5, f"{length} s long")
        equal([list(folder.iterdir()) for folder in home.sessions.iterdir()], [[]], "what the backend knows")

        kept = home.recordings()
        report = home.run("--seconds", "0.5")
        check(set(kept) <= set(home.recordings()), "a session that was never uploaded lost its files")
        for name in kept:
            line = f"[INFO] recordings: kept {home.work / name}, its session was never uploaded"
            if not name.endswith(".json"):  # a note is no recording
                check(line in home.log.read_text(), f"{line!r} is missing")
            (home.work / name).unlink()
        for path in [*home.sessions.glob("*/*"), *home.sessions.iterdir()]:
            path.rmdir() if path.is_dir() else path.unlink()
        check(report["sessionId"] not in muxed.name, "two sessions of the same name")


def a_service_receives_the_take(home):
    service = Service(SERVICE)
    try:
        complaints = home.run("--seconds", "1", "--service", service.url, code=2)
        check("TAVRO_TAKE_TOKEN" in complaints, complaints)
        report = home.run("--seconds", "2", "--pause", "0.5-1", "--service", service.url, TAVRO_TAKE_TOKEN="token-1")
        check_video(report["video"], 2 + report["durationSeconds"] - 1.5)
        equal(service.events(), ["paused", "resumed", "finished"], "events")
        equal(len(service.uploads()), 1, "uploads")
        check(not home.sessions.exists() or not list(home.sessions.iterdir()), "a session beside the service's")
    finally:
        service.stop()


def a_take_survives_the_loss_of_standard_error(home):
    unread, gone = os.pipe()
    os.close(unread)
    for stream in ({"stderr": gone}, {"stderr": None, "preexec_fn": lambda: os.close(2)}):
        process = home.start("--seconds", "1", **stream)
        out, _ = process.communicate(timeout=60)
        equal(process.returncode, 0, f"exit code with {stream}")
        report = json.loads(out)
        check_video(report["video"], report["durationSeconds"])
        check("session.begin: recording started" in home.log.read_text(), "no log")
        home.log.unlink()
    os.close(gone)


def nonsense_is_refused(home):
    for arguments in (
        [],
        ["--seconds", "x"],
        ["--seconds", "-1"],
        ["--seconds", "3", "--pause", "2-1"],
        ["--seconds", "3", "--pause", "0-2", "--pause", "1-3"],
        ["--seconds", "3", "--window", "second"],
        ["--seconds", "3", "--system-version", "new"],
        ["--seconds", "3", "--service", "nowhere"],
        ["--seconds"],
        ["--loud", "3"],
    ):
        check("tavro-take --seconds S" in home.run(*arguments, code=2), f"no usage for {arguments}")
    check(not home.work.exists(), "something was begun")


TESTS = [
    a_take_from_begin_to_upload,
    a_take_through_the_recording_output,
    pauses_are_reported_and_left_out_of_the_duration,
    a_restart_begins_from_zero,
    a_deleted_session_leaves_nothing,
    sound_lies_beside_the_picture,
    targets_that_are_not_there_leave_nothing,
    an_interrupted_take_stays_as_a_finished_file,
    a_service_receives_the_take,
    a_take_survives_the_loss_of_standard_error,
    nonsense_is_refused,
]


def main():
    painter = subprocess.Popen([PAINTER, "motion", "--rate", "30"], stdout=subprocess.DEVNULL)
    failed = 0
    try:
        for test in TESTS:
            with tempfile.TemporaryDirectory() as folder:
                home = Home(folder)
                try:
                    test(home)
                    print(f"ok    {test.__name__}", flush=True)
                except (Failure, OSError, subprocess.SubprocessError, ValueError, KeyError) as error:
                    failed += 1
                    print(f"FAIL  {test.__name__}: {type(error).__name__}: {error}", flush=True)
                    print(home.log.read_text() if home.log.exists() else "no log", flush=True)
    finally:
        painter.terminate()
        painter.wait()
    return 1 if failed else 0


if __name__ == "__main__":
    sys.exit(main())
