"""Puts faults into copies of the sources, one at a time, and lets one program look for them.

For scripts/proofs: a fault is found when a rule breaks or the host stops its process, and nine of ten
have to be. Copies, builds and results are in build/prove. Results of the same sources are kept, so
that a run that was interrupted goes on; --anew forgets them. Names choose the faults that have these
words in theirs.
"""
import argparse
import concurrent.futures
import dataclasses
import hashlib
import json
import pathlib
import queue
import shutil
import subprocess
import sys
import time

ROOT = pathlib.Path(__file__).resolve().parents[1]
LONGEST_RUN = 300


@dataclasses.dataclass
class Proof:
    """A program that has to find faults, and the faults."""
    name: str
    faults: dict
    preset: str
    target: str
    arguments: list
    # What a rule that breaks is told with, and what tells of no fault.
    broken: str
    vain: str

    @property
    def folder(self):
        return ROOT / "build/prove" / self.name


def listed():
    names = subprocess.run(["git", "ls-files", "-z", "--cached", "--others", "--exclude-standard"],
                           cwd=ROOT, capture_output=True, check=True).stdout.decode().split("\0")
    return [name for name in names if name and (ROOT / name).is_file()]


def digest(proof, names):
    """Of everything that the program is built from."""
    whole = hashlib.sha256()
    for name in sorted(names):
        if name.endswith((".h", ".cpp")) and name.startswith(
                ("core/", "app/", "tests/simulation/", f"tests/{proof.name}/", "tests/support/")):
            whole.update(name.encode() + (ROOT / name).read_bytes())
    return whole.hexdigest()[:16]


def keyed(proof, name):
    """The fault as its result is kept: by its name and what it replaces."""
    return name + " " + hashlib.sha256(repr(proof.faults[name]).encode()).hexdigest()[:8]


def copy(proof, number, names):
    """A copy of the sources, in which only what has changed is newer than what was built."""
    tree = proof.folder / f"tree-{number}"
    for name in names:
        source, target = ROOT / name, tree / name
        target.parent.mkdir(parents=True, exist_ok=True)
        if not target.exists() or target.read_bytes() != source.read_bytes():
            shutil.copyfile(source, target)
            shutil.copymode(source, target)
    return tree


def run(tree, *command, limit=None):
    try:
        return subprocess.run(["nice", "-n", "15", *command], cwd=tree, timeout=limit,
                              capture_output=True, text=True)
    except subprocess.TimeoutExpired as late:
        return subprocess.CompletedProcess(late.cmd, -1, "", f"no end within {limit} seconds")


def build(proof, tree):
    return run(tree, "cmake", "--build", f"build/{proof.preset}", "--target", proof.target)


def play(proof, tree):
    return run(tree, f"build/{proof.preset}/bin/{proof.target}", *proof.arguments,
               limit=LONGEST_RUN)


def faulty(edits):
    """The text of every file with the fault in it."""
    texts = {}
    for name, old, new in edits:
        text = texts.get(name) or (ROOT / name).read_text(encoding="utf-8")
        if text.count(old) != 1:
            return None
        texts[name] = text.replace(old, new)
    return texts


def try_fault(proof, tree, edits):
    texts = faulty(edits)
    if texts is None:
        return "does not apply", ""
    try:
        for name, text in texts.items():
            (tree / name).write_text(text, encoding="utf-8")
        built = build(proof, tree)
        if built.returncode != 0:
            errors = [line for line in built.stdout.splitlines() if "error:" in line]
            return "does not compile", "\n".join(errors[:3])
        played = play(proof, tree)
    finally:
        for name in texts:
            shutil.copyfile(ROOT / name, tree / name)
    words = (played.stdout + played.stderr).splitlines()
    if played.returncode == 0:
        return "not found", ""
    broken = [line for line in words if proof.broken in line]
    vain = [line for line in words if line.endswith(proof.vain)]
    if vain and not broken:
        return "only rare", vain[0]  # a state that comes up seldom tells of no fault
    return "found", (broken or words or [""])[0]


def prepare(proof, jobs, names):
    trees = queue.Queue()
    for number in range(jobs):
        tree = copy(proof, number, names)
        for result in (run(tree, "cmake", "--preset", proof.preset), build(proof, tree)):
            if result.returncode != 0:
                sys.exit(result.stdout + result.stderr)
        trees.put(tree)
    return trees


def report(proof, results, chosen):
    found = [name for name in chosen if results[keyed(proof, name)][0] == "found"]
    for name in chosen:
        if name not in found:
            print(f"{results[keyed(proof, name)][0].upper()}: {name}\n{results[keyed(proof, name)][1]}")
    print(f"{len(found)} of {len(chosen)} faults were found by {proof.target} {' '.join(proof.arguments)}")
    return 10 * len(found) >= 9 * len(chosen)


def main(proof, description):
    options = argparse.ArgumentParser(description=description)
    options.add_argument("--jobs", type=int, default=2)
    options.add_argument("--anew", action="store_true")
    options.add_argument("names", nargs="*")
    given = options.parse_args()
    names = listed()
    kept = proof.folder / f"results-{digest(proof, names)}.json"
    kept.parent.mkdir(parents=True, exist_ok=True)
    known = kept.exists() and not given.anew
    results = json.loads(kept.read_text(encoding="utf-8")) if known else {}
    chosen = [name for name in proof.faults if all(word in name for word in given.names)]
    left = [name for name in chosen if keyed(proof, name) not in results]
    trees = prepare(proof, given.jobs, names) if left else None
    sound = play(proof, trees.queue[0]) if left else None
    if sound and sound.returncode != 0:
        sys.exit("without a fault:\n" + sound.stdout + sound.stderr)

    def take(name):
        tree = trees.get()
        begin = time.monotonic()
        try:
            return name, try_fault(proof, tree, proof.faults[name]), time.monotonic() - begin
        finally:
            trees.put(tree)

    with concurrent.futures.ThreadPoolExecutor(given.jobs) as pool:
        for done in concurrent.futures.as_completed([pool.submit(take, name) for name in left]):
            name, result, seconds = done.result()
            results[keyed(proof, name)] = result
            kept.write_text(json.dumps(results, indent=1), encoding="utf-8")
            print(f"{result[0]:>16}  {name} ({seconds:.0f} s)  {result[1][:120]}", flush=True)
    return 0 if report(proof, results, chosen) else 1
