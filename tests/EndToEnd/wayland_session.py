"""A session on a Wayland desktop, where the desktop asks what to share."""

import subprocess
import sys

import harness
from harness import check, driver, equal, wait_for

import wayland  # of tools/desktop, where harness has pointed to

CHOICE = driver.environment("TAVRO_DESKTOP") / "portal-choice"
SCENARIO, ADDRESS, NARRATION = "Scenario", "App URL (optional)", "Narrate with microphone"


def told_of():
    """What the user was told, but for the tray that is not there."""
    return [n["summary"] for n in driver.notifications() if n["summary"] != "Tavro is running"]


def errors(program):
    return [line for line in program.log() if line.startswith("[ERROR]")]


def a_cancelled_dialog_gives_the_setup_window_back(scene):
    service, program = harness.signed_in(scene)
    program.ask("new-session")
    setup = program.setup.wait_open()
    hint = "Your desktop will ask what to share: choose HEADLESS-1"
    wait_for(lambda: any(name.startswith(hint) for name in setup.names()), "the hint")
    setup.get(ADDRESS).type("https://shop.example.org/")
    setup.press(NARRATION)

    CHOICE.write_text("")  # the user cancels
    for session in ("ses_1", "ses_2"):
        lines = len(program.log())
        setup.press("Start")
        program.wait_log("[INFO] beginSession: the user shared no screen", after=lines)
        setup.wait_open()
        withdrawn = lambda: any(e["line"].startswith(f"DELETE /api/app/sessions/{session}") for e in service.received())
        wait_for(withdrawn, f"the end of {session} at the service")
    equal(setup.get(ADDRESS).text(), "https://shop.example.org/", "the address")
    check(not setup.get(NARRATION).is_checked(), "narration is on again")
    equal((errors(program), told_of()), ([], []), "what is told of a dialog that was cancelled")

    CHOICE.write_text("HEADLESS-1")
    setup.press("Start")
    program.bar.wait_open()
    setup.wait_closed()
    begun = [e for e in service.received() if e["line"].startswith("POST") and e["target"] == "/api/app/sessions"]
    created = [e["body"] for e in begun]
    check(len(created) == 3 and all("https://shop.example.org/" in body for body in created), created)
    harness.let_time_pass(program, 1)
    program.bar.press("Finish")
    driver.wait_opened(f"{service.url}/sessions/ses_3/review")
    program.bar.wait_closed()


def a_desktop_that_stops_sharing_is_told_of(scene):
    service, program = harness.signed_in(scene)
    CHOICE.write_text("HEADLESS-1")
    program.ask("new-session")
    harness.start_take(program)
    stop = [sys.executable, driver.ROOT / "tools/desktop/desktop.py", "--stop", "portal"]
    subprocess.run(stop, check=True)
    told = driver.wait_notification("The desktop stopped sharing the screen")
    check("last picture" in told["body"], told["body"])
    harness.let_time_pass(program, 2)
    program.bar.press("Finish")
    driver.wait_opened(f"{service.url}/sessions/ses_1/review")
    check(harness.probe(scene.recordings / "ses_1-muxed.mp4")["seconds"] > 1.5, "the take ended with the sharing")
    equal(told_of(), [told["summary"]], "notifications")


def the_bars_menu_closes_when_the_pointer_has_left(scene):
    _, program = harness.signed_in(scene)
    CHOICE.write_text("HEADLESS-1")
    program.ask("new-session")
    harness.start_take(program)

    def go_to(control):
        x, y, width, height = control.rectangle()
        wayland.move_pointer(x + width // 2, y + height // 2)

    more = program.bar.get("More", "push button")
    go_to(more)
    more.press()
    delete = program.bar.get("Delete")
    go_to(delete)
    harness.let_time_pass(program, 2)
    check(program.bar.find("Delete"), "the menu has closed under the pointer")
    wayland.move_pointer(50, 50)  # the X server does not see clicks there
    wait_for(lambda: not program.bar.find("Delete"), "the end of the menu")
    program.bar.press("Finish")
    program.bar.wait_closed()


harness.main(
    [
        a_cancelled_dialog_gives_the_setup_window_back,
        the_bars_menu_closes_when_the_pointer_has_left,
        a_desktop_that_stops_sharing_is_told_of,
    ]
)
