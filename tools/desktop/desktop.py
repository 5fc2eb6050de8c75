#!/usr/bin/python3
"""A private desktop without a screen, for tests, measurements and demonstrations.

    desktop.py --with x11,wm,pulse [--geometry 1920x1080] -- COMMAND...
    desktop.py --with bus,pipewire,sway,portal [--outputs 1920x1080,1280x720] -- COMMAND...

starts the services named, runs COMMAND inside, ends all services and exits with the code of COMMAND.
Home, XDG folders, buses and servers are private; the user's desktop is not touched.

    x11       an X server (Xvfb)                       DISPLAY
    sway      a Wayland compositor with outputs HEADLESS-1, HEADLESS-2, … side by side, and Xwayland
                                               WAYLAND_DISPLAY, DISPLAY, SWAYSOCK
    portal    the ScreenCast portal; instead of a dialog it reads the output's name from $TAVRO_DESKTOP/portal-choice:
              the first output when there is no such file, a user who cancels when it is empty
    pointer   a mouse for sway
    bus       a session bus without activation         DBUS_SESSION_BUS_ADDRESS
    wm        a window manager (openbox)
    panel     a panel with a tray (xfce4-panel, a StatusNotifier and XEmbed host)
    a11y      the accessibility bus (AT-SPI), enabled
    keyring   a Secret Service (gnome-keyring), unlocked
    notify    a notification daemon that appends what it is told to $TAVRO_DESKTOP/notifications.jsonl
    inhibit   a screen saver and (on the session bus) a login manager that say what keeps them from their work
    pulse     PulseAudio      either with the sinks "speakers" (the default) and "micfeed" and the
    pipewire  PipeWire        source "mic" (the default), which carries what is played into micfeed
    stubopen  an xdg-open first on PATH that appends each address to $TAVRO_DESKTOP/opened.txt

Without `bus`, or without a sound server, programs inside find none. Inside, while COMMAND runs,

    desktop.py --stop NAME        ends a service at once (SIGKILL), as a crash would
    desktop.py --start NAME       starts it (again); sway may then have another DISPLAY
    desktop.py --pointer X Y      moves the mouse `pointer`

$TAVRO_DESKTOP holds NAME.pid, one pid a line, and NAME.log of each service.
"""

import argparse
import os
import pathlib
import shutil
import signal
import subprocess
import sys
import tempfile

import wayland
from processes import (
    PR_SET_CHILD_SUBREAPER, StartError, bus_property, end_stragglers, has_name, output_of, prctl, succeeds, wait_for,
    write
)

HERE = pathlib.Path(__file__).resolve().parent
ORDER = ["x11", "bus", "sway", "wm", "a11y", "keyring", "notify", "inhibit", "panel", "pulse", "pipewire"]
ORDER += ["portal", "pointer", "stubopen"]
NEEDS = {
    "wm": ["x11"],
    "panel": ["x11", "bus", "wm"],
    "a11y": ["x11", "bus"],
    "keyring": ["bus"],
    "notify": ["bus"],
    "inhibit": ["bus"],
    "pipewire": ["bus"],
    "portal": ["bus", "pipewire", "sway"],
    "pointer": ["sway"],
}


