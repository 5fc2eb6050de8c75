"""A display that cannot be captured: an X server without the DAMAGE extension."""

import harness
from harness import check


def setup_says_so_and_does_not_start(scene):
    scene.grant_all()
    program = scene.start(DISPLAY=scene.display("-extension", "DAMAGE"))
    program.tray.choose("New Session…")
    setup = program.setup.wait_open()
    program.wait_log("[ERROR] setup: CaptureCatalog.displays() failed: ")
    program.wait_log("[ERROR] setup: no displays available — Screen Recording permission is not active")
    setup.get("No screen available — grant Screen Recording, then Quit & Relaunch Tavro.")
    setup.get("Start").press_anyway()
    setup.get("Narrate with microphone").press()  # it still works
    check(setup.is_open() and not program.bar.is_open(), "started without a display")
    check(not any("session.begin" in line for line in program.log()), "began a session without a display")


harness.main([setup_says_so_and_does_not_start])
