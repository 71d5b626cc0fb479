"""What 1,000 hosts cost velmora-viewerctl: viewerctl_bench.py PROGRAM HOSTS-FILE DEAD-HOSTS-FILE

The first file names hosts that answer, the second some that do not, too. Prints what the wall and
the list take, and exits with 1 where that is more than it may be.
"""
import asyncio
import json
import os
import re
import subprocess
import sys
import time

import websockets

TILES = 1000
SECONDS = 20  # that are measured
PATIENCE = 60
MOST_AGE, MOST_CORES, MOST_MEGABYTES, MOST_LIST_SECONDS = 3.0, 0.5, 150, 3.0


def processor_seconds(process):
    with open(f"/proc/{process}/stat", encoding="ascii") as file:
        fields = file.read().rsplit(") ", 1)[1].split()
    return (int(fields[11]) + int(fields[12])) / os.sysconf("SC_CLK_TCK")


def peak_megabytes(process):
    with open(f"/proc/{process}/status", encoding="ascii") as file:
        return int(re.search(r"VmHWM:\s+(\d+) kB", file.read())[1]) / 1000


class Page:
    """Looks at every tile once a second, and notes how old the pictures that it shows become."""

    def __init__(self):
        self.made = {}
        self.oldest = 0
        self.pictures = 0
        self.bytes = 0

    def take(self, message):
        tile, label_end = message[:4], 9 + message[8]
        now = time.monotonic_ns()
        if tile in self.made:
            self.oldest = max(self.oldest, now - self.made[tile])
        self.made[tile] = int.from_bytes(message[label_end + 6:label_end + 14], "big")
        self.pictures += 1
        self.bytes += len(message)

    async def find_tiles(self, socket):
        tiles = []
        while len(tiles) < TILES:
            message = json.loads(await socket.recv())
            if message["kind"] == "host" and message["displays"] and not message["failure"]:
                tiles.append(message["displays"][0]["tile"])
        return tiles

    async def receive_until(self, socket, is_enough):
        while not is_enough():
            message = await socket.recv()
            if isinstance(message, bytes):
                self.take(message)

    async def run(self, path, process):
        with open(path, encoding="utf-8") as file:
            authority, token = re.search(r'href="http://([^/"]+)/#(\w+)"', file.read()).groups()
        async with websockets.connect(f"ws://{authority}/live", origin=f"http://{authority}",
                                      subprotocols=["velmora-wall-1", token], compression=None,
                                      max_size=None) as socket:
            tiles = await self.find_tiles(socket)
            await socket.send(json.dumps({"kind": "look",
                                          "tiles": [[tile, 1000] for tile in tiles]}))
            await self.receive_until(socket, lambda: len(self.made) == TILES)
            self.oldest = self.pictures = self.bytes = 0
            spent, begin = processor_seconds(process), time.monotonic()
            await self.receive_until(socket, lambda: time.monotonic() - begin > SECONDS)
            self.oldest = max([self.oldest, *(time.monotonic_ns() - made
                                              for made in self.made.values())])
            return (processor_seconds(process) - spent) / (time.monotonic() - begin)


def measure_wall(program, hosts):
    wall = subprocess.Popen([program, "wall", "--no-browser", "--hosts", hosts],
                            stdout=subprocess.PIPE, text=True)
    try:
        page = Page()
        cores = asyncio.run(asyncio.wait_for(page.run(wall.stdout.readline().strip(), wall.pid),
                                             PATIENCE))
        if wall.poll() is not None:
            sys.exit(f"the wall has ended with {wall.returncode}")
        megabytes = peak_megabytes(wall.pid)
    finally:
        wall.terminate()
        wall.wait()
    age = page.oldest / 1e9
    print(f"wall: {page.pictures / SECONDS:.0f} pictures a second of "
          f"{page.bytes / page.pictures / 1000:.1f} kB, oldest tile {age:.2f} s (at most "
          f"{MOST_AGE}), {cores:.2f} of a core (at most {MOST_CORES}), peak memory "
          f"{megabytes:.0f} MB (at most {MOST_MEGABYTES})", flush=True)
    return age <= MOST_AGE and cores <= MOST_CORES and megabytes <= MOST_MEGABYTES


def measure_list(program, hosts):
    begin = time.monotonic()
    run = subprocess.run([program, "list", "--json", "--timeout", "2", "--hosts", hosts],
                         capture_output=True, text=True, timeout=PATIENCE, check=False)
    seconds = time.monotonic() - begin
    answers = json.loads(run.stdout)
    failures = [answer["error"]["reason"] for answer in answers if "error" in answer]
    print(f"list: {len(answers)} hosts, {len(failures)} failed ({', '.join(sorted(set(failures)))})"
          f", in {seconds:.2f} s (at most {MOST_LIST_SECONDS})", flush=True)
    return seconds <= MOST_LIST_SECONDS and failures == ["timed-out"] * (len(answers) // 10)


if __name__ == "__main__":
    PROGRAM, ALIVE, SOME_DEAD = sys.argv[1:]
    good = [measure_list(PROGRAM, SOME_DEAD), measure_wall(PROGRAM, ALIVE)]
    sys.exit(0 if all(good) else 1)
