#!/usr/bin/python3
"""A notification daemon without a display: appends each notification as one JSON line to the file named.

com.quembridge.tavro.Notifications.Invoke(id, action) on the same object replaces the user's click.
"""

import json
import sys

import dbus
import dbus.mainloop.glib
import dbus.service
from gi.repository import GLib

NAME = "org.freedesktop.Notifications"
CONTROL = "com.quembridge.tavro.Notifications"


class Daemon(dbus.service.Object):
    def __init__(self, bus, file):
        super().__init__(dbus.service.BusName(NAME, bus), "/org/freedesktop/Notifications")
        self.file = file
        self.last = 0

    def record(self, **fields):
        with open(self.file, "a", encoding="utf-8") as out:
            print(json.dumps(fields), file=out)

    @dbus.service.method(NAME, in_signature="susssasa{sv}i", out_signature="u")
    def Notify(self, app, replaces, icon, summary, body, actions, hints, timeout):
        self.last = int(replaces) or self.last + 1
        pairs = [str(text) for text in actions]
        self.record(
            id=self.last,
            app=str(app),
            icon=str(icon),
            summary=str(summary),
            body=str(body),
            actions=dict(zip(pairs[::2], pairs[1::2])),
            urgency=int(hints.get("urgency", 1)),
            timeout=int(timeout),
        )
        return self.last

    @dbus.service.method(NAME, in_signature="u")
    def CloseNotification(self, number):
        self.record(closed=int(number))
        self.NotificationClosed(number, 3)

    @dbus.service.method(NAME, out_signature="as")
    def GetCapabilities(self):
        return ["actions", "body", "persistence"]

    @dbus.service.method(NAME, out_signature="ssss")
    def GetServerInformation(self):
        return ("recorder", "tavro", "1", "1.2")

    @dbus.service.signal(NAME, signature="us")
    def ActionInvoked(self, number, action):
        pass

    @dbus.service.signal(NAME, signature="uu")
    def NotificationClosed(self, number, reason):
        pass

    @dbus.service.method(CONTROL, in_signature="us")
    def Invoke(self, number, action):
        self.ActionInvoked(number, action)
        self.NotificationClosed(number, 2)


dbus.mainloop.glib.DBusGMainLoop(set_as_default=True)
daemon = Daemon(dbus.SessionBus(), sys.argv[1])
GLib.MainLoop().run()
