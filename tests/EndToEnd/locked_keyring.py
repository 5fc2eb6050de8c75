"""A token in a keyring that is locked or hangs at the start: the program uses the token once it is readable."""

import os
import signal
import subprocess

import harness
from harness import Failure, wait_for


def questions():
    command = ["xdotool", "search", "--onlyvisible", "--class", "gcr-prompter"]
    return subprocess.run(command, stdout=subprocess.PIPE, text=True, check=False).stdout.split()


def give_password():
    question = wait_for(questions, "the question for the password")[0]
    keys = ["key", "ctrl+a", *"password", "Return"]
    for again in (True, True, False):  # keys are lost until the field has the focus
        subprocess.run(["xdotool", "windowactivate", "--sync", question, *keys], check=False)
        try:
            wait_for(lambda: not questions(), "the keyring to be unlocked", 10)
            return
        except Failure:  # keys after the dialog has closed would press Done
            if not again:
                raise


def signs_in_when_it_is_unlocked(scene):
    service = scene.service()
    scene.grant_all()
    scene.sign_in()
    harness.lock_keyring()
    with subprocess.Popen(["/usr/libexec/gcr-prompter", "--no-timeout"]) as prompter:
        try:
            program = scene.start()
            wizard = program.wizard.wait_open()
            wizard.get("Not signed in")
            program.tray.choose("New Session…")
            program.setup.wait_open()
            program.wait_log("setup: loaded 2 scenario(s) for project prj_demo")  # of the local backend
            give_password()
            wizard.get("Signed in as your account")
            program.wait_log(f"backend: HTTPBackend → {service.url} (devMode=false, token=present)")
            program.wait_log("setup: loaded 1 scenario(s) for project prj_demo")  # of the service
            wizard.press("Done")
            wizard.wait_closed()
        finally:
            prompter.kill()


def starts_while_it_hangs(scene):
    service = scene.service()
    scene.grant_all()
    scene.sign_in()
    keyring = int((harness.environment("TAVRO_DESKTOP") / "keyring.pid").read_text())
    os.kill(keyring, signal.SIGSTOP)
    try:
        program = scene.launch()
        program.tray.choose("New Session…")  # the tray does not wait for the keyring
        program.wizard.wait_open().get("Not signed in")
        program.setup.wait_open()
    finally:
        os.kill(keyring, signal.SIGCONT)
    program.wizard.get("Signed in as your account")
    program.wait_log(f"backend: HTTPBackend → {service.url} (devMode=false, token=present)")


harness.main([signs_in_when_it_is_unlocked, starts_while_it_hangs])