class Desktop(wayland.WaylandServices):
    """The services of one private desktop, with their state in one folder."""

    def start_x11(self):
        geometry = os.environ.get("TAVRO_DESKTOP_GEOMETRY", "1920x1080")
        ready, told = os.pipe()
        os.set_inheritable(told, True)
        command = ["Xvfb", "-displayfd", str(told), "-screen", "0", geometry + "x24"]
        command += ["-nolisten", "tcp", "-noreset", "-dpi", "96"]
        number = os.environ.get("DISPLAY", "")  # a restarted server takes its old number
        if number:
            command[1:3] = [number]
        self.spawn("x11", command, pass_fds=[told])
        os.close(told)
        if not number:
            with os.fdopen(ready) as pipe:
                number = ":" + pipe.readline().strip()
            if number == ":":
                raise StartError("the X server did not start")
            os.environ["DISPLAY"] = number
        wait_for(lambda: succeeds("xdpyinfo"), "the X server")

    def start_bus(self):
        services = self.root / "services"
        services.mkdir(exist_ok=True)
        xfconf = pathlib.Path("/usr/share/dbus-1/services/org.xfce.Xfconf.service")
        if xfconf.exists():  # only the panel's settings daemon may be activated
            shutil.copy(xfconf, services)
        config = self.root / "bus.conf"
        config.write_text(
            f"""<!DOCTYPE busconfig PUBLIC "-//freedesktop//DTD D-Bus Bus Configuration 1.0//EN"
 "http://www.freedesktop.org/standards/dbus/1.0/busconfig.dtd">
<busconfig>
  <type>session</type>
  <listen>{os.environ["DBUS_SESSION_BUS_ADDRESS"]}</listen>
  <auth>EXTERNAL</auth>
  <servicedir>{services}</servicedir>
  <policy context="default">
    <allow send_destination="*" eavesdrop="true"/>
    <allow eavesdrop="true"/>
    <allow own="*"/>
  </policy>
</busconfig>
"""
        )
        self.spawn("bus", ["dbus-daemon", f"--config-file={config}", "--nofork", "--nopidfile"])
        wait_for(lambda: has_name("org.freedesktop.DBus"), "the session bus")

    def start_wm(self):
        self.spawn("wm", ["openbox", "--sm-disable"])
        wait_for(lambda: "0x" in output_of("xprop", "-root", "_NET_SUPPORTING_WM_CHECK"), "the window manager")

    def start_panel(self):
        folder = pathlib.Path(os.environ["XDG_CONFIG_HOME"], "xfce4/xfconf/xfce-perchannel-xml")
        folder.mkdir(parents=True, exist_ok=True)
        width, height = (int(n) for n in os.environ.get("TAVRO_DESKTOP_GEOMETRY", "1920x1080").split("x"))
        (folder / "xfce4-panel.xml").write_text(
            f"""<?xml version="1.0" encoding="UTF-8"?>
<channel name="xfce4-panel" version="1.0">
  <property name="configver" type="int" value="2"/>
  <property name="panels" type="array"><value type="int" value="1"/>
    <property name="panel-1" type="empty">
      <property name="position" type="string" value="p=8;x={width // 2};y={height - 16}"/>
      <property name="length" type="uint" value="100"/>
      <property name="position-locked" type="bool" value="true"/>
      <property name="size" type="uint" value="32"/>
      <property name="plugin-ids" type="array"><value type="int" value="1"/></property>
    </property>
  </property>
  <property name="plugins" type="empty">
    <property name="plugin-1" type="string" value="systray"/>
  </property>
</channel>
"""
        )
        self.spawn("panel", ["xfce4-panel", "--disable-wm-check"])
        watcher = ["org.kde.StatusNotifierWatcher", "/StatusNotifierWatcher", "org.kde.StatusNotifierWatcher"]
        wait_for(lambda: "true" in bus_property(*watcher, "IsStatusNotifierHostRegistered"), "the panel")

    def start_a11y(self):
        self.spawn("a11y", ["/usr/libexec/at-spi-bus-launcher", "--launch-immediately"])
        wait_for(lambda: has_name("org.a11y.Bus"), "the accessibility bus")
        call = ["gdbus", "call", "--session", "-d", "org.a11y.Bus", "-o", "/org/a11y/bus"]
        call += ["-m", "org.freedesktop.DBus.Properties.Set", "org.a11y.Status", "IsEnabled", "<true>"]
        wait_for(lambda: succeeds(*call), "the accessibility status")

    def start_keyring(self):
        pathlib.Path(os.environ["XDG_DATA_HOME"], "keyrings").mkdir(parents=True, exist_ok=True)
        control = os.environ["XDG_RUNTIME_DIR"] + "/keyring"
        command = ["gnome-keyring-daemon", "--foreground", "--unlock", "--components=secrets"]
        process = self.spawn("keyring", command + [f"--control-directory={control}"], stdin=subprocess.PIPE)
        process.stdin.write(b"password")
        process.stdin.close()
        wait_for(lambda: has_name("org.freedesktop.secrets"), "the keyring")
        service = ["org.freedesktop.secrets", "/org/freedesktop/secrets", "org.freedesktop.Secret.Service"]
        wait_for(lambda: "collection/login" in bus_property(*service, "Collections"), "the login keyring")

    def start_notify(self):
        self.spawn("notify", ["/usr/bin/python3", HERE / "notifications.py", self.root / "notifications.jsonl"])
        wait_for(lambda: has_name("org.freedesktop.Notifications"), "the notification daemon")

    def start_inhibit(self):
        self.spawn("inhibit", ["/usr/bin/python3", HERE / "inhibitions.py"])
        wait_for(lambda: has_name("org.freedesktop.ScreenSaver"), "the screen saver")

    def start_pulse(self):
        script = self.root / "pulse.pa"
        script.write_text(
            """.fail
load-module module-native-protocol-unix auth-anonymous=1
load-module module-null-sink sink_name=speakers rate=48000 channels=2 norewinds=1
load-module module-null-sink sink_name=micfeed rate=48000 channels=1 channel_map=mono norewinds=1
load-module module-remap-source master=micfeed.monitor source_name=mic
load-module module-always-sink
set-default-sink speakers
set-default-source mic
"""
        )
        command = ["pulseaudio", "-n", "-F", script, "--daemonize=no", "--exit-idle-time=-1", "--use-pid-file=no"]
        command += ["--disable-shm=yes", "--realtime=no", "--high-priority=no", "--log-target=stderr"]
        self.spawn("pulse", command)
        wait_for(defaults_are_set, "PulseAudio")

    def start_pipewire(self):
        config = pathlib.Path(os.environ["XDG_CONFIG_HOME"])
        write(
            config / "pipewire/pipewire.conf.d/10-devices.conf",
            """context.objects = [
  { factory = adapter args = { factory.name = support.null-audio-sink node.name = speakers
      media.class = Audio/Sink audio.position = [ FL FR ] audio.rate = 48000
      priority.session = 2000 monitor.channel-volumes = true } }
  { factory = adapter args = { factory.name = support.null-audio-sink node.name = micfeed
      media.class = Audio/Sink audio.position = [ MONO ] audio.rate = 48000 priority.session = 1 } }
]
""",
        )
        monitors = "alsa_monitor.enabled = false\nv4l2_monitor.enabled = false\nlibcamera_monitor.enabled = false\n"
        write(config / "wireplumber/main.lua.d/51-none.lua", monitors)
        write(config / "wireplumber/bluetooth.lua.d/51-none.lua", "bluez_monitor.enabled = false\n")
        self.spawn("pipewire", ["pipewire"])
        wait_for(lambda: succeeds("pw-cli", "info", "0"), "PipeWire")
        self.spawn("pipewire", ["wireplumber"])
        # The start fails when a client creates this folder at the same time.
        pathlib.Path(os.environ["XDG_RUNTIME_DIR"], "pulse").mkdir(mode=0o700, exist_ok=True)
        self.spawn("pipewire", ["pipewire-pulse"])
        wait_for(lambda: "micfeed" in output_of("pactl", "list", "short", "sinks"), "PipeWire's sinks")
        remap = ["module-remap-source", "master=micfeed.monitor", "source_name=mic", "channels=1", "channel_map=mono"]
        wait_for(lambda: succeeds("pactl", "load-module", *remap), "PipeWire's microphone")

        def defaults():
            succeeds("pactl", "set-default-sink", "speakers")
            succeeds("pactl", "set-default-source", "mic")
            return defaults_are_set()

        wait_for(defaults, "PipeWire's defaults")

    def start_stubopen(self):
        folder = self.root / "bin"
        folder.mkdir(exist_ok=True)
        stub = folder / "xdg-open"
        stub.write_text('#!/bin/sh\nprintf "%s\\n" "$1" >>"$TAVRO_DESKTOP/opened.txt"\n')
        stub.chmod(0o755)
        os.environ["PATH"] = f"{folder}:{os.environ['PATH']}"


