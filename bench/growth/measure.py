#!/usr/bin/env python3
"""Measures what the host costs under growing loads: measure.py BINARIES ROUNDS >FIGURES

Each round goes through every load of every measure once. What is printed has a line for each figure:
measure, load, what of it, value; divided by tabs. Starts X servers, painters and hosts and ends them
again.
"""

import contextlib
import math
import os
import pathlib
import re
import signal
import socket
import subprocess
import sys
import time

BINARIES = pathlib.Path(sys.argv[1])
ROUNDS = int(sys.argv[2])

PORT = 9090
WARM_UP = 0.7
# Shorter than the host captures without a request.
WINDOW = 2.5
FRAMES_A_SECOND = 25

# Of the two cores one is the host's and one the load client's, so that neither takes the other's time.
HOST_CORE = ("taskset", "-c", "0")
LOAD_CORE = ("taskset", "-c", "1")

CONNECTIONS = (1, 4, 16, 64, 250, 1000, 2000, 4000)
OPERATORS = (1, 4, 16, 32, 64)
REQUESTS_A_SECOND = 25  # of each operator
DISPLAYS = (1, 2, 3, 4)
SIZES = ((1280, 720), (1920, 1080), (2560, 1440), (3840, 2160), (5120, 2880), (7680, 4320))
PERCENT_MOVING = (0, 1, 5, 10, 25, 50, 75, 100)


def processor_seconds(process):
    """The processor time of all threads that a running process has or had."""
    return time.clock_gettime(~process.pid << 3 | 2)  # the kernel's number of that clock


def main_thread_seconds(process):
    ran = pathlib.Path(f"/proc/{process.pid}/task/{process.pid}/schedstat").read_text().split()[0]
    return int(ran) / 1e9


@contextlib.contextmanager
def running(*command, **options):
    process = subprocess.Popen([str(word) for word in command], stderr=subprocess.DEVNULL, **options)
    try:
        yield process
    finally:
        process.kill()
        process.wait()
        if process.stdout:
            process.stdout.close()


@contextlib.contextmanager
def screen(width, height):
    """A virtual X server, which becomes the environment's."""
    reading, writing = os.pipe()
    with running("Xvfb", "-displayfd", writing, "-screen", 0, f"{width}x{height}x24", "-noreset",
                 "-nolisten", "tcp", stdout=subprocess.DEVNULL, pass_fds=[writing]) as server:
        os.close(writing)
        with open(reading, encoding="ascii") as display:
            os.environ["DISPLAY"] = ":" + display.readline().strip()
        yield server


@contextlib.contextmanager
def painter(width, height, percent):
    """Shows a desktop of which so much moves, in the middle."""
    side = math.sqrt(percent / 100)
    part = round(width * side), round(height * side)
    with running(BINARIES / "painter", (width - part[0]) // 2, (height - part[1]) // 2, *part,
                 stdout=subprocess.PIPE) as process:
        process.stdout.readline()
        yield


@contextlib.contextmanager
def host(*start):
    with running(*start, BINARIES / "VelmoraViewerHost", stdout=subprocess.PIPE) as process:
        process.stdout.readline()
        yield process


def ask(path):
    with socket.create_connection(("127.0.0.1", PORT)) as connection:
        connection.sendall(f"GET {path} HTTP/1.1\r\nHost: localhost\r\n\r\n".encode())
        answer = b"".join(iter(lambda: connection.recv(1 << 16), b""))
    if not answer.startswith(b"HTTP/1.1 200 "):
        sys.exit(f"the host answers {answer[:40]} to {path}")
    return answer


def frame_paths():
    listing = ask("/viewer/v1/displays")
    return ["/viewer/v1/frame?id=" + id.decode() for id in re.findall(rb"macos-display:[^\"]*", listing)]


def frames(path):
    """Asks for the newest frame; how many the host has encoded since it captures."""
    return int(re.search(rb"X-Velmora-Frame: .*-(\d+)\r", ask(path))[1])


def put_load(path, requests, pace):
    """Puts load on the host; true when every answer was good."""
    line = subprocess.run([*LOAD_CORE, BINARIES / "load_client", str(PORT), path,
                           str(requests), pace], check=True, capture_output=True, text=True).stdout
    return line.split()[0] == "0"


def tell(measure, load, what, value):
    print(measure, load, what, f"{value:.4g}", sep="\t", flush=True)


