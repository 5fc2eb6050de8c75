"""A desktop whose tray appears later."""

import subprocess
import sys

import harness
from harness import check, driver, equal, wait_for


def desktop(*arguments):
    subprocess.run([sys.executable, driver.ROOT / "tools/desktop/desktop.py", *arguments], check=True)


def says_so_once_and_takes_the_tray_that_comes(scene):
    program = scene.start()
    told = driver.wait_notification("Tavro is running")
    check("Start Tavro again" in told["body"], told["body"])
    second = driver.Program(program.executable)
    equal(second.wait_end(), 0, "the second's exit code")
    program.setup.wait_open().press("Cancel")

    for _ in range(2):  # the panel comes, goes and comes again
        desktop("--start", "panel")
        program.tray.wait()
        program.tray.choose("New Session…")
        program.setup.wait_open().press("Cancel")
        program.setup.wait_closed()
        desktop("--stop", "panel")
        wait_for(lambda: program.tray.item() is None, "the icon to go with its panel")
    equal(len(driver.notifications()), 1, "notifications")
    equal(program.stop(), 0, "the exit code")


harness.main([says_so_once_and_takes_the_tray_that_comes])
