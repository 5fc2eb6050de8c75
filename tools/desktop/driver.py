"""Controls Tavro from outside: windows through the accessibility bus and the pointer, the tray icon through D-Bus,
notifications and the desktop's actions.

Runs inside desktop.py with the services x11, wm, bus, a11y (and panel, notify, keyring, a sound server …).
"""

import json
import os
import pathlib
import signal
import subprocess
import time

import dbus
import gi

gi.require_version("Atspi", "2.0")
from gi.repository import Atspi, GLib  # noqa: E402  (the version comes first)

PATIENCE = 30  # seconds
ROOT = pathlib.Path(__file__).resolve().parents[2]
NAME = "com.quembridge.tavro"
KEYRING_ITEM = ["user", "tavro-worker-auth-token", "server", NAME, "type", "plaintext"]
KEYRING_ITEM += ["xdg:schema", "org.qt.keychain"]
KEYRING_ITEM_OF_01 = ["service", NAME, "account", "tavro-worker-auth-token"]


class Failure(AssertionError):
    pass


def wait_for(condition, what, seconds=PATIENCE):
    """Waits until `condition` returns a true value, and returns it."""
    deadline = time.monotonic() + seconds
    while True:
        value = condition()
        if value:
            return value
        if time.monotonic() > deadline:
            raise Failure(f"{what}: not within {seconds} s")
        time.sleep(0.02)


def environment(name):
    return pathlib.Path(os.environ[name])


def run(*command):
    return subprocess.run(command, check=True, stdout=subprocess.PIPE, text=True).stdout


# -- windows


