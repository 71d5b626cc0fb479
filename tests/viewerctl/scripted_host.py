"""Hosts that answer as a test says, each on a loopback port of its own."""
import socket
import threading

PATIENCE = 30  # seconds; longer than anything that goes well takes
LABEL = "0123456789abcdef0123456789abcdef-fedcba9876543210fedcba9876543210-"


def listing(*displays, machine="Studio", protocol="Velmora.Windows.ViewerHost", version=1):
    """A listing's JSON; each display is its id and its name."""
    import json
    return json.dumps({"protocol": protocol, "version": version, "machineName": machine,
                       "displays": [{"id": each, "name": name, "width": 1920, "height": 1080}
                                    for each, name in displays]},
                      separators=(",", ":"), ensure_ascii=False).encode()


def answer(body, kind="application/json", status="200 OK", label=None, length=None):
    head = (f"HTTP/1.1 {status}\r\nContent-Type: {kind}\r\n"
            f"Content-Length: {len(body) if length is None else length}\r\n"
            "Cache-Control: no-store\r\nConnection: close\r\n")
    if label is not None:
        head += f"X-Velmora-Frame: {label}\r\n"
    return head.encode() + b"\r\n" + body


def jpeg(width=64, height=36, filling=b""):
    """As much of a JPEG as a header has."""
    frame = bytes([8]) + height.to_bytes(2, "big") + width.to_bytes(2, "big") + bytes([1, 1, 17, 0])
    comment = b"\xff\xfe" + (len(filling) + 2).to_bytes(2, "big") + filling
    return (b"\xff\xd8" + comment + b"\xff\xc0" + (len(frame) + 2).to_bytes(2, "big") + frame +
            b"\xff\xd9")


def picture(number=1, **about):
    return answer(jpeg(**about), kind="image/jpeg", label=LABEL + str(number))


class ScriptedHost:
    """Calls `serve(connection, target)` for each request, in a thread of its own. The connection is
    closed behind it."""

    def __init__(self, serve, family=socket.AF_INET, port=0):
        self.serve = serve
        self.listener = socket.socket(family, socket.SOCK_STREAM)
        self.listener.setsockopt(socket.SOL_SOCKET, socket.SO_REUSEADDR, 1)
        self.listener.bind(("127.0.0.1" if family == socket.AF_INET else "::1", port))
        self.listener.listen(256)
        self.port = self.listener.getsockname()[1]
        self.name = f"127.0.0.1:{self.port}"
        self.requests = []
        self.lock = threading.Lock()
        self.ending = threading.Event()
        threading.Thread(target=self.accept, daemon=True).start()

    def close(self):
        self.ending.set()
        try:
            self.listener.shutdown(socket.SHUT_RDWR)  # wakes whoever accepts
        except OSError:
            pass  # it was closed before
        self.listener.close()

    def accept(self):
        while True:
            try:
                connection, _ = self.listener.accept()
            except OSError:
                return
            threading.Thread(target=self.handle, args=(connection,), daemon=True).start()

    def handle(self, connection):
        try:
            with connection:
                connection.settimeout(PATIENCE)
                head = b""
                while b"\r\n\r\n" not in head:
                    received = connection.recv(4096)
                    if not received:
                        return
                    head += received
                with self.lock:
                    self.requests.append(head.decode())
                self.serve(connection, head.split()[1].decode())
        except OSError:
            pass  # the program ended the connection, as it may


def serving(*displays, frame=None, **about):
    """A host that answers properly; `frame` makes the answer to a request for a frame."""
    def serve(connection, target):
        if target == "/viewer/v1/displays":
            connection.sendall(answer(listing(*displays, **about)))
        else:
            connection.sendall(frame(target) if frame else picture())
    return serve


def sending(data):
    """A host that sends these bytes, whatever it is asked."""
    return lambda connection, target: connection.sendall(data)
