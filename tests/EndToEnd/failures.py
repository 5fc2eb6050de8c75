"""Failures around a session, and what the user sees of them."""

import harness
from harness import check, driver, equal, wait_for


def upload_that_fails_keeps_the_recording(scene):
    service, program = harness.signed_in(scene)
    service.control("misbehave", match="PUT /store/", status=403)
    harness.begin_session(program)
    harness.let_time_pass(program, 1)
    program.bar.press("Finish")

    told = driver.wait_notification("The recording was not uploaded")
    program.wait_log("[ERROR] finish failed: ")
    driver.wait_opened(f"{service.url}/sessions/ses_1/review")
    program.bar.wait_closed()
    wait_for(lambda: program.tray.color() != harness.RECORD_COLOR, "the tint to go")
    video = scene.recordings / "ses_1-muxed.mp4"
    check(str(video) in told["body"], told["body"])
    harness.probe(video)
    driver.click_notification(told, "default")
    driver.wait_opened(f"file://{scene.recordings}")

    service.control("behave")  # the next session succeeds
    harness.begin_session(program)
    program.bar.press("Finish")
    driver.wait_opened(f"{service.url}/sessions/ses_2/review")
    check(list(scene.recordings.glob("ses_2*")), "an upload takes its files away at once")
    program.bar.wait_closed()
    harness.begin_session(program)
    equal(list(scene.recordings.glob("ses_2*")), [], "what a session that was uploaded leaves")
    program.stop()
    scene.start()
    told = driver.wait_notification("Recordings that were never uploaded")
    equal(told["body"], f"In {scene.recordings}: ses_1-muxed.mp4, ses_3-muxed.mp4", "what was never uploaded")


def narration_that_cannot_be_joined_is_kept(scene):
    service, program = harness.signed_in(scene)
    harness.begin_session(program)
    in_the_way = scene.recordings / "ses_1-muxed.mp4/folder"
    in_the_way.mkdir(parents=True)
    harness.let_time_pass(program, 1)
    program.bar.press("Finish")
    sound = scene.recordings / "ses_1.m4a"
    told = driver.wait_notification("The narration was not uploaded")
    check(str(sound) in told["body"], told["body"])
    program.bar.wait_closed()
    equal(len(service.uploads()), 1, "uploads")
    program.stop()
    scene.start()
    told = driver.wait_notification("Recordings that were never uploaded")
    equal(told["body"], f"In {scene.recordings}: ses_1.m4a", "what is told at the next start")
    equal(harness.probe(sound)["codecs"], ["aac"], "codecs")


def session_that_does_not_begin_leaves_the_desktop_as_it_was(scene):
    service, program = harness.signed_in(scene)
    service.control("misbehave", match="POST /api/app/sessions", status=500, times=1)
    program.tray.choose("New Session…")
    program.wait_log("setup: found 1")
    program.setup.press("Start")
    line = program.wait_log("[ERROR] beginSession FAILED: ")
    check("— session window closed, no control panel. Full: " in line and " code=" in line, line)
    driver.wait_notification("The recording did not start")
    tinted = program.tray.color() == harness.RECORD_COLOR
    check(not program.bar.is_open() and not tinted, "a bar or a tint without a session")
    harness.begin_session(program)  # the next attempt succeeds
    program.bar.press("Finish")
    program.bar.wait_closed()


def delete_that_fails_at_the_service_closes_the_bar(scene):
    service, program = harness.signed_in(scene)
    service.control("misbehave", match="DELETE ", status=500)
    harness.begin_session(program)
    delete(program)
    program.wait_log("[ERROR] delete failed: ")
    driver.wait_notification("The session was not deleted")
    program.bar.wait_closed()
    wait_for(lambda: program.tray.color() != harness.RECORD_COLOR, "the tint to go")
    equal(list(scene.recordings.glob("*.m*")), [], "files left behind")


