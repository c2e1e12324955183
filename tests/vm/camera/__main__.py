"""A webcam made of software, plugged into this machine's own kernel. Needs root and the module vhci-hcd.

python3 tests/vm/camera [--name NAME] [--socket PATH]            is the camera, until it is ended
python3 tests/vm/camera tell [--socket PATH] '{"cmd":"unplug"}'   commands (see commands.py)
"""

import argparse
import os
import selectors
import signal
import socket
import sys

import commands
from descriptors import Names
from device import Camera

DEFAULT_SOCKET = "/run/tarvo-camera.sock"


def listen(path):
    if os.path.exists(path):
        os.unlink(path)
    server = socket.socket(socket.AF_UNIX)
    server.bind(path)
    server.listen()
    return server


class Service:
    """One thread does it all: the kernel's requests, the commands, the pictures."""

    def __init__(self, camera, server):
        self.camera = camera
        self.events = selectors.DefaultSelector()
        self.events.register(server, selectors.EVENT_READ, self._accept)
        self._registered = None
        self._lines = {}

    def run(self):
        while True:
            self._follow_cable()
            for key, _ in self.events.select(self.camera.stream.seconds_to_next()):
                key.data(key.fileobj)
            if self.camera.cable is not None:
                self.camera.send_due()

    def _follow_cable(self):
        current = self.camera.cable.socket if self.camera.cable is not None else None
        if current is self._registered:
            return
        if self._registered is not None:
            self.events.unregister(self._registered)
        if current is not None:
            self.events.register(current, selectors.EVENT_READ, self._receive)
        self._registered = current

    def _receive(self, which):
        if self.camera.cable is not None and which is self.camera.cable.socket:
            self.camera.receive()

    def _accept(self, server):
        client, _ = server.accept()
        self._lines[client] = b""
        self.events.register(client, selectors.EVENT_READ, self._command)

    def _command(self, client):
        try:
            piece = client.recv(65536)
            *lines, self._lines[client] = (self._lines[client] + piece).split(b"\n")
            for line in lines:
                client.sendall(commands.carry_out(self.camera, line))
        except OSError:
            piece = b""
        if not piece:
            self.events.unregister(client)
            del self._lines[client]
            client.close()


def be_camera(options):
    camera = Camera(Names(product=options.name, serial=options.serial))
    server = listen(options.socket)

    def end(*_):
        camera.unplug()
        sys.exit(0)

    signal.signal(signal.SIGTERM, end)
    signal.signal(signal.SIGINT, end)
    camera.plug()
    Service(camera, server).run()


def tell(options):
    with socket.socket(socket.AF_UNIX) as client, client.makefile("rwb") as stream:
        client.connect(options.socket)
        for line in options.command:
            stream.write(line.encode() + b"\n")
            stream.flush()
            print(stream.readline().decode(), end="")


def main():
    parser = argparse.ArgumentParser(prog="camera", description=__doc__, formatter_class=argparse.RawTextHelpFormatter)
    parser.add_argument("--socket", default=DEFAULT_SOCKET)
    parser.add_argument("--name", default=Names.product)
    parser.add_argument("--serial", default=Names.serial)
    parser.add_argument("tell", nargs="?", choices=["tell"])
    parser.add_argument("command", nargs="*")
    options = parser.parse_args()
    (tell if options.tell else be_camera)(options)


main()
