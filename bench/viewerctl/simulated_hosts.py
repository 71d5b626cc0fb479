"""Any number of Viewer Hosts in one process: simulated_hosts.py PICTURE-BYTES [DEAD-ADDRESS…]

Answers on port 9090 of every address of this machine with one display and with pictures each of
which differs from the one before and says when it was made; behind the dead addresses nobody says
anything. Prints a line when it listens.
"""
import asyncio
import itertools
import socket
import sys
import time

LABEL = "0123456789abcdef0123456789abcdef-fedcba9876543210fedcba9876543210-"
LISTING = (b'{"protocol":"Velmora.Windows.ViewerHost","version":1,"machineName":"Simulated",'
           b'"displays":[{"id":"display","name":"Screen","width":1920,"height":1080}]}')
# As much of a JPEG of 640 x 360 as a header has, behind a comment with the time.
BEGIN, TIME_BYTES, FRAME = b"\xff\xd8\xff\xfe\x00\x0a", 8, bytes.fromhex("ffc0000b080168028001011100")
HEAD = ("HTTP/1.1 200 OK\r\nContent-Type: {}\r\nContent-Length: {}\r\n{}"
        "Cache-Control: no-store\r\nConnection: close\r\n\r\n")


class Connection(asyncio.Protocol):
    numbers = itertools.count(1)
    filling = b""

    def connection_made(self, transport):
        self.transport = transport
        self.head = b""

    def data_received(self, data):
        self.head += data
        if self.head.endswith(b"\r\n\r\n"):
            self.transport.write(self.answer())
            self.transport.close()

    def answer(self):
        if b" /viewer/v1/displays " in self.head:
            return HEAD.format("application/json", len(LISTING), "").encode() + LISTING
        body = BEGIN + time.monotonic_ns().to_bytes(TIME_BYTES, "big") + FRAME + self.filling
        label = f"X-Velmora-Frame: {LABEL}{next(self.numbers)}\r\n"
        return HEAD.format("image/jpeg", len(body), label).encode() + body


def deaden(address):
    """Where the queue of those who want to connect is full, the system answers nobody."""
    listener = socket.socket()
    listener.setsockopt(socket.SOL_SOCKET, socket.SO_REUSEPORT, 1)
    listener.bind((address, 9090))
    listener.listen(0)
    filling = socket.create_connection((address, 9090))
    return listener, filling


async def serve(picture_bytes, dead):
    kept = [deaden(address) for address in dead]
    Connection.filling = b"\0" * (picture_bytes - 2) + b"\xff\xd9"
    server = await asyncio.get_running_loop().create_server(Connection, "0.0.0.0", 9090,
                                                            reuse_port=True, backlog=4096)
    print(f"listening; {len(kept)} addresses are dead", flush=True)
    await server.serve_forever()


if __name__ == "__main__":
    asyncio.run(serve(int(sys.argv[1]), sys.argv[2:]))
