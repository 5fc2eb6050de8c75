"""The end of the program while a take runs, whoever asks for it."""

import signal
import subprocess

import harness
from harness import check, driver, equal


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
    driver.click_notification(told, "open")
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
        killed_program_leaves_a_video_that_plays,
    ]
)
