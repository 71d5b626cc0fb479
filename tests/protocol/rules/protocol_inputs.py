"""Random machines and random bytes for them: requests as they should be, changed here and there, at the
limit of a head's length, or of bytes alone."""

from protocol_rules import DISPLAYS, FRAME, MOST_FRAME_BYTES, MOST_HEAD_BYTES, Display, World

METHODS = ["GET"] * 12 + ["POST", "HEAD", "get", "GETT", "GE", "G\u00c9T", "", "\tGET", "GET\t"]
GAPS = [" "] * 12 + ["  ", "   ", "", "\t", " \t", "\r", "\n", "\r\n", "\u00a0"]
VERSIONS = ["HTTP/1.1"] * 8 + ["HTTP/1.0", "HTTP/9", "x", "", "a b", "GET", "\x00", "\u00ff"]
FIELDS = [
    "Host: studio", "Accept: */*", "Content-Length: 7", "Transfer-Encoding: chunked", "no field", ":",
    "Cookie: \u00e9", "X: \x00\x7f", "GET / HTTP/1.1", "\r", "\n", " folded",
]
ENDS = ["\r\n\r\n"] * 14 + ["\r\n", "\n\n", "\r\r\n\n", "\r\n\r", "\n\r\n", "", "\r\n\n"]
TRAILERS = [""] * 12 + ["x", "\r\n\r\n", "GET / HTTP/1.1\r\n\r\n", "\x7f", "\x80", "\u00c3"]
TARGETS = [
    DISPLAYS + "/", DISPLAYS + "?x=1", DISPLAYS[:-1], DISPLAYS.upper(), FRAME[:-1], "/", "*", "",
    "/viewer/v1/frame?ID=1", "/viewer/v1/frame", "http://studio" + DISPLAYS, "//viewer/v1/displays",
    "/viewer/v1/Frame?id=1", "/viewer/v1/frame?id=",
]
BROKEN_IDS = [
    "%", "%1", "%G1", "%1g", "%%", "%FF", "%C3%28", "%C0%80", "%ED%A0%80", "%F4%90%80%80", "%E2%82",
    "%F8%88%80%80%80", "%80", "%C1%BF", "%E0%9F%BF", "%F0%8F%BF%BF", "%+1", "% 1", "%0x", "%-1",
]
IDS = [
    "", "1", "Display 1", "macos-display:0d3ad4be-52a8-4b1a-9d2e-0a8d2b1c7f11", "%20", "a+b", "A", "a",
    "1&size=small", "\u00e9", "e\u0301", "\u20ac", "\ud7ff\ue000", "\U0001f5a5", "\U0010ffff", "\x00", "\x7f", "/",
    "\r\n", "\"\\\b\f\n\r\t\x1f", "%G1", "\ufeff1", "\ufffd",
]
NAMES = ["Display", "", "DELL \"27\"", "a/b\\c", "\u041c\u043e\u043d\u0438\u0442\u043e\u0440", "\x00\x01\x1f\x7f\u0080\u2028", "\U0001f5a5"]
SIZES = [0, 1, 640, 1512, -1, 2**31, 2**63 - 1, -(2**63)]
FRAMES = [
    None, 0, 1, 2, 3, 1000, 48213, MOST_FRAME_BYTES - 1, MOST_FRAME_BYTES, MOST_FRAME_BYTES + 1,
]
SYLLABLES = [
    b"GET", b" ", b"\r\n", b"\r\n\r\n", b"/viewer/v1/", b"displays", b"frame?id=", b"%", b"\r", b"\n", b"HTTP/1.1",
    b"\x00", b"\x80", b"\xff", b"%41", b"1", b":",
]


def world(random):
    """A machine of up to six displays. Ids may be equal: the first one counts."""
    displays = [
        Display(
            random.choice(IDS), random.choice(NAMES), random.choice(SIZES), random.choice(SIZES),
            random.choice(FRAMES),
        )
        for _ in range(random.randrange(7))
    ]
    return World(random.choice(NAMES), displays)


def escaped(text, random):
    """Any spelling of the text: what a target cannot hold, and as much more as chance has it."""
    share = random.choice([0.0, 0.1, 1.0])
    spelled = []
    for byte in text.encode("utf-8"):
        if byte in b"% \r\n" or byte > 0x7E or byte < 0x20 or random.random() < share:
            spelled.append(("%%%02x" if random.random() < 0.5 else "%%%02X") % byte)
        else:
            spelled.append(chr(byte))
    return "".join(spelled)


def target(random, machine):
    chance = random.random()
    if chance < 0.2:
        return DISPLAYS
    if chance < 0.65 and machine.displays:
        return FRAME + escaped(random.choice(machine.displays).id, random)
    if chance < 0.75:
        return FRAME + escaped(random.choice(IDS), random)
    if chance < 0.85:
        return FRAME + random.choice(["", "a", "1"]) + random.choice(BROKEN_IDS) + random.choice(["", "1"])
    return random.choice(TARGETS)


def spread(random, usual, others):
    """Mostly what is usual, so that most requests have one fault or none."""
    return usual if random.random() < 0.85 else random.choice(others)


def request(random, machine):
    lines = [
        spread(random, "", ["", " ", "  ", "\r\n"])
        + spread(random, "GET", METHODS)
        + spread(random, " ", GAPS)
        + target(random, machine)
        + spread(random, " ", GAPS)
        + spread(random, "HTTP/1.1", VERSIONS)
        + spread(random, "", ["", " ", "   ", " x"])
    ]
    lines += [random.choice(FIELDS[:4]) for _ in range(random.randrange(3))]
    if random.random() < 0.1:
        lines.append(random.choice(FIELDS))
    text = "\r\n".join(lines) + spread(random, "\r\n\r\n", ENDS) + spread(random, "", TRAILERS)
    return bytearray(text.encode("latin-1"))


def lengthened(data, random):
    """The same with a run of one byte somewhere, which makes it about as long as a head may be."""
    run = max(0, MOST_HEAD_BYTES + random.randrange(-4, 5) - len(data))
    place = random.choice([0, len(data), random.randrange(len(data) + 1), min(16, len(data))])
    data[place:place] = random.choice([b"x", b" ", b"a", b"\r", b"\x80"]) * run


def changed(data, random):
    """The same with one place changed."""
    place = random.randrange(len(data) + 1)
    last = min(len(data), place + random.randrange(9))
    kind = random.randrange(6)
    if kind == 0:
        data[place:last] = b""
    elif kind == 1:
        data[place:place] = data[place:last]
    elif kind == 2:
        data[place:place] = random.choice(SYLLABLES)
    elif kind == 3:
        del data[place:]
    elif kind == 4 and place < len(data):
        data[place] ^= 1 << random.randrange(8)
    elif place < len(data):
        data[place] = random.randrange(256)


def received(random, machine):
    """What one connection has received."""
    chance = random.random()
    if chance < 0.02:
        return random.randbytes(random.randrange(64))
    if chance < 0.08:
        return b"".join(random.choices(SYLLABLES, k=random.randrange(24)))
    data = request(random, machine)
    if random.random() < 0.03:
        lengthened(data, random)
    while random.random() < 0.25:
        changed(data, random)
    return bytes(data)
