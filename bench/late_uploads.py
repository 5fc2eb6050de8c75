"""Takes whose upload fails and that are killed at random moments, and what becomes of them at the next launch: each
has to be an ordinary film then, and on the service after one press, bit for bit as it lies in the folder."""

import concurrent.futures
import hashlib
import os
import subprocess
import sys
import tempfile
import time

import recorders
import usage

sys.path.insert(0, str(recorders.ROOT / "tests/EndToEnd"))
import harness  # noqa: E402  (the path comes first)
from harness import driver, wait_for  # noqa: E402

LENGTH = 6.0  # seconds of a take that is not killed before
EARLIEST, LATEST = 1.0, 7.5
PATIENCE = 180


def killed_take(service, number, delay):
    """A take, killed `delay` seconds after it began to record, if it has not ended before. Tells where it was."""
    command = [recorders.BIN / "tavro-take", "--seconds", str(LENGTH), "--service", service.url]
    command += ["--narrate"] if number % 2 else []
    token = {"TAVRO_TAKE_TOKEN": harness.TOKEN}
    with tempfile.TemporaryFile("w+", encoding="utf-8") as log:
        take = subprocess.Popen(command, stdout=subprocess.DEVNULL, stderr=log, env=os.environ | token)

        def said():
            log.seek(0)
            return log.read()

        usage.wait_for(lambda: "recording started (session=" in said(), "the take's start", take)
        session = said().split("recording started (session=")[1].split(")")[0]
        time.sleep(delay)
        ended = take.poll() is not None
        take.kill()
        take.wait()
    return session, "after its failed upload" if ended else f"after {delay:.2f} s"


def boxes(film):
    """The names of the file's top-level boxes."""
    shown = subprocess.run(["ffprobe", "-v", "trace", film], capture_output=True, text=True, check=False).stderr
    return [line.split("'")[1] for line in shown.splitlines() if "parent:'root'" in line]


def film_of(recordings, session):
    joined = recordings / f"{session}-muxed.mp4"
    return joined if joined.exists() else recordings / f"{session}.mp4"


def is_film(film):
    return "moov" in boxes(film) and "moof" not in boxes(film)


def judge(recordings, service, session):
    """What is wrong with the recording; nothing when all is well."""
    film = film_of(recordings, session)
    stored = [e for e in service.uploads() if e["target"].startswith(f"/store/{session}/") and e["complete"]]
    if not is_film(film):
        return "in fragments"
    try:
        harness.probe(film)
    except harness.Failure as problem:
        return str(problem)
    if not stored or stored[-1]["sha256"] != hashlib.sha256(film.read_bytes()).hexdigest():
        return "is not what the service has"
    if not any(e["line"].endswith(f"/{session}/video-uploaded") for e in service.received()):
        return "the service was not told of it"
    return ""


def run(delays, at_once):
    """Kills takes and makes up for their uploads. False when one of them did not arrive."""
    scene = harness.Scene(recorders.BIN / "tavro", recorders.BIN / "tavro-loopback-service")
    driver.grant_all()
    driver.sign_in(harness.TOKEN)
    service = scene.service()
    service.control("misbehave", match="PUT /store/", status=500)
    try:
        with usage.Programs([recorders.BIN / "tavro-painter", "scroll", "--rate", "30"]):
            with concurrent.futures.ThreadPoolExecutor(at_once) as pool:
                takes = list(pool.map(lambda each: killed_take(service, *each), enumerate(delays)))
        left = [film_of(scene.recordings, session) for session, _ in takes]
        print(f"  {len(takes)} takes, {sum(not is_film(film) for film in left)} of them in fragments", flush=True)
        service.control("behave")
        scene.start()
        told = driver.wait_notification("Recordings that were never uploaded")
        wait_for(lambda: all(is_film(film_of(scene.recordings, s)) for s, _ in takes), "whole films", PATIENCE)
        driver.click_notification(told, "Upload Again")
        ends = {"Recording uploaded", "Recordings uploaded", "The upload failed"}
        wait_for(lambda: ends & {n["summary"] for n in driver.notifications()}, "the end of the uploads", PATIENCE)
        found = [(session, when, judge(scene.recordings, service, session)) for session, when in takes]
    finally:
        scene.end()
    for session, when, problem in found:
        print(f"  {session}: killed {when}: {problem + '  MISSED' if problem else 'whole, and on the service'}")
    print(f"  {sum(not problem for *_, problem in found)} of {len(found)} arrived")
    return all(not problem for *_, problem in found)
