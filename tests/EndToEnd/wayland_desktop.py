"""The virtual Wayland desktop itself: what its portal hands out, seen by a client that shares no code with ours."""

import itertools
import os
import pathlib
import subprocess
import sys
import tempfile

import dbus
import dbus.mainloop.glib
from gi.repository import GLib

from harness import check, equal, wait_for

import wayland  # of tools/desktop, where harness has pointed to

PORTAL = "org.freedesktop.portal.Desktop", "/org/freedesktop/portal/desktop"
MONITOR, EMBEDDED_POINTER, PERMANENT = dbus.UInt32(1), dbus.UInt32(2), dbus.UInt32(2)
GIVEN, CANCELLED = 0, 1  # answers
OUTPUTS = {
    "HEADLESS-1": {"size": (1920, 1080), "left": 0, "colour": "aa2200"},
    "HEADLESS-2": {"size": (1280, 720), "left": 1920, "colour": "0044cc"},
}
CHOICE = pathlib.Path(os.environ["TAVRO_DESKTOP"], "portal-choice")
dbus.mainloop.glib.DBusGMainLoop(set_as_default=True)


class Client:
    """A program on the bus that asks the portal for screens."""

    def __init__(self):
        self.bus = dbus.SessionBus(private=True)
        self.portal = dbus.Interface(self.bus.get_object(*PORTAL), "org.freedesktop.portal.ScreenCast")
        self.names = map("name{}".format, itertools.count())  # the backend does not free those of requests

    def ask(self, method, *arguments, **options):
        """The code and the results of the portal's answer."""
        name, answer, loop = next(self.names), [], GLib.MainLoop()

        def answered(code, results):
            answer.extend((int(code), results))
            loop.quit()

        request = f"{PORTAL[1]}/request/{self.bus.get_unique_name()[1:].replace('.', '_')}/{name}"
        signal = self.bus.add_signal_receiver(answered, "Response", "org.freedesktop.portal.Request", path=request)
        patience = GLib.timeout_add_seconds(30, loop.quit)
        options = dbus.Dictionary({**options, "handle_token": name}, signature="sv")
        self.portal.get_dbus_method(method)(*arguments, options)
        loop.run()
        signal.remove()
        check(answer, f"no answer to {method}")
        GLib.source_remove(patience)
        return answer


class Cast:
    """A session of the portal, with what the user and it decided."""

    def __init__(self, client, **token):
        self.client = client
        _, created = client.ask("CreateSession", session_handle_token=next(client.names))
        self.session = dbus.ObjectPath(created["session_handle"])
        wishes = {"types": MONITOR, "cursor_mode": EMBEDDED_POINTER, "persist_mode": PERMANENT, **token}
        self.code, _ = client.ask("SelectSources", self.session, **wishes)
        if self.code == GIVEN:
            self.code, self.started = client.ask("Start", self.session, "")

    def frame(self, output):
        """The RGB bytes of a picture. There is one when something changes, so the pointer moves there meanwhile."""
        stream = self.client.portal.OpenPipeWireRemote(self.session, dbus.Dictionary(signature="sv")).take()
        source = f"pipewiresrc fd={stream} path={int(self.started['streams'][0][0])} num-buffers=1"
        with tempfile.NamedTemporaryFile() as file:
            rest = f"! videoconvert ! video/x-raw,format=RGB ! filesink location={file.name}"
            command = ["gst-launch-1.0", "-q", *source.split(), *rest.split()]
            with subprocess.Popen(command, pass_fds=[stream]) as reader:
                places = itertools.cycle(range(100))

                def ended():
                    wayland.move_pointer(OUTPUTS[output]["left"] + next(places), 50)
                    return reader.poll() is not None

                try:
                    wait_for(ended, f"a picture of {output}")
                finally:
                    reader.kill()
            return file.read()

    def close(self):
        session = self.client.bus.get_object(PORTAL[0], self.session)
        dbus.Interface(session, "org.freedesktop.portal.Session").Close()


def check_frame(cast, output):
    equal(cast.code, GIVEN, "the portal's answer")
    width, height = OUTPUTS[output]["size"]
    frame = cast.frame(output)
    equal((len(frame), frame[-3:].hex()), (3 * width * height, OUTPUTS[output]["colour"]), f"picture of {output}")


def main():
    for name, output in OUTPUTS.items():
        subprocess.run(["swaymsg", "-q", "output", name, "bg", "#" + output["colour"], "solid_color"], check=True)
        look = ["grim", "-o", name, "-t", "ppm", "-"]
        shown = lambda: subprocess.run(look, stdout=subprocess.PIPE, check=True).stdout[-3:].hex()  # noqa: B023
        wait_for(lambda: shown() == output["colour"], f"the colour of {name}")  # noqa: B023

    client, tokens = Client(), {}
    for choice, output in ((None, "HEADLESS-1"), ("HEADLESS-2", "HEADLESS-2"), ("HEADLESS-1", "HEADLESS-1")):
        if choice:
            CHOICE.write_text(choice + "\n")
        cast = Cast(client)
        check_frame(cast, output)
        tokens[output] = cast.started["restore_token"]
        cast.close()

    CHOICE.write_text("")
    equal(Cast(client).code, CANCELLED, "the answer when the user cancels")

    client = Client()  # as after a restart of the program
    for output, token in tokens.items():  # nobody is asked: the user would cancel
        cast = Cast(client, restore_token=token)
        check_frame(cast, output)
        cast.close()


if __name__ == "__main__":
    sys.exit(main())
