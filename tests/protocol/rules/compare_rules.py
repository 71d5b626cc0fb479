#!/usr/bin/env python3
"""Compares what the host's parser and router decide with the plain rules, input by input.

compare_rules.py PROGRAM --inputs N [--seed S] [--jobs J] [--progress FILE]

Inputs come in batches, each on a machine of its own; batch and seed make the same inputs everywhere.
PROGRAM gets the machine and its inputs at once. With FILE, batches that agreed are not compared again
as long as the program, the rules and the seed stay what they are. Every kind of answer has to come
often enough, so that the comparison is one.
"""

import argparse
import collections
import hashlib
import multiprocessing
import pathlib
import random
import struct
import subprocess
import sys
import time

import protocol_inputs
import protocol_rules

INPUTS_OF_MACHINE = 5_000
MACHINES_OF_BATCH = 20


def text(content):
    content = content if isinstance(content, bytes) else content.encode("utf-8")
    return struct.pack("<I", len(content)) + content


def described(machine):
    parts = [text(machine.machine_name), struct.pack("<q", len(machine.displays))]
    for each in machine.displays:
        parts += [text(each.id), text(each.name)]
        frame = -1 if each.frame_bytes is None else each.frame_bytes
        parts.append(struct.pack("<qqq", each.width, each.height, frame))
    return b"".join(parts)


def expected(data, machine):
    """The answer as the program writes it, and its kind."""
    outcome, target = protocol_rules.parsed(data)
    if outcome == "incomplete":
        return b"incomplete", outcome
    if outcome == "not allowed":
        return b"answer\n" + protocol_rules.NOT_ALLOWED, "405"
    if outcome == "too large":
        return b"answer\n" + protocol_rules.TOO_LARGE, "431"
    calls, head, body = protocol_rules.routed(target, machine)
    lines = ["request GET " + target] + calls + ["answer\n"]
    answer = "\n".join(lines).encode("utf-8") + head
    if isinstance(body, bytes):
        return answer + body, "200 listing"
    return answer + (b"%d bytes" % body if body else b""), "200 frame" if body else head[9:12].decode()


def difference(place, data, plain, answer):
    return f"{place}: received {bytes(data)!r}\n  by the rules {plain!r}\n  by the host  {answer!r}"


def compare_machine(program, place, chance):
    """How often each kind of answer came, or the first difference."""
    machine = protocol_inputs.world(chance)
    inputs = [protocol_inputs.received(chance, machine) for _ in range(INPUTS_OF_MACHINE)]
    output = subprocess.run(
        [program], input=described(machine) + b"".join(map(text, inputs)), stdout=subprocess.PIPE,
        check=True,
    ).stdout
    kinds = collections.Counter()
    offset = 0
    for index, data in enumerate(inputs):
        (length,) = struct.unpack_from("<I", output, offset)
        answer = output[offset + 4 : offset + 4 + length]
        offset += 4 + length
        plain, kind = expected(data, machine)
        if answer != plain:
            return difference(f"{place}, input {index}", data, plain, answer)
        kinds[kind] += 1
    return kinds if offset == len(output) else f"{place}: more answers than inputs"


def compare_batch(job):
    program, seed, batch = job
    chance = random.Random(f"{seed}/{batch}")
    kinds = collections.Counter()
    for machine in range(MACHINES_OF_BATCH):
        found = compare_machine(program, f"seed {seed}, batch {batch}, machine {machine}", chance)
        if isinstance(found, str):
            return batch, found
        kinds += found
    return batch, kinds


class Progress:
    """The batches that agreed, in a file that is begun anew when anything compared has changed."""

    def __init__(self, path, program, seed):
        self.path = path
        self.done = {}
        if not path:
            return
        sources = [pathlib.Path(program), *sorted(pathlib.Path(__file__).parent.glob("*.py"))]
        mark = hashlib.sha256(b"".join(each.read_bytes() for each in sources)).hexdigest()
        first = f"{seed} {mark}"
        lines = path.read_text().splitlines() if path.exists() else []
        # A line that was cut off has no end mark.
        if lines[:1] == [first]:
            for line in lines[1:]:
                if line.endswith(" ."):
                    batch, kinds = line[:-2].split(" ", 1)
                    counts = (each.rsplit("=", 1) for each in kinds.split(", "))
                    self.done[int(batch)] = collections.Counter({kind: int(n) for kind, n in counts})
        else:
            path.parent.mkdir(parents=True, exist_ok=True)
            path.write_text(first + "\n")

    def add(self, batch, kinds):
        self.done[batch] = kinds
        if self.path:
            with self.path.open("a") as file:
                file.write(f"{batch} {', '.join(f'{kind}={n}' for kind, n in kinds.items())} .\n")


def arguments():
    parser = argparse.ArgumentParser()
    parser.add_argument("program")
    parser.add_argument("--inputs", type=int, required=True)
    parser.add_argument("--seed", default=str(random.SystemRandom().randrange(2**32)))
    parser.add_argument("--jobs", type=int, default=1)
    parser.add_argument("--progress", type=pathlib.Path)
    return parser.parse_args()


def main():
    options = arguments()
    print(f"seed {options.seed}", flush=True)
    started = time.monotonic()
    progress = Progress(options.progress, options.program, options.seed)
    batches = -(-options.inputs // (INPUTS_OF_MACHINE * MACHINES_OF_BATCH))
    kept = sum(batch in progress.done for batch in range(batches))
    jobs = [(options.program, options.seed, each) for each in range(batches) if each not in progress.done]
    with multiprocessing.Pool(options.jobs) as pool:
        for batch, found in pool.imap_unordered(compare_batch, jobs):
            if isinstance(found, str):
                sys.exit(found)
            progress.add(batch, found)
    kinds = sum((progress.done[batch] for batch in range(batches)), collections.Counter())
    print(f"{kinds.total()} inputs without a difference, {kept} of {batches} batches compared before,"
          f" {time.monotonic() - started:.0f} seconds")
    for kind, count in sorted(kinds.items()):
        print(f"  {kind:12} {count}")
    rare = {"incomplete", "200 listing", "200 frame", "404", "405", "431", "503"} - {
        kind for kind, count in kinds.items() if count > kinds.total() / 200
    }
    if rare:
        sys.exit(f"too seldom to show anything: {', '.join(sorted(rare))}")


if __name__ == "__main__":
    main()
