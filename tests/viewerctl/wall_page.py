"""A page of the wall without a browser: what velmora-viewerctl says to it, and what it looks at."""
import asyncio
import json
import re

import websockets

from scripted_host import PATIENCE

PROTOCOL = "velmora-wall-1"


class Wall:
    """A running wall: where it is served, and the token of the file that leads there."""

    def __init__(self, process):
        self.process = process
        self.path = process.stdout.readline().strip()
        with open(self.path, encoding="utf-8") as file:
            link = re.search(r'href="http://([^/"]+)/#([0-9a-f]{64})"', file.read())
        self.authority, self.token = link.groups()

    def page(self, test):
        page = Page(self)
        test.addCleanup(page.close)
        return page


class Page:
    """One WebSocket; its loop stands still between calls, as that of a page that reads slowly."""

    def __init__(self, wall):
        self.loop = asyncio.new_event_loop()
        self.tiles = {}
        self.hosts = {}
        self.pictures = {}
        self.socket = self.run(lambda: websockets.connect(
            f"ws://{wall.authority}/live", open_timeout=PATIENCE, max_size=None, max_queue=1,
            compression=None, ping_interval=None, close_timeout=1,
            origin=f"http://{wall.authority}", subprotocols=[PROTOCOL, wall.token]))

    def run(self, begin):
        async def patiently():
            return await asyncio.wait_for(begin(), PATIENCE)
        return self.loop.run_until_complete(patiently())

    def close(self):
        if not self.loop.is_closed():
            self.run(self.socket.close)
            self.loop.close()

    def send(self, text):
        self.run(lambda: self.socket.send(text))

    def look(self, *tiles, interval=200):
        self.send(json.dumps({"kind": "look", "tiles": [[tile, interval] for tile in tiles]}))

    def receive(self):
        """The next message, as an object; a picture has kind "picture"."""
        message = self.run(self.socket.recv)
        if isinstance(message, bytes):
            label_end = 9 + message[8]
            message = {"kind": "picture", "tile": int.from_bytes(message[:4], "big"),
                       "age": int.from_bytes(message[4:8], "big"),
                       "label": message[9:label_end].decode(), "jpeg": message[label_end:]}
        else:
            message = json.loads(message)
        kept = {"host": self.hosts, "tile": self.tiles, "picture": self.pictures}
        if message["kind"] in kept:
            number = message["host" if message["kind"] == "host" else "tile"]
            kept[message["kind"]][number] = message
        return message

    def until(self, is_awaited):
        """The first message that is awaited."""
        while True:
            message = self.receive()
            if is_awaited(message):
                return message

    def host(self, number=0, **about):
        """The host's next news that say this."""
        return self.until(lambda message: message["kind"] == "host" and message["host"] == number
                          and about.items() <= message.items())

    def tile(self, number, **about):
        return self.until(lambda message: message["kind"] == "tile" and message["tile"] == number
                          and about.items() <= message.items())

    def picture(self, number):
        return self.until(lambda message: message["kind"] == "picture"
                          and message["tile"] == number)

    def closing(self):
        """The code with which the program closes the connection, whatever it says before."""
        try:
            while True:
                self.receive()
        except websockets.ConnectionClosed:
            return self.socket.close_code
