"""What the user is told of each failure, in words: what happened, what became of the recording, what to do. The log
has the details."""

import os
import re
import subprocess

import harness
from harness import check, driver, equal

NOT_STARTED, NOT_UPLOADED = "The recording did not start", "The recording was not uploaded"
AGAIN = "Tavro offers to upload it again, here and at its next start."
KEPT = "The recording is kept in {recordings}/ses_1-muxed.mp4"


def open_setup(program):
    """The setup window, once all its lists are there or have failed."""
    lines = len(program.log())
    program.tray.choose("New Session…")
    program.wait_log("setup: found 1 display(s)", after=lines)
    return program.setup.wait_open()


def press_start(program):
    open_setup(program).press("Start")


def finish(program):
    harness.begin_session(program)
    harness.let_time_pass(program, 1)
    program.bar.press("Finish")
    program.bar.wait_closed()


def untrusted_service(scene):
    """A service over TLS, whose certificate nobody has signed."""
    key, certificate = scene.home / "key.pem", scene.home / "certificate.pem"
    command = ["openssl", "req", "-x509", "-newkey", "rsa:2048", "-nodes", "-days", "2", "-subj", "/CN=localhost"]
    command += ["-addext", "subjectAltName=DNS:localhost,IP:127.0.0.1", "-keyout", key, "-out", certificate]
    subprocess.run(command, check=True, stderr=subprocess.DEVNULL)
    return scene.service("--certificate", str(certificate), "--key", str(key))


# Each provokes one failure in a program that it returns.


def start_during_a_take(scene):
    _, program = harness.signed_in(scene)
    harness.begin_session(program)
    press_start(program)
    driver.wait_notification(NOT_STARTED)
    harness.let_time_pass(program, 1)  # in the bar of the take that goes on
    return program


def service_with_a_fault(scene):
    service, program = harness.signed_in(scene)
    service.control("misbehave", match="POST /api/app/sessions", status=500)
    press_start(program)
    return program


def service_that_ends_before_the_take(scene):
    service, program = harness.signed_in(scene)
    setup = open_setup(program)
    service.stop()
    setup.press("Start")
    return program


def service_that_ends_during_the_take(scene):
    service, program = harness.signed_in(scene)
    harness.begin_session(program)
    service.stop()
    harness.let_time_pass(program, 1)
    program.bar.press("Finish")
    program.bar.wait_closed()
    return program


def store_that_refuses(scene):
    service, program = harness.signed_in(scene)
    service.control("misbehave", match="PUT /store/", status=403)
    finish(program)
    return program


def store_that_nobody_trusts(scene):
    store = untrusted_service(scene)
    _, program = harness.signed_in(scene, "--store", f"{store.url}/store/{{id}}.mp4")
    finish(program)
    return program


def service_that_cannot_be_reached(scene):
    service, program = harness.signed_in(scene)
    service.stop()
    open_setup(program)
    return program


def service_that_nobody_trusts(scene):
    untrusted_service(scene)
    scene.grant_all()
    scene.sign_in()
    program = scene.start()
    open_setup(program)
    return program


def disk_that_is_full(scene):
    """In a mount name space of its own, as root or in a user name space."""
    own = "--mount" if os.getuid() == 0 else "--mount --map-current-user --keep-caps"
    small = scene.home / "on-a-small-disk"
    mount = 'mount -t tmpfs -o size=500m none "$XDG_CACHE_HOME"'
    small.write_text(f"#!/bin/sh\nexec unshare {own} sh -c '{mount} && exec {scene.executables[0]}'\n")
    small.chmod(0o755)
    scene.recordings.parent.mkdir(parents=True)
    scene.executables = str(small), scene.executables[1]
    scene.grant_all()
    program = scene.start()
    press_start(program)
    return program


def screen_that_cannot_be_captured(scene):
    scene.grant_all()
    display = scene.display("-extension", "DAMAGE")
    program = scene.start(DISPLAY=display)
    program.wizard.wait_open().press("Grant")  # the screen's: the others are granted
    return program


def keyring_that_stays_locked(scene):
    harness.browser()
    scene.service()
    harness.lock_keyring()  # and there is nobody to ask for the password
    program = scene.start()
    program.wizard.wait_open().press("Sign in with browser")
    return program


# The failure, where it is told (a notification's summary, or the setup window), what is told, and what the log says.
TABLE = [
    (
        start_during_a_take, NOT_STARTED,
        "Another session is still under way.\nIts recording is not affected.\n"
        "Finish it, or wait until its upload has ended.",
        "[domain=Tavro.SessionStateMachine.TransitionError code=0]",
    ),
    (
        service_with_a_fault, NOT_STARTED,
        "The service has a fault and refused the new session (HTTP 500).\nNothing was recorded.\nTry again later.",
        "/api/app/sessions was answered with HTTP 500",
    ),
    (
        service_that_ends_before_the_take, NOT_STARTED,
        "The service cannot be reached.\nNothing was recorded.\n"
        "Check the network connection and the service's address.",
        "[domain=QNetworkReply code=1]",
    ),
    (
        service_that_ends_during_the_take, NOT_UPLOADED,
        f"The connection to the service broke off.\n{KEPT}\nCheck the network connection. {AGAIN}",
        "[ERROR] finish failed: Error Domain=QWebSocket Code=1 ",
    ),
    (
        store_that_refuses, NOT_UPLOADED,
        f"The service refused the upload (HTTP 403).\n{KEPT}\nAsk whoever runs the service. {AGAIN}",
        "/store/ses_1/video.mp4 was answered with HTTP 403",
    ),
    (
        store_that_nobody_trusts, NOT_UPLOADED,
        "There is no secure connection to the service: its certificate could not be verified.\n"
        f"{KEPT}\nCheck this computer's date, or ask whoever runs the service. {AGAIN}",
        "[ERROR] finish failed: Error Domain=curl Code=60 ",
    ),
    (
        service_that_cannot_be_reached, None,
        "The service cannot be reached. Check the network connection and the service's address.",
        "[ERROR] setup: listProjects failed: Connection refused",
    ),
    (
        service_that_nobody_trusts, None,
        "There is no secure connection to the service: its certificate could not be verified. "
        "Check this computer's date, or ask whoever runs the service.",
        "[ERROR] setup: listProjects failed: SSL handshake failed",
    ),
    (
        disk_that_is_full, NOT_STARTED,
        "Only 524 MB are free in {recordings}.\nNothing was recorded.\nMake room: a recording needs at least 1 GB.",
        "[ERROR] beginSession: not started, 5242",
    ),
    (
        screen_that_cannot_be_captured, "This screen cannot be recorded",
        "The X server has no DAMAGE extension.", "[INFO] Tavro launched",
    ),
    (
        keyring_that_stays_locked, "The sign-in was not stored",
        "The keyring stayed locked.\nYou stay signed in until Tavro ends.\nUnlock it, then sign in again.",
        "[ERROR] secrets: tavro-worker-auth-token was not stored, the keyring stayed locked",
    ),
]


def walk(failure, summary, words, logged):
    def test(scene):
        program = failure(scene)
        expected = words.format(recordings=scene.recordings)
        if summary:
            equal(driver.wait_notification(summary)["body"], expected, "what is told")
            equal(len(driver.notifications()), 1, "notifications")
        else:
            program.setup.get(expected)
            program.setup.get("Try Again", "push button")
        check(not re.search(r"error \d|Domain|Code=|code=|Tavro\.|QNetwork|curl|std::", expected), expected)
        program.wait_log(logged)

    test.__name__ = failure.__name__
    return test


harness.main([walk(*row) for row in TABLE])
