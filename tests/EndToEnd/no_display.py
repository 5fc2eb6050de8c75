"""A display that cannot be captured: an X server without the DAMAGE extension."""

import subprocess

import harness
from harness import check, driver


def setup_says_so_and_does_not_start(scene):
    command = ["Xvfb", "-displayfd", "1", "-nolisten", "tcp", "-extension", "DAMAGE"]
    with subprocess.Popen(command, stdout=subprocess.PIPE, stderr=subprocess.DEVNULL, text=True) as server:
        try:
            scene.grant_all()
            program = scene.start(DISPLAY=":" + server.stdout.readline().strip())
            wizard = program.wizard.wait_open()
            wizard.press("Grant")  # the screen's: the others are granted
            told = driver.wait_notification("This screen cannot be recorded")
            check("DAMAGE" in told["body"], told["body"])

            program.tray.choose("New Session…")
            setup = program.setup.wait_open()
            program.wait_log("[ERROR] setup: CaptureCatalog.displays() failed: ")
            program.wait_log("[ERROR] setup: no displays available — Screen Recording permission is not active")
            setup.get("No screen available — grant Screen Recording, then Quit & Relaunch Tavro.")
            setup.press("Start")
            setup.get("Narrate with microphone").press()  # it still works
            check(setup.is_open() and not program.bar.is_open(), "started without a display")
            check(not any("session.begin" in line for line in program.log()), "began a session without a display")
            program.stop()
        finally:
            server.kill()


harness.main([setup_says_so_and_does_not_start])
