"""A desktop without a tray, or whose tray appears later."""

import configparser
import subprocess
import sys

import harness
from harness import check, driver, equal, wait_for


def desktop(*arguments):
    subprocess.run([sys.executable, driver.ROOT / "tools/desktop/desktop.py", *arguments], check=True)


def says_so_once_and_takes_the_tray_that_comes(scene):
    program = scene.start()
    told = driver.wait_notification("Tavro is running")
    check("Start Tavro again" in told["body"] and "Quit" in told["body"], told["body"])
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


def needs_no_tray_for_a_first_run_a_take_and_quit(scene):
    program = scene.start()
    program.wizard.wait_open()
    start_again = lambda: equal(driver.Program(program.executable).wait_end(), 0, "the second's exit code")
    focused = lambda: driver.run("xdotool", "getwindowfocus", "getwindowname").strip()
    wait_for(lambda: focused() == program.wizard.title, "the keyboard for the wizard")
    driver.run("xdotool", "key", "Escape")
    program.wizard.wait_closed()
    start_again()
    harness.start_take(program)
    start_again()
    wait_for(lambda: focused() == program.bar.title, "the keyboard for the bar")
    driver.run("xdotool", "key", "Return")  # Finish
    program.bar.wait_closed()
    wait_for(driver.opened, "the review page to be opened")

    quit_by_launcher = [program.executable, *launchers_command("quit")[1:]]
    equal(subprocess.run(quit_by_launcher, check=False).returncode, 0, "the exit code of the launcher's Quit")
    equal(program.wait_end(), 0, "the exit code")
    equal(subprocess.run(quit_by_launcher, check=False).returncode, 1, "the exit code without a program to end")


def launchers_command(action):
    entry = configparser.ConfigParser(interpolation=None)
    entry.optionxform = str
    entry.read(driver.ROOT / "packaging/com.quembridge.tavro.desktop")
    check(action in entry["Desktop Entry"]["Actions"].split(";"), f"“{action}” is not in the launcher's menu")
    return entry[f"Desktop Action {action}"]["Exec"].split()


harness.main([says_so_once_and_takes_the_tray_that_comes, needs_no_tray_for_a_first_run_a_take_and_quit])
