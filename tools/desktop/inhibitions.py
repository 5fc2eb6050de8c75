#!/usr/bin/python3
"""Fakes of the screen saver and the login manager, which take inhibitions against blanking and sleep.

Like the real services, the screen saver drops the inhibitions of a program that leaves the bus, and an inhibition of
the login manager lasts while its descriptor is open. com.quembridge.tavro.Inhibitions.Held() returns the reasons in
force.
"""

import os

import dbus
import dbus.mainloop.glib
import dbus.service
from gi.repository import GLib

SCREEN_SAVER = "org.freedesktop.ScreenSaver"
LOGIN = "org.freedesktop.login1"
CONTROL = "com.quembridge.tavro.Inhibitions"


class Holder(dbus.service.Object):
    """The inhibitions in force, by a key of the service."""

    def __init__(self, bus, name, path):
        super().__init__(dbus.service.BusName(name, bus), path)
        self.held = {}

    @dbus.service.method(CONTROL, out_signature="as")
    def Held(self):
        return dbus.Array(self.held.values(), signature="s")


class ScreenSaver(Holder):
    last = 0

    @dbus.service.method(SCREEN_SAVER, in_signature="ss", out_signature="u", sender_keyword="sender")
    def Inhibit(self, application, reason, sender):
        self.last += 1
        self.held[sender, self.last] = reason
        return self.last

    @dbus.service.method(SCREEN_SAVER, in_signature="u", sender_keyword="sender")
    def UnInhibit(self, cookie, sender):
        self.held.pop((sender, int(cookie)), None)

    def forget(self, name, _, new_owner):
        if not new_owner:
            self.held = {key: reason for key, reason in self.held.items() if key[0] != name}


class LoginManager(Holder):
    @dbus.service.method(LOGIN + ".Manager", in_signature="ssss", out_signature="h")
    def Inhibit(self, what, who, reason, mode):
        ours, theirs = os.pipe()
        self.held[ours] = f"{what} {mode}: {reason}"
        GLib.io_add_watch(ours, GLib.IO_HUP, self.released)
        GLib.idle_add(os.close, theirs)  # after the answer has a copy
        return dbus.types.UnixFd(theirs)

    def released(self, ours, _):
        del self.held[ours]
        os.close(ours)
        return False


dbus.mainloop.glib.DBusGMainLoop(set_as_default=True)
session = dbus.SessionBus()
login_manager = LoginManager(session, LOGIN, "/org/freedesktop/login1")
screen_saver = ScreenSaver(session, SCREEN_SAVER, "/org/freedesktop/ScreenSaver")
session.add_signal_receiver(screen_saver.forget, "NameOwnerChanged", "org.freedesktop.DBus")
GLib.MainLoop().run()
