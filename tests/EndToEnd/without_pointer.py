"""A take from the first run to its review page: with the keyboard alone, then through the accessibility bus alone."""

import functools

import harness
from driver import Atspi
from harness import check, driver, environment, equal, wait_for


class Keyboard:
    """A user who sees the focus and has no pointer."""

    def key(self, *names):
        driver.run("xdotool", "key", *names)

    def focused(self, window):
        """The names and places of what has the focus."""
        return [(c.accessible.get_name(), c.rectangle()) for c in window.controls() if c.has(Atspi.StateType.FOCUSED)]

    def reach(self, window, name):
        title = lambda: driver.run("xdotool", "getwindowfocus", "getwindowname").strip()
        wait_for(lambda: title() == window.title, f"the keyboard for “{window.title}”")
        window.get(name)
        for _ in range(20):
            (now,) = wait_for(lambda: self.focused(window), f"a focus in “{window.title}”")
            if now[0] == name:
                return
            self.key("Tab")
            wait_for(lambda: self.focused(window) not in ([], [now]), f"the focus to leave “{now[0]}”")
        raise driver.Failure(f"“{name}” is not reached")

    def press(self, window, name):
        self.reach(window, name)
        self.key("Return")

    def choose(self, window, picker, item):
        self.press(window, picker)
        for _ in range(10):
            (now,) = wait_for(lambda: self.focused(window), "a current item")
            if now[0] == item:
                self.key("Return")
                return
            self.key("Down")
            wait_for(lambda: self.focused(window) not in ([], [now]), f"another item than “{now[0]}”")

    def choose_action(self, bar, ears, item):
        self.press(bar, "More")
        ears.wait_focused("Restart")
        self.key("Down")
        ears.wait_focused("Delete")
        self.key("Escape")
        ears.wait_focused("More")
        wait_for(lambda: not bar.find("Delete"), "the end of the menu")
        self.key("Return")
        ears.wait_focused(item)
        self.key("Return")

    def check_order(self, window):
        """The Tab key goes from left to right and from top to bottom, through all that can be used."""
        roles = ["push button", "check box", "combo box", "text"]
        usable = lambda c: c.accessible.get_role_name() in roles and c.is_enabled()
        controls = [(c.accessible.get_name(), c.rectangle()) for c in window.controls() if usable(c)]
        rows_then_columns = lambda c: (round((c[1][1] + c[1][3] / 2) / 12), c[1][0])
        expected = [name for name, _ in sorted(controls, key=rows_then_columns)]
        self.reach(window, expected[0])
        order = []
        for _ in expected:
            (now,) = wait_for(lambda: self.focused(window), "a focus")
            order.append(now[0])
            self.key("Tab")
            wait_for(lambda: self.focused(window) not in ([], [now]), f"the focus to leave “{now[0]}”")
        equal(order, expected, f"the order in “{window.title}”")

    def turn_to(self, program):
        start_again(program)


class Reader:
    """A user with nothing but what the accessibility bus tells and does."""

    def press(self, window, name):
        window.press(name, "push button")

    def choose(self, window, picker, item):
        window.press(picker, "combo box")
        window.press(item, "list item")

    def choose_action(self, bar, _, item):
        self.press(bar, "More")
        bar.press(item, "menu item")

    def check_order(self, window):
        pass

    def turn_to(self, program):
        pass


def start_again(program):
    equal(driver.Program(program.executable).wait_end(), 0, "the second's exit code")


def a_take_from_the_first_run_to_its_review(hands, scene):
    harness.browser()
    scene.service()
    driver.set_default("tavro.devMode", "true")  # the take stays here
    program = scene.start()
    ears = driver.Ears()
    wizard, setup, bar = program.wizard.wait_open(), program.setup, program.bar

    granted = lambda: wizard.names().count("Granted")
    wait_for(lambda: granted() == 1, "the screen alone to be granted")
    hands.check_order(wizard)
    for count in (2, 3):
        hands.press(wizard, "Grant")
        wait_for(lambda: granted() == count, f"{count} grants")
    hands.press(wizard, "Sign in with browser")
    ears.wait("object:state-changed:enabled", 1, "Done")
    hands.press(wizard, "Done")
    wizard.wait_closed()

    start_again(program)
    setup.wait_open()
    wait_for(lambda: setup.get("Start").is_enabled(), "the form to be complete")
    hands.check_order(setup)
    hands.choose(setup, "Scenario", "Returning customer")
    chosen = lambda: setup.get("Scenario", "combo box").accessible.get_description()
    wait_for(lambda: chosen() == "Returning customer", "the scenario to be chosen")
    hands.press(setup, "Start")
    program.wait_log("beginSession: control panel shown, recording active")
    ears.wait_shown("Recording")

    hands.turn_to(program)
    hands.check_order(bar)
    hands.press(bar, "Pause")
    ears.wait_shown("Paused")
    hands.press(bar, "Resume")
    ears.wait_shown("Recording")
    harness.let_time_pass(program, 2)
    hands.choose_action(bar, ears, "Restart")
    wait_for(lambda: "00:00" in bar.names() or "00:01" in bar.names(), "the clock to start again")
    harness.let_time_pass(program, 2)
    hands.press(bar, "Finish")

    told = driver.wait_notification("Recording saved")
    bar.wait_closed()
    (film,) = (environment("XDG_DATA_HOME") / "Tavro/sessions").glob("*/video.mp4")
    equal(told["body"], str(film), "the place told")
    check(1 < harness.probe(film)["seconds"] < 60, "the length of the film")
    driver.wait_opened((film.parent / "review.html").as_uri())
    check(not [line for line in program.log() if line.startswith("[ERROR]")], "errors in the log")


def escape_closes_every_window(scene):
    program = scene.start()
    keyboard = Keyboard()
    for window, open_it in ((program.wizard, lambda: None), (program.setup, lambda: start_again(program))):
        open_it()
        window.wait_open()
        wait_for(lambda: keyboard.focused(window), f"a focus in “{window.title}”")
        keyboard.key("Escape")
        window.wait_closed()


def what_is_disabled_is_told_so_and_cannot_be_pressed(scene):
    service = scene.service()
    service.control("misbehave", match="GET /api", status=500)
    scene.grant_all()
    scene.sign_in()
    program = scene.start()
    program.tray.choose("Settings…")
    wizard = program.wizard.wait_open()
    wait_for(lambda: wizard.get("Done").is_enabled(), "Done to be enabled")
    ears = driver.Ears()
    wizard.press("Sign out")
    ears.wait("object:state-changed:enabled", 0, "Done")
    wizard.get("Done").press_anyway()

    program.tray.choose("New Session…")
    setup = program.setup.wait_open()
    for failure in ("setup: listProjects failed", "setup: found "):
        program.wait_log(failure)
    check(not setup.get("Start").is_enabled(), "Start is enabled without a scenario")
    setup.get("Start").press_anyway()
    setup.press("Cancel")
    setup.wait_closed()
    check(wizard.is_open(), "a disabled Done has closed the wizard")
    check(not [line for line in program.log() if "beginSession" in line], "a disabled Start has begun a session")


def with_the_hands(hands):
    test = functools.partial(a_take_from_the_first_run_to_its_review, hands)
    test.__name__ = f"a_take_with_the_{type(hands).__name__.lower()}_alone"
    return test


harness.main(
    [
        with_the_hands(Keyboard()),
        with_the_hands(Reader()),
        escape_closes_every_window,
        what_is_disabled_is_told_so_and_cannot_be_pressed,
    ]
)
