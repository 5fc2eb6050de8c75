"""The first launch, with nothing stored: from the wizard to a session at the service."""

import harness
from harness import check, driver, equal, wait_for


def from_the_wizard_to_the_review_page(scene):
    harness.browser()
    service = scene.service()
    program = scene.start()
    equal(
        program.log()[:2],
        [
            "[INFO] backend: MockBackend (local files) — devMode=false, token=none, hasRealBackend=false",
            "[INFO] Tavro launched",
        ],
        "the log of a first launch",
    )

    wizard = program.wizard.wait_open()
    granted = lambda: wizard.names().count("Granted")
    wait_for(lambda: granted() == 1, "the screen alone to be granted")
    for count in (2, 3):  # microphone, then speech
        wizard.press("Grant")
        wait_for(lambda: granted() == count, f"{count} grants")
    check(not wizard.get("Done").is_enabled(), "Done is enabled before the sign-in")

    wizard.press("Sign in with browser")
    wizard.get("Signed in as tester@example.org")
    program.wait_log(f"signIn: opening browser → {service.url}/auth/app?cb=http://localhost:")
    wait_for(lambda: harness.token() == harness.TOKEN, "the token in the keyring")
    program.tray.choose("New Session…")
    program.setup.wait_open().get("Kept on this computer")  # until Done
    wizard.press("Done")
    wizard.wait_closed()
    program.wait_log(f"backend: HTTPBackend → {service.url} (devMode=false, token=present)")
    program.setup.get(f"Uploaded to {service.url.partition('//')[2]} as tester@example.org")

    program.tray.choose("New Session…")
    setup = program.setup.wait_open()
    program.wait_log("setup: loaded 1 project(s)")
    program.wait_log("setup: loaded 1 scenario(s) for project prj_demo")
    program.wait_log("setup: found 1 display(s): [")
    setup.get("+ New scenario name").type("Pay as a guest")
    setup.press("Add")
    wait_for(lambda: "Pay as a guest" in picked(setup, "Scenario"), "the new scenario to be selected")
    setup.get("App URL (optional)").type("https://shop.example.org/")
    setup.press("Start")
    program.wait_log("beginSession: control panel shown, recording active")
    setup.wait_closed()
    wait_for(lambda: program.tray.color() == harness.RECORD_COLOR, "the recording tint")

    bar = program.bar.wait_open()
    bar.press("Pause")
    bar.get("Resume").press()
    bar.get("Pause")
    harness.let_time_pass(program, 1)
    bar.press("More", "push button")
    bar.press("Restart")
    harness.let_time_pass(program, 2)
    bar.press("Finish")
    driver.wait_opened(f"{service.url}/sessions/ses_1/review")
    bar.wait_closed()
    wait_for(lambda: program.tray.color() != harness.RECORD_COLOR, "the tint to go")
    harness.log_has_in_order(
        program,
        "session.finish: mux succeeded → ses_1-muxed.mp4",
        f"finishSession: opened review {service.url}/sessions/ses_1/review",
    )

    equal(service.events(), ["paused", "resumed", "finished"], "the events at the service")
    sessions = [e for e in service.received() if e["line"].startswith("POST /api/app/sessions")]
    created = next(e for e in sessions if e["target"] == "/api/app/sessions")
    check("https://shop.example.org/" in created["body"], "the application's address: " + created["body"])
    (upload,) = service.uploads()
    video = scene.recordings / "ses_1-muxed.mp4"
    equal(upload["bodySize"], video.stat().st_size, "bytes uploaded")
    found = harness.probe(video)
    equal(found["codecs"], ["aac", "h264"], "codecs")
    check(1.5 < found["seconds"] < 30, f"a take of {found['seconds']} s after its restart")


def picked(window, label):
    control = window.find(label, "combo box")
    return control.accessible.get_description() if control else ""


def nothing_missing_builds_the_backend_twice(scene):
    service = scene.service()
    scene.grant_all()
    scene.sign_in()
    program = scene.start()
    line = f"[INFO] backend: HTTPBackend → {service.url} (devMode=false, token=present)"
    equal(program.log(), [line, line, "[INFO] Tavro launched"], "the log of a launch with nothing missing")
    check(not program.wizard.is_open(), "the wizard is open")

    program.tray.choose("Settings…")  # shows the wizard anyway
    program.wizard.wait_open().press("Sign out")
    program.wizard.get("Not signed in")
    wait_for(lambda: harness.token() == "", "the token to be gone from the keyring")


def a_token_of_version_01_is_taken_over(scene):
    service = scene.service()
    scene.grant_all()
    driver.sign_in(harness.TOKEN, driver.KEYRING_ITEM_OF_01)
    program = scene.start()
    line = f"[INFO] backend: HTTPBackend → {service.url} (devMode=false, token=present)"
    equal(program.log(), [line, line, "[INFO] Tavro launched"], "the log of a launch with nothing missing")
    wait_for(lambda: harness.token() == harness.TOKEN, "the token in its new place")
    wait_for(lambda: harness.token(driver.KEYRING_ITEM_OF_01) == "", "the token to be gone from its old place")


def developer_mode_wins_over_a_token(scene):
    scene.service()
    scene.grant_all()
    scene.sign_in()
    driver.set_default("tavro.devMode", "true")
    program = scene.start()
    equal(
        program.log()[0],
        "[INFO] backend: MockBackend (local files) — devMode=true, token=present, hasRealBackend=false",
        "the backend's line",
    )


harness.main(
    [
        from_the_wizard_to_the_review_page,
        nothing_missing_builds_the_backend_twice,
        a_token_of_version_01_is_taken_over,
        developer_mode_wins_over_a_token,
    ]
)
