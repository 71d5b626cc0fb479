"""A copy of the program that faults are put into, and the tests that are to find them."""
import hashlib
import os
import pathlib
import re
import signal
import subprocess
import tempfile
import time

# The test programs of each folder, by its longest beginning here; what is quick comes first.
PROGRAMS = {
    "core/runtime": "runtime http coordination transport sleep acceptance failing",
    "core/protocol": "protocol http simulation acceptance",
    "core/http": "http simulation transport acceptance",
    "core/http/linux": "transport acceptance failing",
    "core/coordination": "coordination simulation acceptance",
    "core/capture": "capture coordination simulation x11",
    "core/capture/linux": "capture x11 acceptance wayland failing",
    "core/capture/linux/bus": "portal acceptance",
    "core/capture/linux/identity": "identity wayland_outputs x11",
    "core/capture/linux/imaging": "imaging allocation decoders x11 pipewire",
    "core/capture/linux/login": "portal acceptance",
    "core/capture/linux/wayland": "wayland portal capture wayland_host failing",
    "core/capture/linux/wayland/outputs": "wayland_outputs wayland_host failing",
    "core/capture/linux/wayland/pipewire": "pipewire wayland_host failing",
    "core/capture/linux/wayland/portal": "portal wayland_host",
    "core/capture/linux/x11": "x11 acceptance failing",
    "app": "app acceptance alert failing",
    "app/linux": "app alert acceptance failing",
    "app/linux/alert": "app alert",
}
# What a fault breaks is nothing of root's.
UNPRIVILEGED = ["setpriv", "--reuid=65534", "--regid=65534", "--clear-groups"]
# Those that are not called after their program.
TARGETS = {"simulation": "viewer_simulation"}
HOSTED = {"acceptance", "sleep", "alert", "wayland_host", "failing"}
# Those that wait more than they work, and so run in several parts.
WAITING = HOSTED | {"x11", "pipewire", "portal", "transport", "wayland", "wayland_outputs"}
SHARDS = 4
PATIENCE = 240


def programs_for(path):
    folder = str(path.parent)
    return PROGRAMS[max((each for each in PROGRAMS if folder.startswith(each)), key=len)].split()


class Trial:
    """One copy, used by one thread."""

    def __init__(self, root, folder, commit):
        self.tree = folder / commit
        self._build = self.tree / "build" / "mutate"
        # What was compiled in another folder is not compiled again.
        self._environment = {**os.environ, "CCACHE_BASEDIR": str(root.parent),
                             "CCACHE_NOHASHDIR": "true"}
        self._temporary = folder / "temporary"
        self._temporary.mkdir(parents=True, exist_ok=True)
        self._temporary.chmod(0o1777)
        self._copy(root, commit)

    def _copy(self, root, commit):
        """The commit, built; what a run that was broken off has left of its last fault is gone."""
        if not self.tree.exists():
            subprocess.run(["git", "clone", "-q", "--shared", "--no-checkout", root, self.tree],
                           check=True)
        subprocess.run(["git", "checkout", "-q", "--force", commit], cwd=self.tree, check=True)
        subprocess.run(["cmake", "--preset", "mutate"], cwd=self.tree, check=True,
                       stdout=subprocess.DEVNULL, env=self._environment)
        if not self._make(sorted(set(" ".join(PROGRAMS.values()).split()))):
            raise SystemExit("without a fault it cannot be built")

    def _ninja(self, targets):
        return subprocess.run(["ninja", "-C", self._build, "-j2", *targets],
                              env=self._environment, stdout=subprocess.DEVNULL).returncode == 0

    def _make(self, programs):
        """Whether what these test programs are made of can be built."""
        targets = [TARGETS.get(program, f"{program}_tests") for program in programs]
        if HOSTED & set(programs):
            targets += ["VelmoraViewerHost", "VelmoraViewerHostAlert", "scripted_host"]
        return self._ninja(targets)

    def _object(self, path):
        """What a source is compiled to; nothing for a header, or when it cannot be."""
        found = list(self._build.rglob(f"{path.name}.o"))
        if len(found) != 1 or not self._ninja([found[0].relative_to(self._build)]):
            return None
        return hashlib.sha256(found[0].read_bytes()).digest()

    def _start(self, program, folder, shard, shards, tests):
        """A test program, or one of several parts of it, which writes into a file of its own."""
        arguments = ["--seeds", "1..500"] if program == "simulation" else [
            "--gtest_brief=1", "--gtest_fail_fast", f"--gtest_filter={tests}"]
        parts = {"GTEST_TOTAL_SHARDS": str(shards), "GTEST_SHARD_INDEX": str(shard)}
        with open(folder / f"{shard}.log", "wb") as log:
            return subprocess.Popen(
                [*(UNPRIVILEGED if os.geteuid() == 0 else []),
                 self._build / "bin" / TARGETS.get(program, f"{program}_tests"), *arguments],
                cwd=self.tree,
                env={**os.environ, **parts, "TMPDIR": str(folder), "HOME": str(folder)},
                stdin=subprocess.DEVNULL, stdout=log, stderr=subprocess.STDOUT,
                start_new_session=True)

    def _run(self, program, tests="*"):
        """'passed', 'failed' or 'timed out', and the tests that failed. Nothing that it has started
        is left."""
        shards = SHARDS if program in WAITING and tests == "*" else 1
        with tempfile.TemporaryDirectory(dir=self._temporary) as temporary:
            folder = pathlib.Path(temporary)
            folder.chmod(0o1777)
            running = [self._start(program, folder, shard, shards, tests)
                       for shard in range(shards)]
            try:
                end = time.monotonic() + PATIENCE
                while any(each.poll() is None for each in running):
                    if any(each.poll() for each in running):
                        break
                    if time.monotonic() > end:
                        return "timed out", []
                    time.sleep(0.02)
                said = "".join(log.read_text(errors="replace") for log in folder.glob("*.log"))
                failed = re.findall(r"^\[  FAILED  \] ([\w./]+)", said, re.MULTILINE)
                passed = all(each.poll() == 0 for each in running)
                return ("passed" if passed else "failed"), sorted(set(failed))
            finally:
                for each in running:
                    try:
                        os.killpg(each.pid, signal.SIGKILL)
                    except ProcessLookupError:
                        pass
                    each.wait()

    def _outcome(self, program):
        """'passed', 'failed' or 'timed out'. A test that fails counts if it does so again, alone."""
        outcome, tests = self._run(program)
        if outcome == "failed" and program in WAITING and tests:
            outcome, _ = self._run(program, ":".join(tests))
        return outcome

    def judge(self, path, number, lines, fault):
        """What becomes of the program with a fault in line `number`, and which tests say so."""
        programs = programs_for(path)
        begin = time.monotonic()

        def verdict(outcome, by=""):
            return {"outcome": outcome, "by": by, "seconds": round(time.monotonic() - begin, 1)}

        sound = self._object(path)
        source = self.tree / path
        width = 2 if fault.kind == "swapped statements" else 1
        try:
            source.write_text("\n".join([*lines[:number], *fault.lines, *lines[number + width:]]))
            if sound is not None:
                faulty = self._object(path)
                if faulty is None or faulty == sound:
                    return verdict("not compiled" if faulty is None else "same code")
            for program in programs:
                if not self._make([program]):
                    return verdict("not compiled")
                ended = self._outcome(program)
                if ended != "passed":
                    return verdict("caught" if ended == "failed" else ended, program)
            return verdict("survived")
        finally:
            source.write_text("\n".join(lines))
