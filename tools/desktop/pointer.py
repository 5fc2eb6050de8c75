#!/usr/bin/python3
"""A mouse for a compositor of the wlroots family that has none, by the protocol wlr-virtual-pointer-unstable-v1.

    pointer.py SOCKET      the mouse is there while this program runs

A client of the Unix socket says "X Y WIDTH HEIGHT", a place in a layout of that size, and hears "done" when the
compositor has moved the pointer there. Debian has no Python library for Wayland, so this speaks the wire format.
"""

import os
import socket
import struct
import sys
import time

DISPLAY, REGISTRY = 1, 2  # objects
SYNC, GET_REGISTRY, BIND, CREATE_VIRTUAL_POINTER, MOTION_ABSOLUTE, FRAME = 0, 1, 0, 0, 1, 4  # requests
ERROR, GLOBAL = 0, 0  # events
NO_SEAT = 0  # the compositor chooses


class Connection:
    """Objects have numbers, given in turn. A message is object, length and number, and arguments of 32-bit words."""

    def __init__(self):
        self.socket = socket.socket(socket.AF_UNIX)
        self.socket.connect(os.path.join(os.environ["XDG_RUNTIME_DIR"], os.environ["WAYLAND_DISPLAY"]))
        self.stream = self.socket.makefile("rb")
        self.last_object = REGISTRY
        self.globals = {}
        self.request(DISPLAY, GET_REGISTRY, REGISTRY)
        self.wait()

    def new_object(self):
        self.last_object += 1
        return self.last_object

    def request(self, target, opcode, *arguments):
        words = b""
        for argument in arguments:
            if isinstance(argument, str):
                text = argument.encode() + b"\0"
                words += struct.pack("=I", len(text)) + text + b"\0" * (-len(text) % 4)
            else:
                words += struct.pack("=I", argument)
        self.socket.sendall(struct.pack("=IHH", target, opcode, 8 + len(words)) + words)

    def wait(self):
        """Until the compositor has done all that was requested."""
        done = self.new_object()
        self.request(DISPLAY, SYNC, done)
        source = None
        while source != done:
            header = self.stream.read(8)
            if len(header) < 8:
                sys.exit("the compositor is gone")
            source, opcode, length = struct.unpack("=IHH", header)
            words = self.stream.read(length - 8)
            if (source, opcode) == (DISPLAY, ERROR):
                sys.exit(f"the compositor refused: {words}")
            if (source, opcode) == (REGISTRY, GLOBAL):
                name, size = struct.unpack_from("=II", words)
                self.globals[words[8 : 8 + size - 1].decode()] = name

    def bind(self, interface):
        number = self.new_object()
        self.request(REGISTRY, BIND, self.globals[interface], interface, 1, number)
        return number


def main():
    compositor = Connection()
    manager = compositor.bind("zwlr_virtual_pointer_manager_v1")
    pointer = compositor.new_object()
    compositor.request(manager, CREATE_VIRTUAL_POINTER, NO_SEAT, pointer)
    compositor.wait()
    with socket.socket(socket.AF_UNIX) as listener:
        listener.bind(sys.argv[1] + ".new")
        listener.listen()
        os.rename(sys.argv[1] + ".new", sys.argv[1])  # there when it answers
        while True:
            client, _ = listener.accept()
            with client:
                place = map(int, client.makefile().readline().split())
                compositor.request(pointer, MOTION_ABSOLUTE, time.monotonic_ns() // 10**6 & 0xFFFFFFFF, *place)
                compositor.request(pointer, FRAME)
                compositor.wait()
                client.sendall(b"done\n")


main()
