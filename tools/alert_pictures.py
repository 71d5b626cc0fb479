#!/usr/bin/python3
"""Makes the pictures of the alerts in docs/alerts from the built program.

Usage: tools/alert_pictures.py [BUILD_FOLDER]. Runs the host on a virtual X server, once in each
language: as the tests do where the system can be asked for the permission and what comes of that is
given, where the server lets it show windows but not read the screen, and with its port taken.
Needs: scripts/packages build demo test
"""
import json
import os
import pathlib
import signal
import socket
import struct
import subprocess
import sys
import tempfile
import zlib

ROOT = pathlib.Path(__file__).resolve().parents[1]
PICTURES = ROOT / "docs" / "alerts"
BACKGROUND = "#23395b"
MARGIN = 12
PORT = 9090
# The language, and the names of the buttons that go on from and cancel the alert that asks for consent,
# and of those that close the alerts that tell what is missing, and why the server did not start.
LANGUAGES = {"en": ("Continue", "Cancel", "Close", "OK"),
             "ru": ("Продолжить", "Отмена", "Закрыть", "OK")}
# What may keep the host from its permission: the picture's name, and the tests' letter for it.
OUTCOMES = {"declined": "d", "no-whole-screen": "w", "portal-missing": "m",
            "portal-without-screens": "b", "portal-silent": "s", "display-remote": "r",
            "compositor-silent": "c", "display-server-silent": "a"}
# Whose package the alerts name.
DESKTOP = "sway"


def screen(environment):
    """The screen's rows of red, green and blue."""
    dump = subprocess.run(["xwd", "-silent", "-root"], env=environment, check=True,
                          stdout=subprocess.PIPE).stdout
    header = struct.unpack(">25I", dump[:100])
    width, height, depth, stride = header[4], header[5], header[11] // 8, header[12]
    start = header[0] + 12 * header[19]  # behind the header and the colour map
    rows = []
    for y in range(height):
        row = dump[start + y * stride:start + y * stride + depth * width]
        rows.append(bytes(row[x + channel] for x in range(0, depth * width, depth)
                          for channel in (2, 1, 0)))
    return rows


def write_png(path, rows):
    def chunk(kind, data):
        return (struct.pack(">I", len(data)) + kind + data
                + struct.pack(">I", zlib.crc32(kind + data)))

    header = struct.pack(">IIBBBBB", len(rows[0]) // 3, len(rows), 8, 2, 0, 0, 0)
    data = zlib.compress(b"".join(b"\0" + row for row in rows), 9)
    path.write_bytes(b"\x89PNG\r\n\x1a\n" + chunk(b"IHDR", header) + chunk(b"IDAT", data)
                     + chunk(b"IEND", b""))


def use(action, button, environment):
    output = subprocess.run(
        ["/usr/bin/python3", "-W", "ignore", ROOT / "tests/support/desktop/accessible_alert.py", action,
         button, "20"], env=environment, check=True, stdout=subprocess.PIPE, text=True).stdout
    return json.loads(output[output.index('{"role"'):])


def take(name, button, environment):
    """Takes the picture of the alert that shows, then presses its button."""
    x, y, width, height = use("read", button, environment)["place"]
    rows = screen(environment)
    left, right = max(x - MARGIN, 0), x + width + MARGIN
    PICTURES.mkdir(exist_ok=True)
    write_png(PICTURES / f"{name}.png",
              [row[3 * left:3 * right] for row in rows[max(y - MARGIN, 0):y + height + MARGIN]])
    use("press", button, environment)


def take_of(command, environment, language, authority, name, button, before=None):
    """The picture of the last alert of that host; with `before`, the button of the one before it."""
    process = subprocess.Popen(command, env=dict(environment, LC_ALL=language, XAUTHORITY=authority),
                               stdout=subprocess.DEVNULL)
    try:
        if before:
            use("press", before, environment)
        take(f"{name}-{language}", button, environment)
        if process.wait(10) != 0:
            raise RuntimeError("the host did not end in order")
    finally:
        process.kill()


def take_all(folder_of_programs, folder, display):
    environment = dict(os.environ, DISPLAY=display, XAUTHORITY=f"{folder}/authority",
                       XDG_RUNTIME_DIR=folder, XDG_CURRENT_DESKTOP=DESKTOP,
                       QT_LINUX_ACCESSIBILITY_ALWAYS_ON="1")
    environment.pop("WAYLAND_DISPLAY", None)
    subprocess.run(["xauth", "-q", "-f", f"{folder}/untrusted", "generate", display, ".",
                    "untrusted", "timeout", "0"], env=environment, check=True)
    subprocess.run(["xsetroot", "-solid", BACKGROUND], env=environment, check=True)
    for language, (proceed, cancel, close, ok) in LANGUAGES.items():
        scripted = folder_of_programs / "scripted_host"
        take_of([scripted, "n", "n", "linux"], environment, language, f"{folder}/authority",
                "consent", cancel)
        for name, letter in OUTCOMES.items():
            take_of([scripted, f"n{letter}", "n", "linux"], environment, language,
                    f"{folder}/authority", name, close, before=proceed)
        host = [folder_of_programs / "VelmoraViewerHost"]
        take_of(host, environment, language, f"{folder}/untrusted", "permission-missing", close)
        with socket.create_server(("", PORT)):
            take_of(host, environment, language, f"{folder}/authority", "did-not-start", ok)


def start_server(folder):
    """A virtual X server, and its display's name."""
    authority = f"{folder}/authority"
    cookie = os.urandom(16).hex()
    reader, writer = os.pipe()
    # The cookie of any display: which one it is the server tells only when it has read this.
    subprocess.run(["xauth", "-q", "-f", authority, "add", ":0", ".", cookie], check=True)
    server = subprocess.Popen(
        ["Xvfb", "-displayfd", str(writer), "-screen", "0", "1024x640x24", "-noreset", "-nolisten",
         "tcp", "+extension", "SECURITY", "-auth", authority], pass_fds=[writer],
        stderr=subprocess.DEVNULL)
    os.close(writer)
    with os.fdopen(reader) as number:
        display = f":{number.readline().strip()}"
    subprocess.run(["xauth", "-q", "-f", authority, "add", display, ".", cookie], check=True)
    return server, display


def main():
    if "VIEWER_PICTURES_SESSION" not in os.environ:
        # Everything once more inside a session of its own.
        os.environ["VIEWER_PICTURES_SESSION"] = "1"
        os.execvp("dbus-run-session", ["dbus-run-session", "--", *sys.argv])
    build = pathlib.Path(sys.argv[1] if len(sys.argv) > 1 else ROOT / "build/test")
    with tempfile.TemporaryDirectory() as folder:
        server, display = start_server(folder)
        try:
            take_all(build / "bin", folder, display)
        finally:
            server.send_signal(signal.SIGTERM)
            server.wait()


if __name__ == "__main__":
    main()