def defaults_are_set():
    info = output_of("pactl", "info")
    return "Default Source: mic" in info and "Default Sink: speakers" in info


def private_environment(root):
    """The environment of a new user."""
    for name in """DISPLAY WAYLAND_DISPLAY SWAYSOCK XAUTHORITY PULSE_SERVER PULSE_SINK PULSE_SOURCE XDG_CURRENT_DESKTOP
            DESKTOP_SESSION BROWSER QT_QPA_PLATFORMTHEME QT_STYLE_OVERRIDE GNOME_KEYRING_CONTROL SSH_AUTH_SOCK TMPDIR
            QT_SCALE_FACTOR AT_SPI_BUS_ADDRESS""".split():
        os.environ.pop(name, None)
    folders = {"HOME": "home", "XDG_CONFIG_HOME": "config", "XDG_CACHE_HOME": "cache", "XDG_DATA_HOME": "data"}
    folders |= {"XDG_STATE_HOME": "state", "XDG_RUNTIME_DIR": "run"}
    for name, folder in folders.items():
        (root / folder).mkdir(mode=0o700)
        os.environ[name] = str(root / folder)
    write(root / "pulse-client.conf", "autospawn = no\nenable-shm = no\n")
    os.environ |= {
        "TAVRO_DESKTOP": str(root),
        "DBUS_SESSION_BUS_ADDRESS": f"unix:path={root}/run/bus",
        "PULSE_CLIENTCONFIG": f"{root}/pulse-client.conf",
        "LANG": "C.UTF-8",
        "XDG_SESSION_TYPE": "x11",
        "QT_QPA_PLATFORM": "xcb",
        "QT_XCB_GL_INTEGRATION": "none",
        "QT_LINUX_ACCESSIBILITY_ALWAYS_ON": "1",
        "QT_FORCE_STDERR_LOGGING": "1",
        "GSETTINGS_BACKEND": "memory",
        "GIO_USE_VFS": "local",
        "GTK_A11Y": "none",
        "NO_AT_BRIDGE": "1",
    }


