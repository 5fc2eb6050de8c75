"""The Wayland services of a private desktop: a compositor, the ScreenCast portal, and a mouse."""

import json
import os
import pathlib
import socket
import subprocess

from processes import Processes, StartError, bus_property, has_name, output_of, succeeds, wait_for, write

HERE = pathlib.Path(__file__).resolve().parent
SHIM = HERE / "screencopy_shim.c"


def sizes():
    """(width, height) of each output, from left to right."""
    return [tuple(map(int, size.split("x"))) for size in os.environ["TAVRO_DESKTOP_OUTPUTS"].split(",")]


def move_pointer(x, y):
    """To a place of the layout of all outputs. Returns when the compositor has moved it."""
    places = [output["rect"] for output in json.loads(output_of("swaymsg", "--raw", "--type", "get_outputs"))]
    width, height = (max(place[a] + place[b] for place in places) for a, b in (("x", "width"), ("y", "height")))
    with socket.socket(socket.AF_UNIX) as pointer:
        pointer.connect(os.environ["TAVRO_DESKTOP"] + "/pointer")
        pointer.sendall(f"{x} {y} {width} {height}\n".encode())
        if pointer.recv(16) != b"done\n":
            raise ConnectionError("the pointer was not moved")


class WaylandServices(Processes):
    def start_sway(self):
        os.environ["SWAYSOCK"] = f"{self.root}/run/sway.sock"
        environment, config = self.root / "sway.env", self.root / "sway.conf"
        lines = ["xwayland force", "default_border none", "default_floating_border none", "focus_follows_mouse no"]
        left = 0
        for number, (width, height) in enumerate(sizes(), 1):
            lines.append(f"output HEADLESS-{number} mode --custom {width}x{height}@60Hz position {left} 0")
            left += width
        lines.append(f"exec printenv WAYLAND_DISPLAY DISPLAY >{environment}")
        config.write_text("\n".join(lines) + "\n")
        for file in (environment, pathlib.Path(os.environ["SWAYSOCK"])):  # sway takes the name only of no file
            file.unlink(missing_ok=True)
        os.environ |= {"XDG_SESSION_TYPE": "wayland", "XDG_CURRENT_DESKTOP": "sway"}
        headless = {"WLR_BACKENDS": "headless", "WLR_HEADLESS_OUTPUTS": str(len(sizes())), "WLR_RENDERER": "pixman"}
        # It refuses to run as root. In a user namespace it is another user, whose files are root's outside.
        other_user = ["unshare", "--user", "--map-user=1000", "--map-group=1000"] if os.getuid() == 0 else []
        self.spawn("sway", [*other_user, "sway", "--config", config], env={**os.environ, **headless})
        wait_for(lambda: environment.exists() and environment.read_text().count("\n") == 2, "sway")
        os.environ["WAYLAND_DISPLAY"], os.environ["DISPLAY"] = environment.read_text().split()
        wait_for(lambda: succeeds("xdpyinfo"), "Xwayland")

    def start_portal(self):
        shim = self.root / "screencopy_shim.so"
        if subprocess.run(["cc", "-shared", "-fPIC", "-O1", "-o", shim, SHIM], check=False).returncode != 0:
            raise StartError(f"{SHIM} does not compile")
        choice = f"cat {self.root}/portal-choice 2>/dev/null || echo HEADLESS-1"
        write(
            pathlib.Path(os.environ["XDG_CONFIG_HOME"], "xdg-desktop-portal-wlr/config"),
            f"[screencast]\nmax_fps=240\nchooser_type=simple\nchooser_cmd={choice}\n",
        )
        self.spawn("portal", ["/usr/libexec/xdg-permission-store"])
        wait_for(lambda: has_name("org.freedesktop.impl.portal.PermissionStore"), "the portal's permissions")
        self.spawn("portal", ["/usr/libexec/xdg-desktop-portal-wlr"], env={**os.environ, "LD_PRELOAD": str(shim)})
        wait_for(lambda: has_name("org.freedesktop.impl.portal.desktop.wlr"), "the portal's backend")
        self.spawn("portal", ["/usr/libexec/xdg-desktop-portal"])
        portal = ["org.freedesktop.portal.Desktop", "/org/freedesktop/portal/desktop"]
        wait_for(lambda: bus_property(*portal, "org.freedesktop.portal.ScreenCast", "version"), "the portal")

    def start_pointer(self):
        place = self.root / "pointer"
        place.unlink(missing_ok=True)
        self.spawn("pointer", ["/usr/bin/python3", HERE / "pointer.py", place])
        wait_for(place.exists, "the pointer")
