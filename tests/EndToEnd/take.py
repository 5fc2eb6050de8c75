"""Takes with tavro-take, on a real X server with a moving picture: the files of a take and their contents.

    take.py TAVRO_TAKE TAVRO_PAINTER LOOPBACK_SERVICE"""

import json
import os
import pathlib
import signal
import subprocess
import sys
import time

import takes
from harness import Service, check, equal
from takes import LENGTH_TOLERANCE, check_video, probe

TAKE, PAINTER, SERVICE = sys.argv[1:4]


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
    check("using RecordingOutput" in home.log.read_text(), "the other path was taken")


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
    try:
        return takes.run(TESTS, TAKE)
    finally:
        painter.terminate()
        painter.wait()


if __name__ == "__main__":
    sys.exit(main())