def run(services, command):
    wanted = set(services)
    for service in services:
        wanted.update(NEEDS.get(service, []))
    if "sway" in wanted:
        wanted.discard("x11")  # it has its own X server
    root = pathlib.Path(tempfile.mkdtemp(prefix="tavro-", dir="/tmp"))
    private_environment(root)
    prctl(PR_SET_CHILD_SUBREAPER, 1)
    desktop = Desktop(root, bound_to_us=True)
    started = []
    code = 1
    try:
        for service in (name for name in ORDER if name in wanted):
            started.append(service)
            desktop.start(service)
        child = subprocess.Popen(command)
        for number in (signal.SIGTERM, signal.SIGINT, signal.SIGHUP):
            signal.signal(number, lambda n, _: child.send_signal(n))
        code = child.wait()
    except StartError as error:
        print(f"desktop: {error}", file=sys.stderr)
        for log in root.glob("*.log"):
            print(f"--- {log.name}\n" + log.read_text(errors="replace")[-2000:], file=sys.stderr)
    finally:
        for service in reversed(started):
            desktop.stop(service, signal.SIGTERM)
        end_stragglers()
        shutil.rmtree(root, ignore_errors=True)
    return code if code >= 0 else 128 - code


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("--with", dest="services", default="", metavar="SERVICES")
    parser.add_argument("--geometry", default="1920x1080")
    parser.add_argument("--outputs", default="1920x1080")
    parser.add_argument("--start", choices=ORDER)
    parser.add_argument("--stop", choices=ORDER)
    parser.add_argument("--pointer", nargs=2, type=int, metavar=("X", "Y"))
    parser.add_argument("command", nargs=argparse.REMAINDER)
    arguments = parser.parse_args()
    if arguments.start or arguments.stop:
        desktop = Desktop(os.environ["TAVRO_DESKTOP"], bound_to_us=False)
        if arguments.stop:
            desktop.stop(arguments.stop)
        if arguments.start:
            desktop.start(arguments.start)
        return 0
    if arguments.pointer:
        wayland.move_pointer(*arguments.pointer)
        return 0
    services = [name for name in arguments.services.split(",") if name]
    unknown = set(services) - set(ORDER)
    command = arguments.command[1:] if arguments.command[:1] == ["--"] else arguments.command
    if unknown or not command:
        parser.error(f"unknown services: {', '.join(sorted(unknown))}" if unknown else "no command")
    os.environ |= {"TAVRO_DESKTOP_GEOMETRY": arguments.geometry, "TAVRO_DESKTOP_OUTPUTS": arguments.outputs}
    return run(services, command)


if __name__ == "__main__":
    sys.exit(main())