class Control:
    """One element of a window."""

    def __init__(self, accessible):
        self.accessible = accessible

    def is_enabled(self):
        states = self.accessible.get_state_set()
        return states.contains(Atspi.StateType.ENABLED) and states.contains(Atspi.StateType.SENSITIVE)

    def is_checked(self):
        return self.has(Atspi.StateType.CHECKED)

    def has(self, state):
        return self.accessible.get_state_set().contains(state)

    def press(self):
        """Through the accessibility bus."""
        wait_for(self.is_enabled, f"{self} to be enabled")
        self.press_anyway()

    def press_anyway(self):
        actions = self.accessible.get_action_iface()
        names = [actions.get_action_name(i) for i in range(actions.get_n_actions())]
        for wanted in ("Press", "Toggle", "ShowMenu"):
            if wanted in names:
                actions.do_action(names.index(wanted))
                return
        raise Failure(f"{self} cannot be pressed: {names}")

    def rectangle(self):
        box = self.accessible.get_component_iface().get_extents(Atspi.CoordType.SCREEN)
        return box.x, box.y, box.width, box.height

    def click(self):
        """With the pointer."""
        wait_for(self.is_enabled, f"{self} to be enabled")
        x, y, width, height = self.rectangle()
        run("xdotool", "mousemove", str(x + width // 2), str(y + height // 2), "click", "1")

    def type(self, text):
        self.click()
        run("xdotool", "type", "--delay", "15", text)

    def value(self):
        return self.accessible.get_value_iface().get_current_value()

    def text(self):
        iface = self.accessible.get_text_iface()
        return iface.get_text(0, -1) if iface else ""

    def __str__(self):
        return f"{self.accessible.get_role_name()} “{self.accessible.get_name()}”"


def descend(accessible):
    for index in range(accessible.get_child_count()):
        child = accessible.get_child_at_index(index)
        if child is not None:
            yield child
            yield from descend(child)


def is_showing(accessible):
    return accessible.get_state_set().contains(Atspi.StateType.SHOWING)


class Window:
    """A window of the program, found by its title. The bar does not show its title."""

    def __init__(self, program, title):
        self.program, self.title = program, title

    def accessibles(self):
        """The open windows of this title; the bar's menu is part of the bar."""
        application = self.program.application()
        if application is None:
            return []
        children = [application.get_child_at_index(i) for i in range(application.get_child_count())]
        mine = [child for child in children if child is not None and child.get_name() == self.title]
        return [child for child in mine if is_showing(child)]

    def is_open(self):
        try:
            return bool(self.accessibles())
        except GLib.Error:  # it may close meanwhile
            return False

    def wait_open(self):
        wait_for(self.is_open, f"the window “{self.title}”")
        return self

    def wait_closed(self):
        wait_for(lambda: not self.is_open(), f"the end of the window “{self.title}”")

    def controls(self):
        try:
            return [Control(each) for window in self.accessibles() for each in descend(window) if is_showing(each)]
        except GLib.Error:  # it may change meanwhile
            return []

    def find(self, name, role=None):
        for control in self.controls():
            if control.accessible.get_name() == name and role in (None, control.accessible.get_role_name()):
                return control
        return None

    def get(self, name, role=None):
        return wait_for(lambda: self.find(name, role), f"“{name}” in “{self.title}”")

    def press(self, name, role=None):
        self.get(name, role).press()

    def names(self):
        return [control.accessible.get_name() for control in self.controls()]

    def dump(self):
        states = [(each, "" if each.is_enabled() else "(disabled)") for each in self.controls()]
        return "\n".join(f"{each} {state} {each.text()!r}" for each, state in states)


class Ears:
    """What a screen reader is told on the accessibility bus: event, new value, and the name of what it happened to."""

    def __init__(self):
        self.heard = []
        self.listener = Atspi.EventListener.new(self.hear)
        for kind in ("object:state-changed", "object:property-change", "object:property-change:accessible-value"):
            self.listener.register(kind)

    def hear(self, event):
        try:
            self.heard.append((event.type, event.detail1, event.source.get_name()))
        except GLib.Error:  # it may be gone
            pass

    def wait(self, kind, value, name):
        """Waits for it, and forgets what was told up to it."""

        def found():
            while GLib.MainContext.default().iteration(False):
                pass
            return (kind, value, name) in self.heard

        try:
            wait_for(found, f"{kind} {value} of “{name}”")
        except Failure as failure:
            raise Failure(f"{failure}; told were {self.heard}") from None
        del self.heard[: self.heard.index((kind, value, name)) + 1]

    def wait_shown(self, name):
        self.wait("object:state-changed:showing", 1, name)

    def wait_focused(self, name):
        self.wait("object:state-changed:focused", 1, name)


# -- the program


class Program:
    """A running Tavro."""

    def __init__(self, executable=None, command=None, **variables):
        executable = executable or os.environ.get("TAVRO_PROGRAM") or ROOT / "build/release/bin/tavro"
        self.executable = str(executable)
        self.log_file = environment("XDG_STATE_HOME") / "Logs/Tavro/tavro.log"
        self.log_start = self.log_file.stat().st_size if self.log_file.exists() else 0
        self.process = subprocess.Popen(command or [self.executable], env=os.environ | variables)
        self.setup = Window(self, "Tavro — New Session")
        self.wizard = Window(self, "Welcome to Tavro")
        self.bar = Window(self, "Tavro")
        self.tray = Tray(self)

    def follow(self):
        """Turns from the process that was started to the instance that has the name on the bus."""
        self.process.pid = wait_for(owner, "the program's name on the bus")

    def application(self):
        desktop = Atspi.get_desktop(0)
        desktop.set_cache_mask(Atspi.Cache.NONE)
        for index in range(desktop.get_child_count()):
            application = desktop.get_child_at_index(index)
            if application is not None and application.get_process_id() == self.process.pid:
                return application
        return None

    def log(self):
        if not self.log_file.exists():
            return []
        with open(self.log_file, "rb") as file:
            file.seek(self.log_start)
            return file.read().decode().splitlines()

    def wait_log(self, text, seconds=PATIENCE, after=0):
        """Waits for such a line, beyond the first `after` lines."""
        found = lambda: next((line for line in self.log()[after:] if text in line), None)
        return wait_for(found, f"log line “{text}”", seconds)

    def ask(self, action):
        """Runs one of the desktop entry's actions."""
        wait_for(lambda: dbus.SessionBus().name_has_owner(NAME), "the program's name on the bus")
        application = dbus.SessionBus().get_object(NAME, "/com/quembridge/tavro")
        nothing, no_data = dbus.Array([], signature="v"), dbus.Dictionary({}, signature="sv")
        application.ActivateAction(action, nothing, no_data, dbus_interface="org.freedesktop.Application")

    def wait_end(self, seconds=PATIENCE):
        return self.process.wait(seconds)

    def stop(self, how=signal.SIGTERM):
        if self.process.poll() is None:
            self.process.send_signal(how)
            return self.wait_end()
        return self.process.returncode


class Tray:
    """The program's tray icon and its menu."""

    WATCHER = "org.kde.StatusNotifierWatcher"
    PROPERTIES = "org.freedesktop.DBus.Properties"

    def __init__(self, program):
        self.program = program

    def bus(self):
        return dbus.SessionBus()

    def item(self):
        """Bus name and path of the icon, or nothing."""
        try:
            return self.find_item()
        except dbus.DBusException:  # the panel may start or end meanwhile
            return None

    def find_item(self):
        bus = self.bus()
        if not bus.name_has_owner(self.WATCHER):
            return None
        watcher = bus.get_object(self.WATCHER, "/StatusNotifierWatcher")
        items = watcher.Get(self.WATCHER, "RegisteredStatusNotifierItems", dbus_interface=self.PROPERTIES)
        for item in items:
            name, _, path = str(item).partition("/")
            owner = bus.get_object("org.freedesktop.DBus", "/").GetConnectionUnixProcessID(name)
            if owner == self.program.process.pid:
                return name, "/" + path
        return None

    def wait(self):
        return wait_for(self.item, "the tray icon")

    def get(self, name):
        service, path = self.wait()
        return self.bus().get_object(service, path).Get(
            "org.kde.StatusNotifierItem", name, dbus_interface=self.PROPERTIES
        )

    def color(self):
        """Red, green and blue of the most opaque pixel of the icon's largest picture."""
        width, height, data = max(self.get("IconPixmap"), key=lambda picture: picture[0])
        pixels = [bytes(data[i : i + 4]) for i in range(0, int(width) * int(height) * 4, 4)]
        alpha, *rgb = max(pixels)
        return tuple(rgb)

    def menu(self):
        service, _ = self.wait()
        return dbus.Interface(self.bus().get_object(service, str(self.get("Menu"))), "com.canonical.dbusmenu")

    def items(self):
        """The menu's entries in order: dictionaries of their properties, with the number as `id`."""
        _, (_, _, children) = self.menu().GetLayout(0, -1, dbus.Array([], signature="s"))
        return [{"id": int(number), **{str(k): v for k, v in properties.items()}} for number, properties, _ in children]

    def choose(self, label):
        found = lambda: next((e for e in self.items() if e.get("label") == label), None)
        entry = wait_for(found, f"“{label}” in the menu")
        self.menu().Event(entry["id"], "clicked", "", dbus.UInt32(0))


# -- the desktop around it


def owner():
    """The process that has the program's name on the bus, or nothing."""
    daemon = dbus.SessionBus().get_object("org.freedesktop.DBus", "/")
    try:
        return int(daemon.GetConnectionUnixProcessID(NAME))
    except dbus.DBusException:
        return None


def make_activatable(service):
    """Lets the session bus start the program, as the text of this service file says."""
    (environment("TAVRO_DESKTOP") / "services" / f"{NAME}.service").write_text(service)
    bus = dbus.SessionBus().get_object("org.freedesktop.DBus", "/org/freedesktop/DBus")
    bus.UpdateActivationEnvironment(dict(os.environ), dbus_interface="org.freedesktop.DBus")
    bus.ReloadConfig(dbus_interface="org.freedesktop.DBus")


def notifications():
    file = environment("TAVRO_DESKTOP") / "notifications.jsonl"
    lines = file.read_text().splitlines() if file.exists() else []
    return [entry for entry in map(json.loads, lines) if "summary" in entry]


def wait_notification(summary):
    return wait_for(
        lambda: next((n for n in notifications() if n["summary"] == summary), None), f"the notification “{summary}”"
    )


def click_notification(notification, action):
    daemon = dbus.SessionBus().get_object("org.freedesktop.Notifications", "/org/freedesktop/Notifications")
    daemon.Invoke(
        dbus.UInt32(notification["id"]), action, dbus_interface="com.quembridge.tavro.Notifications"
    )


def inhibitions():
    """The reasons of all inhibitions at the screen saver and the login manager."""
    reasons = []
    for service in ("org.freedesktop.ScreenSaver", "org.freedesktop.login1"):
        place = dbus.SessionBus().get_object(service, "/" + service.replace(".", "/"))
        reasons += place.Held(dbus_interface="com.quembridge.tavro.Inhibitions")
    return [str(reason) for reason in reasons]


def opened():
    """The addresses and files that the desktop was asked to open."""
    file = environment("TAVRO_DESKTOP") / "opened.txt"
    return file.read_text().splitlines() if file.exists() else []


def wait_opened(address):
    wait_for(lambda: address in opened(), f"{address} to be opened (so far: {opened()})")


def screenshot(file):
    run("import", "-window", "root", str(file))


def grant_all():
    """Stores all permissions as granted."""
    file = environment("XDG_DATA_HOME") / "tavro/permissions.conf"
    file.parent.mkdir(parents=True, exist_ok=True)
    file.write_text("[General]\nmicrophone=true\nspeech=true\n")


def sign_in(token, item=None):
    """Stores a token. Needs the keyring."""
    command = ["secret-tool", "store", "--label=Tavro", *(item or KEYRING_ITEM)]
    subprocess.run(command, input=token, text=True, check=True)


def set_default(key, value):
    file = environment("XDG_CONFIG_HOME") / "tavro/defaults.conf"
    file.parent.mkdir(parents=True, exist_ok=True)
    lines = file.read_text().splitlines() if file.exists() else ["[General]"]
    lines = [line for line in lines if not line.startswith(key + "=")] + [f"{key}={value}"]
    file.write_text("\n".join(lines) + "\n")
