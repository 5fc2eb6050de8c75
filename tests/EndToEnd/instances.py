"""One instance for each desktop session, and its D-Bus interface."""

import os
import signal

import dbus

import harness
from driver import owner
from harness import check, driver, equal, wait_for


def start_again(first):
    equal(driver.Program(first.executable).wait_end(), 0, "the second's exit code")


def second_start_opens_the_setup_window_of_the_first(scene):
    first = scene.start()
    start_again(first)
    first.setup.wait_open()
    equal(owner(), first.process.pid, "the owner of the name")
    equal(len([line for line in first.log() if line.endswith("Tavro launched")]), 1, "launches")


def second_start_during_a_take_gives_the_bar_the_keyboard(scene):
    first = scene.start()
    first.wizard.wait_open()  # the window in use
    start_again(first)
    harness.start_take(first)
    focused = lambda: driver.run("xdotool", "getwindowfocus", "getwindowname").strip()
    wait_for(lambda: focused() == first.wizard.title, "the keyboard to stay with the other window")
    start_again(first)
    wait_for(lambda: focused() == first.bar.title, "the keyboard for the bar")
    check(not first.setup.is_open(), "a setup window over the take")
    driver.run("xdotool", "key", "Return")  # Finish
    first.bar.wait_closed()
    wait_for(driver.opened, "the review page to be opened")
    start_again(first)
    first.setup.wait_open()


def start_while_the_other_ends_takes_over(scene):
    first = scene.start()
    first.process.send_signal(signal.SIGSTOP)
    second = scene.launch()
    wait_for(lambda: is_on_the_bus(second), "the second to turn to the first")
    first.process.kill()
    second.wait_log("Tavro launched")
    equal(owner(), second.process.pid, "the owner of the name")


def is_on_the_bus(program):
    bus = dbus.SessionBus()
    daemon = bus.get_object("org.freedesktop.DBus", "/")
    try:
        return program.process.pid in [daemon.GetConnectionUnixProcessID(name) for name in bus.list_names()]
    except dbus.DBusException:  # a process may end meanwhile
        return False


def actions_do_what_the_menu_does(scene):
    program = scene.start()
    program.ask("new-session")
    program.setup.wait_open().press("Cancel")
    program.setup.wait_closed()
    program.ask("view-logs")
    wait_for(driver.opened, "the log folder to be opened")
    program.ask("settings")
    program.wizard.wait_open()
    program.ask("no-such-action")
    program.ask("quit")
    equal(program.wait_end(), 0, "the exit code")


def a_start_by_the_bus_is_no_second_start(scene):
    template = (driver.ROOT / f"packaging/{driver.NAME}.service.in").read_text()
    driver.make_activatable(template.replace("@CMAKE_INSTALL_FULL_BINDIR@/tavro", scene.executables[0]))
    program = scene.launch(command=["gapplication", "launch", driver.NAME])
    program.follow()
    program.wizard.wait_open()
    program.wait_log("Tavro launched")
    check(not program.setup.is_open(), "the window of a second start")
    equal(driver.run("gapplication", "launch", driver.NAME), "", "what the second start says")
    program.setup.wait_open()
    program.ask("quit")
    wait_for(lambda: not owner(), "the program's end")

    driver.run("gapplication", "action", driver.NAME, "new-session")
    program.follow()
    program.setup.wait_open()
    program.ask("quit")
    wait_for(lambda: not owner(), "the program's end")


def relaunch_hands_over_to_a_new_instance(scene):
    program = scene.start()
    program.wizard.wait_open().press("Quit & Relaunch")
    equal(program.wait_end(), 0, "the exit code")
    old = program.process.pid
    program.follow()
    check(program.process.pid != old, "the old instance still has the name")
    program.wizard.wait_open()
    check(len(program.log()) > 2, "the new instance logs nothing")
    os.kill(program.process.pid, signal.SIGTERM)
    wait_for(lambda: not owner(), "the new instance's end")


def without_a_session_bus_it_runs_all_the_same(scene):
    program = scene.start(DBUS_SESSION_BUS_ADDRESS="unix:path=/nonexistent")
    line = program.wait_log("notification not shown (")
    check("Tavro is running" in line, line)  # there is no tray
    equal(program.stop(), 0, "the exit code")


harness.main(
    [
        second_start_opens_the_setup_window_of_the_first,
        second_start_during_a_take_gives_the_bar_the_keyboard,
        start_while_the_other_ends_takes_over,
        actions_do_what_the_menu_does,
        a_start_by_the_bus_is_no_second_start,
        relaunch_hands_over_to_a_new_instance,
        without_a_session_bus_it_runs_all_the_same,
    ]
)
