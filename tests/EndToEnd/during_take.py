"""Effects of a running and an ending take on the user and the desktop."""

import os
import signal
import subprocess

import harness
from harness import check, driver, environment, equal, wait_for

REASON = "A test session is being recorded"
NO_SOUND = "No sound from the microphone"


def awake_program(scene):
    scene.grant_all()
    program = scene.start(DBUS_SYSTEM_BUS_ADDRESS=os.environ["DBUS_SESSION_BUS_ADDRESS"])
    program.wizard.wait_open()
    equal(driver.inhibitions(), [], "what keeps the desktop awake before a take")
    return program


def take_that_keeps_awake(program):
    harness.begin_session(program)
    wait_for(
        lambda: sorted(driver.inhibitions()) == [REASON, "sleep:idle block: " + REASON],
        "the screen saver and the login manager to be held off",
    )


def desktop_stays_awake_as_long_as_the_take(scene):
    program = awake_program(scene)
    for end in (["Finish"], ["More", "Delete"]):
        take_that_keeps_awake(program)
        for name in end:
            program.bar.press(name, "push button" if name == "More" else None)
        program.bar.wait_closed()
        wait_for(lambda: driver.inhibitions() == [], f"the desktop to be left alone after {end[-1]}")
    check(program.process.poll() is None, "the program has ended")


def desktop_may_sleep_once_the_program_has_ended(scene):
    for how in (signal.SIGTERM, signal.SIGKILL):
        program = awake_program(scene)
        take_that_keeps_awake(program)
        program.stop(how)
        wait_for(lambda: driver.inhibitions() == [], f"the desktop to be left alone after {how.name}")


def green(x, y, width, height):
    """The filled part of a bar on the screen. Only the filling has more green than red."""
    line = f"{width}x1+{x}+{y + height // 2}"
    command = ["import", "-window", "root", "-crop", line, "-depth", "8", "rgb:-"]
    pixels = subprocess.run(command, check=True, stdout=subprocess.PIPE).stdout
    return sum(pixels[i + 1] > pixels[i] for i in range(0, len(pixels), 3)) / width


def fill_the_screen_with_noise(times):
    """Makes the film larger than the buffers between program and service."""
    for number in range(times):
        picture = environment("TAVRO_DESKTOP") / "noise.png"
        noise = ["-size", "1920x1080", "-seed", str(number), "xc:gray", "+noise", "Random"]
        subprocess.run(["convert", *noise, picture], check=True)
        subprocess.run(["display", "-window", "root", picture], check=False)  # always exits with 1


def upload_shows_how_far_it_has_come(scene):
    service = scene.service()
    scene.grant_all()
    scene.sign_in()
    program = scene.start()
    harness.begin_session(program)
    fill_the_screen_with_noise(5)
    service.control("misbehave", match="PUT /store/", readChunk=50_000, readEvery=20)
    ears = driver.Ears()
    program.bar.press("Finish")
    ears.wait_shown("Finishing")
    program.bar.get("Finishing…")
    upload = program.bar.get("Upload", "progress bar")
    line = upload.rectangle()
    first = wait_for(lambda: green(*line), "a part of the line to be filled")
    check(first < 1, "the line is full at once")
    wait_for(lambda: first < green(*line) < 1, "the line to grow")
    check(0 < upload.value() < 100, f"told are {upload.value()} percent")
    ears.wait("object:property-change:accessible-value", 0, "Upload")
    driver.wait_opened(f"{service.url}/sessions/ses_1/review")


def level_meter_moves_with_the_microphone(scene):
    """And tells of a microphone without sound: here nothing is played into it at first, then it is muted."""
    scene.grant_all()
    program = scene.start()
    program.wizard.wait_open()
    harness.begin_session(program)
    x, y, _, height = program.bar.get("Pause").rectangle()
    level = lambda: green(x - 12 - 44, y, 44, height)
    equal(level(), 0, "the level in silence")
    meter = program.bar.get("Sound level", "progress bar").accessible
    value = meter.get_value_iface()
    shown = lambda: (value.get_minimum_value(), value.get_current_value(), value.get_maximum_value())
    equal(shown(), (0, 0, 1), "the level told in silence")
    wait_for(lambda: meter.get_description() == NO_SOUND, "word of the silent microphone")
    tone = environment("TAVRO_DESKTOP") / "tone.wav"
    subprocess.run(["sox", "-n", "-r", "48000", tone, "synth", "60", "sine", "440", "vol", "0.5"], check=True)
    with subprocess.Popen(["paplay", "--device=micfeed", tone]) as player:
        wait_for(lambda: 0.2 < level() < 1, "the meter to rise")
        wait_for(lambda: 0.2 < shown()[1] < 1, "the level told to rise")
        equal(meter.get_description(), "", "what is said of the microphone while it hears")
        driver.run("pactl", "set-source-mute", "mic", "1")
        wait_for(lambda: level() == 0, "the meter to fall back")
        wait_for(lambda: meter.get_description() == NO_SOUND, "word of the muted microphone")
        driver.run("pactl", "set-source-mute", "mic", "0")
        wait_for(lambda: meter.get_description() == "", "the word to be taken back")
        player.kill()


harness.main(
    [
        desktop_stays_awake_as_long_as_the_take,
        desktop_may_sleep_once_the_program_has_ended,
        upload_shows_how_far_it_has_come,
        level_meter_moves_with_the_microphone,
    ]
)
