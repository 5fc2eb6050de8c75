"""Recordings that did not reach the service find their way later, with one press."""

import hashlib
import signal

import harness
from harness import check, driver, equal, wait_for

NEVER = "Recordings that were never uploaded"


def record(program):
    harness.begin_session(program)
    harness.let_time_pass(program, 2)


def failed_upload(scene, service, program):
    """A recording whose upload fails; the service works again afterwards."""
    service.control("misbehave", match="PUT /store/", status=403)
    record(program)
    program.bar.press("Finish")
    told = driver.wait_notification("The recording was not uploaded")
    program.bar.wait_closed()
    service.control("behave")
    return told


def on_the_service_as_in_the_folder(scene, service):
    """The one recording, on the service bit for bit."""
    (film,) = scene.recordings.glob("*-muxed.mp4")
    upload = service.uploads()[-1]
    equal(upload["sha256"], hashlib.sha256(film.read_bytes()).hexdigest(), "the uploaded film's hash")
    equal(service.received()[-1]["line"], "POST /api/app/sessions/ses_1/video-uploaded", "the service's last request")
    equal(harness.probe(film)["codecs"], ["aac", "h264"], "codecs")


def failed_upload_is_made_up_for_with_one_press(scene):
    service, program = harness.signed_in(scene)
    told = failed_upload(scene, service, program)
    driver.click_notification(told, "Upload Again")
    driver.wait_notification("Recording uploaded")
    wait_for(lambda: str(program.tray.get("ToolTip")[2]) == "Tavro", "the tray's usual tool tip")
    on_the_service_as_in_the_folder(scene, service)
    equal(program.stop(), 0, "the exit code")
    scene.start()
    wait_for(lambda: not list(scene.recordings.iterdir()), "the recording's files to go")
    check(NEVER not in [n["summary"] for n in driver.notifications()], "an uploaded recording is told of")


def killed_take_is_made_whole_and_uploaded(scene):
    service, program = harness.signed_in(scene)
    record(program)
    program.stop(signal.SIGKILL)
    equal([file.name for file in scene.recordings.glob("*-muxed.mp4")], [], "joined files that a kill leaves")
    scene.start()
    told = driver.wait_notification(NEVER)
    wait_for(lambda: list(scene.recordings.glob("*-muxed.mp4")), "the film to be made whole")
    driver.click_notification(told, "Upload Again")
    driver.wait_notification("Recording uploaded")
    on_the_service_as_in_the_folder(scene, service)


def session_that_the_service_has_forgotten_keeps_its_recording(scene):
    service, program = harness.signed_in(scene)
    told = failed_upload(scene, service, program)
    before = len(service.uploads())
    service.control("misbehave", match="POST /api/app/sessions/ses_1/", status=404)
    driver.click_notification(told, "Upload Again")
    told = driver.wait_notification("The upload failed")
    check(told["body"].startswith("The service no longer knows this session."), told["body"])
    equal(len(service.uploads()), before, "uploads")
    check(list(scene.recordings.glob("ses_1-muxed.mp4")), "the recording is gone")


def upload_is_offered_to_its_own_service_alone(scene):
    service, program = harness.signed_in(scene)
    failed_upload(scene, service, program)
    equal(program.stop(), 0, "the exit code")
    driver.set_default("tavro.backendURL", "http://127.0.0.1:9")
    scene.start()
    told = driver.wait_notification(NEVER)
    equal(sorted(told["actions"]), ["Open Folder", "default"], "what is offered")


def session_is_left_alone_meanwhile_and_the_end_comes_at_once(scene):
    service, program = harness.signed_in(scene)
    told = failed_upload(scene, service, program)
    service.control("misbehave", match="POST /api/app/sessions/ses_1/upload-url", delay=600_000)
    driver.click_notification(told, "Upload Again")
    wait_for(lambda: service.received()[-1]["line"].endswith("ses_1/upload-url"), "the upload")
    tip = lambda: str(program.tray.get("ToolTip")[2])
    equal(tip(), "Tavro: a recording is being uploaded, 0 %", "the tray's tool tip")
    record(program)
    program.bar.press("Finish")
    program.bar.wait_closed()
    driver.wait_opened(f"{service.url}/sessions/ses_2/review")
    equal(service.received()[-1]["line"], "POST /api/app/sessions/ses_2/video-uploaded", "the service's last request")
    program.tray.choose("Quit")
    equal(program.wait_end(), 0, "the exit code")
    check(list(scene.recordings.glob("ses_1-muxed.mp4")), "the recording is gone")


harness.main(
    [
        failed_upload_is_made_up_for_with_one_press,
        killed_take_is_made_whole_and_uploaded,
        session_that_the_service_has_forgotten_keeps_its_recording,
        upload_is_offered_to_its_own_service_alone,
        session_is_left_alone_meanwhile_and_the_end_comes_at_once,
    ]
)