def painting_share(server):
    """The share of a core that the X server spends on the painter alone."""
    time.sleep(WARM_UP)
    before = processor_seconds(server)
    time.sleep(WINDOW / 2)
    return (processor_seconds(server) - before) / (WINDOW / 2)


def tell_frames(measure, load, server, process, paths, painters):
    """What a frame of a display costs the host, and the X server net of the painter, in milliseconds."""
    for path in paths:
        ask(path)  # begins to capture
    time.sleep(WARM_UP)
    counts = [frames(path) for path in paths]
    begin = time.monotonic()
    own, servers = processor_seconds(process), processor_seconds(server)
    time.sleep(WINDOW)
    own, servers = processor_seconds(process) - own, processor_seconds(server) - servers
    wall = time.monotonic() - begin
    count = sum(frames(path) - before for path, before in zip(paths, counts))
    # Where nothing moves: in the time that a frame would have.
    divisor = (count or FRAMES_A_SECOND * wall) / 1e3
    tell(measure, load, "cost", own / divisor)
    tell(measure, load, "server", (servers - painters * wall) / divisor)
    tell(measure, load, "frames", count / wall / len(paths))


def measure_connections():
    with screen(1920, 1080), painter(1920, 1080, 0), host(*HOST_CORE) as process:
        path = frame_paths()[0]
        for connections in CONNECTIONS:
            requests = max(5000, 4 * connections)
            is_good = put_load(path, 1000, str(connections))
            before = processor_seconds(process)
            is_good = put_load(path, requests, str(connections)) and is_good
            spent = processor_seconds(process) - before
            if not is_good:
                sys.exit(f"with {connections} connections not every request was answered")
            tell("connections", connections, "cost", spent / requests * 1e6)


def measure_operators():
    with screen(1920, 1080), painter(1920, 1080, 10), host(*HOST_CORE) as process:
        path = frame_paths()[0]
        ask(path)
        time.sleep(WARM_UP)
        for operators in OPERATORS:
            rate = operators * REQUESTS_A_SECOND
            requests = round(rate * WINDOW)
            count, begin = frames(path), time.monotonic()
            before = main_thread_seconds(process)
            if not put_load(path, requests, f"{rate}/s"):
                sys.exit(f"with {operators} operators not every request was answered")
            spent = main_thread_seconds(process) - before
            wall = time.monotonic() - begin
            # The main thread answers; another one captures.
            tell("operators", operators, "cost", spent / requests * 1e6)
            tell("operators", operators, "frames", (frames(path) - count) / wall)


def measure_displays():
    width, height = 1920, 1080
    with screen(2 * width, 2 * height) as server, painter(2 * width, 2 * height, 100):
        for index in range(4):
            place = f"{width}/500x{height}/280+{index % 2 * width}+{index // 2 * height}"
            subprocess.run(["xrandr", "--setmonitor", f"part-{index}", place,
                            "none" if index else "screen"], check=True, stdout=subprocess.DEVNULL)
        painters = painting_share(server)
        for displays in DISPLAYS:
            with host() as process:
                tell_frames("displays", displays, server, process, frame_paths()[:displays],
                            painters)


def measure_sizes():
    """By the host's classes in a program of their own: a painter of such screens would leave the X server
    no time, and no two frames would be of the same changes."""
    for width, height in SIZES:
        with screen(width, height) as server:
            text = subprocess.run([BINARIES / "fetch_bench", str(server.pid), "1"], check=True,
                                  capture_output=True, text=True).stdout
        own, servers = re.search(r"encode +(\S+) ms itself, (\S+) ms in", text).groups()
        megapixels = round(width * height / 1e6, 2)
        tell("megapixels", megapixels, "cost", float(own))
        tell("megapixels", megapixels, "server", float(servers))


def measure_shares():
    width, height = 1920, 1080
    for percent in PERCENT_MOVING:
        with screen(width, height) as server, painter(width, height, percent):
            painters = painting_share(server) if percent else 0
            with host() as process:
                tell_frames("percent", percent, server, process, frame_paths()[:1], painters)


def main():
    signal.signal(signal.SIGTERM, lambda *_: sys.exit("ended"))  # with all that was started
    for round_ in range(ROUNDS):
        tell("machine", round_, "load average", os.getloadavg()[0])
        measure_connections()
        measure_operators()
        measure_displays()
        measure_sizes()
        measure_shares()


main()
