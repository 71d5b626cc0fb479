"""The protocol's rules from received bytes to answered bytes, as plainly as they can be said.

Nothing here is quick or clever, and nothing is taken from the host's own code: the two are compared.
"""

import json

MOST_HEAD_BYTES = 8192
MOST_FRAME_BYTES = 2 * 1024 * 1024
DISPLAYS = "/viewer/v1/displays"
FRAME = "/viewer/v1/frame?id="
HEXADECIMAL = "0123456789abcdefABCDEF"


class Display:
    """One display that is listed. Its frame has `frame_bytes` bytes; with None there is no frame."""

    def __init__(self, id, name, width, height, frame_bytes):
        self.id = id
        self.name = name
        self.width = width
        self.height = height
        self.frame_bytes = frame_bytes


class World:
    """What the machine is called and which displays it has."""

    def __init__(self, machine_name, displays):
        self.machine_name = machine_name
        self.displays = displays


def parsed(data):
    """("request", target), or one of "incomplete", "not allowed" and "too large" with an empty text."""
    if len(data) > MOST_HEAD_BYTES:
        return "too large", ""
    if b"\r\n\r\n" not in data:
        return ("too large", "") if len(data) == MOST_HEAD_BYTES else ("incomplete", "")
    try:
        text = data.decode("ascii")
    except UnicodeDecodeError:
        return "not allowed", ""
    line = text.split("\r\n")[0]
    words = [word for word in line.split(" ") if word != ""]
    if len(words) != 3 or words[0] != "GET":
        return "not allowed", ""
    return "request", words[1]


def percent_decoded(text):
    """The text behind the escapes, or None where an escape or the UTF-8 is broken."""
    decoded = bytearray()
    place = 0
    while place < len(text):
        if text[place] != "%":
            decoded.append(ord(text[place]))
            place += 1
            continue
        digits = text[place + 1 : place + 3]
        if len(digits) != 2 or digits[0] not in HEXADECIMAL or digits[1] not in HEXADECIMAL:
            return None
        decoded.append(int(digits, 16))
        place += 3
    try:
        return decoded.decode("utf-8")
    except UnicodeDecodeError:
        return None


def head(status, reason, content_type, body_bytes, sequence=None):
    """A response's bytes in front of its body."""
    lines = [
        f"HTTP/1.1 {status} {reason}",
        f"Content-Type: {content_type}",
        f"Content-Length: {body_bytes}",
        "Cache-Control: no-store",
        "Connection: close",
    ]
    if sequence is not None:
        lines.append("X-Velmora-Frame: " + sequence)
    return ("\r\n".join(lines) + "\r\n\r\n").encode("utf-8")


NOT_FOUND = head(404, "Not Found", "text/plain", 0)
NOT_ALLOWED = head(405, "Method Not Allowed", "text/plain", 0)
TOO_LARGE = head(431, "Request Header Fields Too Large", "text/plain", 0)
UNAVAILABLE = head(503, "Service Unavailable", "text/plain", 0)


def listing(world):
    """The displays as they are sent."""
    displays = [
        {"id": each.id, "name": each.name, "width": each.width, "height": each.height}
        for each in world.displays
    ]
    document = {
        "protocol": "Velmora.Windows.ViewerHost",
        "version": 1,
        "machineName": world.machine_name,
        "displays": displays,
    }
    return json.dumps(document, ensure_ascii=False, separators=(",", ":")).encode("utf-8")


def routed(target, world):
    """What is asked of the displays, the response's head, and its body: bytes of a listing, or the
    number of a frame's bytes."""
    if target == DISPLAYS:
        body = listing(world)
        return ["displays"], head(200, "OK", "application/json", len(body)), body
    if not target.startswith(FRAME):
        return [], NOT_FOUND, 0
    wanted = percent_decoded(target[len(FRAME) :])
    if wanted is None:
        return [], NOT_FOUND, 0
    for display in world.displays:
        if display.id == wanted:
            break
    else:
        return ["displays"], NOT_FOUND, 0
    asked = ["displays", "frame " + wanted]
    if display.frame_bytes is None or not 0 < display.frame_bytes <= MOST_FRAME_BYTES:
        return asked, UNAVAILABLE, 0
    answer = head(200, "OK", "image/jpeg", display.frame_bytes, "label of " + wanted)
    return asked, answer, display.frame_bytes
