"""The recorders that are measured. Each records the whole screen into one file of 1920×1080 pixels."""

import json
import os
import pathlib
import shutil
import signal
import subprocess

ROOT = pathlib.Path(__file__).resolve().parent.parent
BIN = ROOT / "build" / "release" / "bin"
SIZE = "1920x1080"


def screen_size():
    return os.environ.get("TAVRO_DESKTOP_GEOMETRY", SIZE)


class Tavro:
    name = "tavro"
    waits_for_stop = False

    def __init__(self, *options):
        self.options = options

    def start(self, folder, seconds):
        self.process = subprocess.Popen(
            [BIN / "tavro-take", "--seconds", str(seconds), *self.options],
            stdout=subprocess.PIPE,
            stderr=open(folder / "tavro.log", "w", encoding="utf-8"),
            env=os.environ | {"XDG_DATA_HOME": str(folder), "XDG_CACHE_HOME": str(folder / "cache")},
        )

    def stop(self):
        output = self.process.communicate(timeout=120)[0]
        if self.process.returncode != 0:
            raise RuntimeError(f"tavro-take failed with {self.process.returncode}")
        return pathlib.Path(json.loads(output.splitlines()[-1])["video"])


class Ffmpeg:
    name = "ffmpeg"
    waits_for_stop = False

    def start(self, folder, seconds):
        self.file = folder / "ffmpeg.mp4"
        command = ["ffmpeg", "-nostdin", "-v", "error", "-f", "x11grab", "-framerate", "60"]
        command += ["-video_size", screen_size(), "-i", os.environ["DISPLAY"], "-t", str(seconds)]
        command += [] if screen_size() == SIZE else ["-vf", f"scale={SIZE}"]
        command += ["-c:v", "libx264", "-preset", "superfast"]
        command += ["-crf", "23", "-pix_fmt", "yuv420p", "-y", str(self.file)]
        self.process = subprocess.Popen(command)

    def stop(self):
        if self.process.wait(timeout=120) != 0:
            raise RuntimeError("ffmpeg failed")
        return self.file


class SimpleScreenRecorder:
    name = "ssr"
    waits_for_stop = True
    program = shutil.which("simplescreenrecorder")

    def start(self, folder, seconds):
        self.file = folder / "ssr.mp4"
        settings = folder / "ssr.conf"
        width, height = screen_size().split("x")
        scaled_width, scaled_height = SIZE.split("x")
        settings.write_text(
            f"""[global]
nvidia_disable_flipping=ask
[welcome]
skip_page=true
[input]
audio_enabled=false
video_backend=x11
video_frame_rate=60
video_record_cursor=true
video_scale={"false" if screen_size() == SIZE else "true"}
video_scaled_w={scaled_width}
video_scaled_h={scaled_height}
video_x11_area=screen
video_x11_area_screen=0
video_x=0
video_y=0
video_w={width}
video_h={height}
[output]
add_timestamp=false
container=mp4
file={self.file}
separate_files=false
video_allow_frame_skipping=true
video_codec=h264
video_h264_crf=23
video_h264_preset=superfast
[record]
hotkey_enable=false
preview_frame_rate=1
schedule_num_entries=0
show_recording_area=false
sound_notifications_enable=false
"""
        )
        self.process = subprocess.Popen(
            [self.program, f"--settingsfile={settings}", "--no-systray", "--start-hidden", "--start-recording"],
            stdin=subprocess.PIPE,
            stdout=subprocess.DEVNULL,
            stderr=open(folder / "ssr.log", "w", encoding="utf-8"),
            env=os.environ | {"QT_QPA_PLATFORM": "xcb", "HOME": str(folder)},
        )

    def stop(self):
        self.process.stdin.write(b"record-save\nquit\n")
        self.process.stdin.close()
        try:
            self.process.wait(timeout=30)
        except subprocess.TimeoutExpired:
            self.process.send_signal(signal.SIGKILL)
            raise
        return self.file


class WfRecorder:
    """Records the compositor of WAYLAND_DISPLAY, by the protocol that the desktop's portal uses there as well."""

    name = "wf"
    waits_for_stop = True

    def start(self, folder, seconds):
        self.file = folder / "wf.mp4"
        command = ["wf-recorder", "-f", str(self.file), "-c", "libx264", "-p", "preset=superfast", "-p", "crf=23"]
        command += ["-F", "format=yuv420p"]
        log = open(folder / "wf.log", "w", encoding="utf-8")
        self.process = subprocess.Popen(command, stdout=log, stderr=log)

    def stop(self):
        self.process.send_signal(signal.SIGINT)
        for _ in range(120):  # it ends with the next change, so the background changes, below the painter's window
            subprocess.run(["swaymsg", "-q", "output", "*", "bg", "#000000", "solid_color"], check=True)
            try:
                if self.process.wait(timeout=1) != 0:
                    raise RuntimeError("wf-recorder failed")
                return self.file
            except subprocess.TimeoutExpired:
                pass
        raise RuntimeError("wf-recorder does not end")


def available():
    recorders = [Tavro(), Ffmpeg()]
    if SimpleScreenRecorder.program:
        recorders.append(SimpleScreenRecorder())
    return recorders
