"""The program's windows on a Wayland desktop: on its X server where that answers, else on the compositor."""

import json
import os

import harness
from harness import driver, equal, wait_for


def window():
    """How the compositor got the program's first window: "xwayland" or "xdg_shell"; nothing while there is none."""
    nodes = [json.loads(driver.run("swaymsg", "--raw", "--type", "get_tree"))]
    while nodes:
        node = nodes.pop()
        if node.get("name") == "Welcome to Tavro":
            return node["shell"]
        nodes += node["nodes"] + node["floating_nodes"]
    return None


def shown_through(scene, expected, **variables):
    program = scene.start(**variables)
    equal(wait_for(window, "the first window"), expected, f"the window with {sorted(variables)}")
    return program


def windows_are_on_the_x_server(scene):
    root = driver.environment("TAVRO_DESKTOP")
    opener, told = root / "opener/xdg-open", root / "environment.txt"
    opener.parent.mkdir()
    opener.write_text(f"#!/bin/sh\nenv >'{told}.new' && mv '{told}.new' '{told}'\n")
    opener.chmod(0o755)
    program = shown_through(scene, "xwayland", PATH=f"{opener.parent}:{os.environ['PATH']}")
    program.ask("view-logs")
    wait_for(told.exists, "the log folder to be opened")
    settings = [line for line in told.read_text().splitlines() if line.startswith("QT_QPA_PLATFORM=")]
    equal(settings, [], "what other programs are told of windows")
    equal(program.stop(), 0, "the exit code")


# The toolkit's own part for Wayland leaves some of its objects behind. Leaks of ours are found in the other tests.
NO_LEAKS = {"ASAN_OPTIONS": os.environ.get("ASAN_OPTIONS", "") + ":detect_leaks=0"}


def without_an_x_server_they_are_on_the_compositor(scene):
    equal(shown_through(scene, "xdg_shell", DISPLAY=":999", **NO_LEAKS).stop(), 0, "the exit code")


def the_user_may_choose(scene):
    equal(shown_through(scene, "xdg_shell", QT_QPA_PLATFORM="wayland", **NO_LEAKS).stop(), 0, "the exit code")


os.environ.pop("QT_QPA_PLATFORM", None)
harness.main([windows_are_on_the_x_server, without_an_x_server_they_are_on_the_compositor, the_user_may_choose])
