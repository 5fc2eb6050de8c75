"""The end of the program during a take, by every way to ask for it."""

import signal
import subprocess

import harness
from harness import check, driver, equal, wait_for


def take_under_way(scene, **variables):
    scene.grant_all()
    driver.set_default("tavro.devMode", "true")
    program = scene.start(**variables)
    program.wizard.wait_open()
    harness.begin_session(program)
    harness.let_time_pass(program, 2)
    return program


def kept_and_told(scene, program):
    equal(program.wait_end(), 0, "the exit code")
    program.wait_log("[INFO] quit: the take is kept in ")
    (video,) = scene.recordings.glob("*-muxed.mp4")
    found = harness.probe(video)
    equal(found["codecs"], ["aac", "h264"], "codecs")
    check(found["seconds"] > 1.5, f"only {found['seconds']} s of the take are kept")

    again = scene.start()
    told = driver.wait_notification("Recordings that were never uploaded")
    check(video.name in told["body"] and str(scene.recordings) in told["body"], told["body"])
    driver.click_notification(told, "Open Folder")
    driver.wait_opened(f"file://{scene.recordings}")
    check(video.exists(), "the launch took the recording away")
    equal(again.stop(), 0, "the exit code with no take under way")


def signals_complete_the_take(scene):
    program = take_under_way(scene)
    program.process.send_signal(signal.SIGTERM)
    kept_and_told(scene, program)


def hang_up_completes_the_take(scene):
    program = take_under_way(scene)
    program.process.send_signal(signal.SIGHUP)
    kept_and_told(scene, program)


def end_of_the_desktop_session_completes_the_take(scene):
    manager = ["/usr/bin/python3", driver.ROOT / "tools/desktop/session_manager.py"]
    with subprocess.Popen(manager, stdin=subprocess.PIPE, stdout=subprocess.PIPE, text=True) as session:
        try:
            program = take_under_way(scene, SESSION_MANAGER=session.stdout.readline().strip())
            session.stdin.close()
            kept_and_told(scene, program)
        finally:
            session.kill()


def quit_completes_a_paused_take(scene):
    program = take_under_way(scene)
    program.bar.press("Pause")
    program.bar.get("Resume")
    program.tray.choose("Quit")
    kept_and_told(scene, program)


def upload_under_way(scene, **misbehaviour):
    service = scene.service()
    scene.grant_all()
    scene.sign_in()
    program = scene.start()
    harness.begin_session(program)
    harness.let_time_pass(program, 1)
    service.control("misbehave", **misbehaviour)
    program.bar.press("Finish")
    came = lambda: any(entry["line"].startswith(misbehaviour["match"]) for entry in service.received())
    wait_for(came, "the request that takes its time")
    return service, program


def quit_during_the_upload_completes_it(scene):
    service, program = upload_under_way(scene, match="POST /api/app/sessions/ses_1/upload-url", delay=3000)
    equal(service.uploads(), [], "uploads before the program is asked to quit")
    program.tray.choose("Quit")
    equal(program.wait_end(), 0, "the exit code")
    (upload,) = service.uploads()
    equal(upload["bodySize"], (scene.recordings / "ses_1-muxed.mp4").stat().st_size, "bytes uploaded")
    equal(service.received()[-1]["line"], "POST /api/app/sessions/ses_1/video-uploaded", "the service's last request")
    driver.wait_opened(f"{service.url}/sessions/ses_1/review")


def upload_without_end_does_not_keep_the_program(scene):
    _, program = upload_under_way(scene, match="POST /api/app/sessions/ses_1/upload-url", delay=600_000)
    program.process.send_signal(signal.SIGTERM)
    equal(program.wait_end(), 0, "the exit code")
    video = scene.recordings / "ses_1-muxed.mp4"
    program.wait_log(f"[ERROR] quit: the upload was not completed, the recording is kept in {video}")
    harness.probe(video)


def killed_program_leaves_a_video_that_plays(scene):
    program = take_under_way(scene)
    program.stop(signal.SIGKILL)
    (video,) = scene.recordings.glob("*.mp4")
    equal(harness.probe(video)["codecs"], ["h264"], "codecs")


harness.main(
    [
        signals_complete_the_take,
        hang_up_completes_the_take,
        end_of_the_desktop_session_completes_the_take,
        quit_completes_a_paused_take,
        quit_during_the_upload_completes_it,
        upload_without_end_does_not_keep_the_program,
        killed_program_leaves_a_video_that_plays,
    ]
)
