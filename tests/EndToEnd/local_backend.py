"""Sessions on the local backend, in developer mode, without a service."""

import json
import pathlib
import signal
import time

import harness
from harness import check, driver, environment, equal, wait_for


def sessions():
    return sorted((environment("XDG_DATA_HOME") / "Tavro/sessions").glob("*"))


def types(session):
    return [event["type"] for event in json.loads((session / "events.json").read_text())]


def start(scene):
    scene.grant_all()
    driver.set_default("tavro.devMode", "true")
    driver.set_default("tavro.backendURL", "http://127.0.0.1:9/base")
    program = scene.start()
    program.wizard.wait_open()  # nobody is signed in
    return program


def finish_saves_the_video_and_says_where(scene):
    program = start(scene)
    harness.begin_session(program)
    bar = program.bar
    bar.press("Pause")
    bar.get("Resume")
    stood_at = clock(bar)
    time.sleep(2.5)  # two ticks of the clock
    equal(clock(bar), stood_at, "the clock during a pause")
    bar.press("Resume")
    harness.let_time_pass(program, 2)
    bar.press("Finish")

    (told,) = wait_saved(1)
    (session,) = sessions()
    equal(told["body"], str(session / "video.mp4"), "the place told")
    driver.click_notification(told, "Open Folder")
    driver.wait_opened(f"file://{session}")
    driver.wait_opened(f"file://{session}/review.html")
    program.wait_log(f"finishSession: opened review file://{session}/review.html")
    equal(types(session), ["paused", "resumed", "finished"], "the session's events")
    found = harness.probe(session / "video.mp4")
    equal(found["codecs"], ["aac", "h264"], "codecs")
    check(found["seconds"] > 4, f"a video of {found['seconds']} s, pause included")
    bar.wait_closed()

    harness.begin_session(program)  # the same session object serves the next take
    bar.press("Finish")
    told = wait_saved(2)[-1]
    equal(told["actions"]["default"], "Review", "what a click on the notification does")
    driver.click_notification(told, "default")
    page = f"file://{pathlib.Path(told['body']).parent}/review.html"
    wait_for(lambda: driver.opened().count(page) == 2, f"{page} to be opened by itself and by the click")
    bar.wait_closed()


def wait_saved(count):
    def saved():
        return [told for told in driver.notifications() if told["summary"] == "Recording saved"]

    return wait_for(lambda: len(saved()) == count and saved(), f"{count} notifications of a saved recording")


def a_recording_that_is_not_saved_has_no_page(scene):
    program = start(scene)
    harness.begin_session(program)
    (session,) = sessions()
    session.rmdir()
    program.bar.press("Finish")
    driver.wait_notification("The recording was not uploaded")
    program.wait_log(f"finishSession: there is no page to review session {session.name}")
    equal(driver.opened(), [], "what was opened")
    program.bar.wait_closed()


def a_killed_take_is_saved_with_one_press(scene):
    program = start(scene)
    harness.begin_session(program)
    harness.let_time_pass(program, 2)
    program.stop(signal.SIGKILL)
    scene.start()
    told = driver.wait_notification("Recordings that were never uploaded")
    driver.click_notification(told, "Upload Again")
    (told,) = wait_saved(1)
    (session,) = sessions()
    equal(told["body"], str(session / "video.mp4"), "the place told")
    equal(told["actions"]["default"], "Review", "what a click on the notification does")
    equal(harness.probe(session / "video.mp4")["codecs"], ["aac", "h264"], "codecs")
    check("Recording uploaded" not in [n["summary"] for n in driver.notifications()], "it is said to be uploaded")


def clock(bar):
    return next(name for name in bar.names() if len(name) == 5 and name[2] == ":")


def delete_leaves_nothing_of_the_take(scene):
    program = start(scene)
    harness.begin_session(program)
    check(list(scene.recordings.glob("*.mp4")), "no video while recording")
    program.bar.press("Pause")
    program.bar.get("Resume")
    program.bar.press("More", "push button")
    program.bar.press("Delete")
    program.bar.wait_closed()
    wait_for(lambda: program.tray.color() != harness.RECORD_COLOR, "the tint to go")
    equal(list(scene.recordings.glob("*.m*")), [], "files left behind")
    check(not [line for line in program.log() if line.startswith("[ERROR]")], "errors in the log")
    equal(driver.opened(), [], "what was opened")


def restart_while_paused_records_again(scene):
    program = start(scene)
    harness.begin_session(program)
    harness.let_time_pass(program, 3)
    program.bar.press("Pause")
    program.bar.get("Resume")
    program.bar.press("More", "push button")
    program.bar.press("Restart")
    program.bar.get("Pause")  # it records
    wait_for(lambda: clock(program.bar) < "00:03", "the clock to start again")
    harness.let_time_pass(program, 1)
    program.bar.press("Finish")
    program.bar.wait_closed()
    (session,) = sessions()
    check(harness.probe(session / "video.mp4")["seconds"] < 10, "the first take is still in the video")


def the_menu_is_complete_and_opens_the_logs(scene):
    program = start(scene)
    items = program.tray.items()
    labels = [item.get("label", item.get("type")) for item in items]
    version = next(label for label in labels if label.startswith("Tavro v"))
    equal(
        labels,
        ["New Session…", "separator", "Settings…", "View Logs", "separator", version, "separator", "Quit"],
        "the menu",
    )
    equal([item["label"] for item in items if not item.get("enabled", True)], [version], "what cannot be chosen")
    keys = {item["label"]: "+".join(item["shortcut"][0]) for item in items if "shortcut" in item}
    equal(keys, {"New Session…": "Control+Alt+N", "Settings…": "Control+,", "Quit": "Control+Q"}, "the shortcuts")
    program.tray.choose("View Logs")
    driver.wait_opened(f"file://{environment('XDG_STATE_HOME')}/Logs/Tavro")
    program.tray.choose("Quit")
    equal(program.wait_end(), 0, "the exit code")


harness.main(
    [
        finish_saves_the_video_and_says_where,
        a_recording_that_is_not_saved_has_no_page,
        a_killed_take_is_saved_with_one_press,
        delete_leaves_nothing_of_the_take,
        restart_while_paused_records_again,
        the_menu_is_complete_and_opens_the_logs,
    ]
)