def restart_without_its_monitor_is_told_at_once(scene):
    service, program = harness.signed_in(scene)
    harness.begin_session(program)
    driver.run("xrandr", "--setmonitor", "another", "1920/508x1080/286+0+0", "screen")  # replaces the first monitor
    try:
        program.bar.press("More", "push button")
        program.bar.press("Restart")
        told = driver.wait_notification("Nothing is being recorded")
        check(told["body"].startswith("The display is not there any more.\n"), told["body"])
    finally:
        driver.run("xrandr", "--delmonitor", "another")
    program.bar.press("More", "push button")
    program.bar.press("Restart")  # the monitor is back
    check(len(driver.notifications()) == 1, "a restart that succeeds was told of")
    program.bar.press("Finish")
    driver.wait_opened(f"{service.url}/sessions/ses_1/review")


def held_up(scene, request):
    """A program whose service delays a request, then refuses it; and a function that waits for that request."""
    service, program = harness.signed_in(scene)
    service.control("misbehave", match=request, status=500, delay=3000, times=1)
    return program, lambda: wait_for(lambda: any(e["line"].startswith(request) for e in service.received()), request)


def delete_that_takes_its_time_ends_the_bar(scene):
    program, wait_for_request = held_up(scene, "DELETE ")
    harness.begin_session(program)
    finish = program.bar.get("Finish")
    delete(program)
    wait_for_request()
    time_shown = lambda: next(name for name in program.bar.names() if len(name) == 5 and name[2] == ":")
    stood_at = time_shown()
    finish.accessible.get_action_iface().do_action(0)
    equal(time_shown(), stood_at, "the clock")
    driver.wait_notification("The session was not deleted")
    program.bar.wait_closed()
    equal((len(driver.notifications()), driver.opened()), (1, []), "what else was told, and what was opened")


def delete(program):
    program.bar.press("More", "push button")
    program.bar.press("Delete")


def settings_done_while_a_session_begins_count_after_it(scene):
    program, wait_for_request = held_up(scene, "POST /api/app/sessions")
    program.tray.choose("New Session…")
    program.wait_log("setup: found 1")
    program.setup.press("Start")
    wait_for_request()
    developer_mode_counts_after(program, "[ERROR] beginSession FAILED: ")


def settings_done_while_a_session_is_deleted_count_after_it(scene):
    program, wait_for_request = held_up(scene, "DELETE ")
    harness.begin_session(program)
    delete(program)
    wait_for_request()
    developer_mode_counts_after(program, "[ERROR] delete failed: ")


def developer_mode_counts_after(program, end):
    driver.set_default("tavro.devMode", "true")
    program.tray.choose("Settings…")
    program.wizard.wait_open().press("Done")
    program.wait_log("backend: MockBackend")
    harness.log_has_in_order(program, end, "backend: MockBackend")


def service_that_is_down_leaves_the_setup_usable_and_is_tried_again(scene):
    service, program = harness.signed_in(scene)
    service.stop()
    program.tray.choose("New Session…")
    setup = program.setup.wait_open()
    line = program.wait_log("[ERROR] setup: listProjects failed: ")
    check(line.endswith(" — dropdowns will be empty (is the configured backend reachable?)"), line)
    program.wait_log("[INFO] setup: found 1 display(s): [")
    setup.get("Uploaded to " + service.url.partition("//")[2])
    setup.get("Start").press_anyway()  # disabled, for no scenario is selected
    setup.get("Narrate with microphone").press()
    check(setup.is_open() and not program.bar.is_open(), "started without a scenario")
    scene.service("--port", service.url.rpartition(":")[2])
    setup.press("Try Again")
    program.wait_log("setup: loaded 1 scenario(s) for project")
    wait_for(lambda: "Try Again" not in setup.names(), "the failure to go")
    setup.press("Start")
    program.bar.wait_open()


harness.main(
    [
        upload_that_fails_keeps_the_recording,
        narration_that_cannot_be_joined_is_kept,
        session_that_does_not_begin_leaves_the_desktop_as_it_was,
        restart_without_its_monitor_is_told_at_once,
        delete_that_fails_at_the_service_closes_the_bar,
        delete_that_takes_its_time_ends_the_bar,
        settings_done_while_a_session_begins_count_after_it,
        settings_done_while_a_session_is_deleted_count_after_it,
        service_that_is_down_leaves_the_setup_usable_and_is_tried_again,
    ]
)
