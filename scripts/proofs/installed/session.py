"""The installed package in sessions of a person, each under a systemd of that person's own.

Called by scripts/proofs/session as root, in namespaces of its own: network, processes, mounts and
cgroups. Every wait is for an event, with a limit that only a failure reaches.
"""
import json
import os
import pathlib
import pwd
import re
import signal
import subprocess
import time
import unittest
import urllib.request

ID = "com.quilmer.velmora.viewer_host"
UNIT = f"app-{ID}@autostart.service"
PROGRAM = "/usr/bin/VelmoraViewerHost"
PERSON, NEXT, GREETER = "person", "next", "greeter"
CGROUPS = pathlib.Path("/sys/fs/cgroup")
PATIENCE = 60


def awaited(condition, what):
    """The first answer that is not false, or a failure."""
    end = time.monotonic() + PATIENCE
    while time.monotonic() < end:
        answer = condition()
        if answer:
            return answer
        time.sleep(0.05)
    raise AssertionError(f"does not come true: {what}")


def asked(path):
    """What the host answers, or nothing."""
    try:
        with urllib.request.urlopen(f"http://127.0.0.1:9090/viewer/v1/{path}", timeout=5) as answer:
            return answer.read()
    except OSError:
        return None


def displays():
    listing = asked("displays")
    return json.loads(listing)["displays"] if listing else []


def frame():
    shown = displays()
    content = shown and asked(f"frame?id={shown[0]['id']}")
    return content if content and content.startswith(b"\xff\xd8\xff") else None


class Login:
    """A person's manager with a runtime folder and a cgroup, from login to logout."""

    def __init__(self, name):
        self.account = pwd.getpwnam(name)
        self.runtime = pathlib.Path(f"/run/user/{self.account.pw_uid}")
        self.home = pathlib.Path(self.account.pw_dir)
        self.branch = CGROUPS / name
        for folder in (self.runtime, self.branch):
            folder.mkdir(parents=True, exist_ok=True)
            os.chown(folder, self.account.pw_uid, self.account.pw_gid)
        self.runtime.chmod(0o700)
        for file in ("cgroup.procs", "cgroup.subtree_control"):
            os.chown(self.branch / file, self.account.pw_uid, self.account.pw_gid)
        self.environment = {"HOME": str(self.home), "PATH": "/usr/bin:/bin", "LANG": "C.UTF-8",
                            "USER": name, "XDG_RUNTIME_DIR": str(self.runtime)}
        self.started = [self.start("/usr/lib/systemd/systemd", "--user")]
        awaited(lambda: self.control("is-system-running").stdout.strip() in ("running", "degraded"),
                "the manager runs")

    def start(self, *command, **options):
        return subprocess.Popen(self.as_person(*command), env=self.environment,
                                stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL, **options)

    def run(self, *command):
        return subprocess.run(self.as_person(*command), env=self.environment, text=True,
                              stdout=subprocess.PIPE, stderr=subprocess.STDOUT, check=False)

    def as_person(self, *command):
        enter = 'echo $$ >"$0/cgroup.procs"; exec setpriv --reuid="$1" --regid="$2" ' \
                '--clear-groups -- "${@:3}"'
        return ["bash", "-c", enter, self.branch, str(self.account.pw_uid),
                str(self.account.pw_gid), *command]

    def control(self, *command):
        return self.run("systemctl", "--user", *command)

    def show(self, name):
        return self.control("show", "--property", name, "--value", UNIT).stdout.strip()

    def desktop_starts(self, **variables):
        """What a desktop does that is started by systemd."""
        self.control("set-environment", *(f"{name}={value}" for name, value in variables.items()))
        units = self.runtime / "systemd/user"
        units.mkdir(parents=True, exist_ok=True)
        (units / "desktop.target").write_text("[Unit]\nBindsTo=graphical-session.target\n"
                                              "Wants=xdg-desktop-autostart.target\n", "utf-8")
        self.control("daemon-reload")
        result = self.control("start", "desktop.target")
        if result.returncode != 0:
            raise AssertionError(result.stdout)

    def desktop_ends(self):
        self.control("stop", "graphical-session.target")

    def host(self):
        """The process that the unit has, or nothing."""
        return int(self.show("MainPID"))

    def write(self, path, text):
        file = self.home / path
        file.parent.mkdir(parents=True, exist_ok=True)
        file.write_text(text, "utf-8")
        return file

    def log_out(self):
        self.control("exit")
        for process in reversed(self.started):
            process.terminate()
        for process in self.started:
            process.wait(PATIENCE)
        subprocess.run(["pkill", "-KILL", "-U", str(self.account.pw_uid)], check=False)
        awaited(lambda: "populated 0" in (self.branch / "cgroup.events").read_text("utf-8"),
                "nobody is left")
        subprocess.run(["rm", "-rf", self.runtime, self.home / ".config"], check=True)
        for folder, _, _ in os.walk(self.branch, topdown=False):
            os.rmdir(folder)


class Session(unittest.TestCase):
    def log_in(self, name=PERSON):
        login = Login(name)
        self.addCleanup(login.log_out)
        return login

    def screen(self, login):
        """A virtual X server of the person's; its name."""
        reading, writing = os.pipe()
        server = login.start("Xvfb", "-displayfd", str(writing), "-screen", "0", "640x480x24",
                             "-noreset", "-nolisten", "tcp", pass_fds=(writing,))
        login.started.append(server)
        os.close(writing)
        with open(reading, encoding="ascii") as answer:
            return f":{answer.readline().strip()}"

    def desktop(self, login):
        """A desktop on X11; its display."""
        display = self.screen(login)
        login.desktop_starts(DISPLAY=display, XDG_SESSION_TYPE="x11")
        return display


class Course(Session):
    """From login to logout."""

    def test_it_starts_with_the_desktop_and_serves_its_screen(self):
        login = self.log_in()
        self.desktop(login)
        awaited(displays, "the listing has a display")
        awaited(frame, "there is a frame")

    def test_after_a_crash_it_is_started_again(self):
        login = self.log_in()
        self.desktop(login)
        awaited(displays, "the listing has a display")
        crashed = login.host()
        os.kill(crashed, signal.SIGSEGV)
        awaited(lambda: login.host() not in (0, crashed), "another process")
        awaited(displays, "the listing has a display")

    def test_ended_by_a_signal_it_is_not_started_again(self):
        login = self.log_in()
        self.desktop(login)
        awaited(displays, "the listing has a display")
        os.kill(login.host(), signal.SIGTERM)
        awaited(lambda: login.show("SubState") != "running", "the end")
        self.assertEqual((login.show("SubState"), login.show("Result")), ("dead", "success"))

    def test_one_that_crashes_again_and_again_is_left_alone(self):
        login = self.log_in()
        login.write(f".config/autostart/{ID}.desktop",
                    "[Desktop Entry]\nType=Application\nName=X\nExec=sh -c 'kill -SEGV $$'\n")
        login.control("daemon-reload")
        login.desktop_starts()
        awaited(lambda: login.show("ActiveState") == "failed", "it is given up")
        self.assertEqual(login.show("NRestarts"), "5")

    def test_it_ends_with_the_session(self):
        login = self.log_in()
        self.desktop(login)
        awaited(displays, "the listing has a display")
        host = login.host()
        login.desktop_ends()
        awaited(lambda: not pathlib.Path(f"/proc/{host}").exists(), "the host has ended")
        self.assertEqual((login.show("SubState"), login.show("Result")), ("dead", "success"))

    def test_an_account_can_turn_it_off(self):
        login = self.log_in()
        login.write(f".config/autostart/{ID}.desktop", "[Desktop Entry]\nHidden=true\n")
        login.control("daemon-reload")
        self.desktop(login)
        self.assertEqual(login.show("LoadState"), "not-found")
        self.assertEqual(login.run("pgrep", "-f", PROGRAM).stdout, "")

    def test_the_login_screens_account_starts_none(self):
        login = self.log_in(GREETER)
        self.desktop(login)
        awaited(lambda: login.show("ConditionTimestampMonotonic") != "0", "it was to be started")
        self.assertEqual((login.show("ConditionResult"), login.host()), ("no", 0))


class TwoPeople(Session):
    """At one computer, whose port is one of a kind."""

    def read_alert(self, login, display):
        """Waits for the alert and presses its button, as a screen reader does."""
        login.environment.update(DISPLAY=display,
                                 DBUS_SESSION_BUS_ADDRESS=f"unix:path={login.runtime}/bus")
        awaited(lambda: login.run("/usr/bin/python3", "/srv/accessible_alert.py", "press", "OK",
                                  "5").returncode == 0, "the alert and its button")

    def test_the_first_is_served_and_the_second_is_told_once(self):
        first, second = self.log_in(), self.log_in(NEXT)
        self.desktop(first)
        awaited(displays, "the listing has a display")
        host = first.host()
        display = self.screen(second)
        second.desktop_starts(DISPLAY=display, XDG_SESSION_TYPE="x11",
                              QT_LINUX_ACCESSIBILITY_ALWAYS_ON="1")
        self.read_alert(second, display)
        awaited(lambda: second.show("ActiveState") == "inactive", "its host has ended")
        self.assertEqual((second.show("Result"), second.show("NRestarts")), ("success", "0"))
        self.assertTrue(displays())
        self.assertEqual(first.host(), host)
        first.desktop_ends()
        awaited(lambda: not displays(), "the first is served no more")
        second.control("start", UNIT)
        awaited(displays, "the second is served now")


PROBE = r"""
import ctypes, json, os, resource, socket, sys
libc = ctypes.CDLL(None, use_errno=True)
def tried(call, *arguments):
    return ctypes.get_errno() if call(*arguments) < 0 else 0
def opened(family):
    try:
        socket.socket(family, socket.SOCK_DGRAM).close()
    except OSError as error:
        return error.errno
    return 0
def marked():
    file = os.path.join(os.environ["XDG_RUNTIME_DIR"], "marked")
    open(file, "w").close()
    try:
        os.chmod(file, 0o4755)
    except OSError as error:
        return error.errno
    finally:
        os.remove(file)
    return 0
CLONE_NEWNET, ADDR_NO_RANDOMIZE, PTRACE_TRACEME = 0x40000000, 0x0040000, 0
found = {
    "RestrictAddressFamilies": opened(socket.AF_NETLINK),
    "RestrictSUIDSGID": marked(),
    "LockPersonality": tried(libc.personality, ADDR_NO_RANDOMIZE),
    "SystemCallFilter=~@privileged": tried(libc.setuid, os.getuid()),
    "RestrictNamespaces": tried(libc.setns, -1, CLONE_NEWNET),
    "SystemCallFilter=@system-service": tried(libc.ptrace, PTRACE_TRACEME, 0, 0, 0),
    "UMask": os.umask(0),
    "LimitCORE": resource.getrlimit(resource.RLIMIT_CORE)[1],
}
status = dict(line.split(":", 1) for line in open("/proc/self/status"))
found["NoNewPrivileges"] = int(status["NoNewPrivs"])
found["Seccomp"] = int(status["Seccomp"])
with open(sys.argv[1] + ".new", "w") as file:
    json.dump(found, file)
os.rename(sys.argv[1] + ".new", sys.argv[1])
"""
EPERM, EAFNOSUPPORT = 1, 97


class Sandbox(Session):
    """Each directive of the packaged settings does what it says, in the very unit."""

    def probed(self, login, with_settings=True):
        """What a program finds that is started in the host's place."""
        script = login.write(".config/probe.py", PROBE)
        answer = login.home / ".config/found"
        answer.unlink(missing_ok=True)
        os.chown(answer.parent, login.account.pw_uid, login.account.pw_gid)
        login.write(f".config/autostart/{ID}.desktop", "[Desktop Entry]\nType=Application\nName=X\n"
                    f"Exec=python3 {script} {answer}\n")
        if not with_settings:
            # In the place of the packaged file, by its name.
            login.write(f".config/systemd/user/{UNIT}.d/viewer-host.conf", "")
        login.control("daemon-reload")
        login.control("start", UNIT)
        awaited(answer.exists, "the program has looked around")
        return json.loads(answer.read_text("utf-8"))

    def test_what_it_forbids_is_forbidden(self):
        found = self.probed(self.log_in())
        self.assertEqual(found, {
            "RestrictAddressFamilies": EAFNOSUPPORT, "RestrictSUIDSGID": EPERM,
            "LockPersonality": EPERM, "SystemCallFilter=~@privileged": EPERM,
            "SystemCallFilter=@system-service": EPERM, "RestrictNamespaces": EPERM,
            "UMask": 0o077, "LimitCORE": 0, "NoNewPrivileges": 1, "Seccomp": 2})

    def test_without_the_settings_all_of_it_is_allowed(self):
        found = self.probed(self.log_in(), with_settings=False)
        self.assertEqual((found.pop("UMask"), found.pop("NoNewPrivileges")), (0o022, 0))
        self.assertNotEqual(found.pop("LimitCORE"), 0)
        self.assertNotIn(EPERM, found.values())
        self.assertNotIn(EAFNOSUPPORT, found.values())

    def test_memory_and_tasks_are_limited(self):
        login = self.log_in()
        self.desktop(login)
        awaited(displays, "the listing has a display")
        branch = CGROUPS / login.show("ControlGroup").lstrip("/")
        self.assertEqual((login.show("MemoryMax"), login.show("TasksMax")), (str(1 << 30), "128"))
        # What the kernel was told, where its controllers are there to be told.
        controllers = (branch / "cgroup.controllers").read_text("utf-8").split()
        for controller, file, limit in (("memory", "memory.max", str(1 << 30)),
                                        ("pids", "pids.max", "128")):
            if controller in controllers:
                self.assertEqual((branch / file).read_text("utf-8").strip(), limit)

    def test_an_alert_is_shown_in_it_and_ends_with_it(self):
        login = self.log_in()
        with subprocess.Popen(["python3", "-m", "http.server", "9090"], stdout=subprocess.DEVNULL,
                              stderr=subprocess.DEVNULL) as squatter:
            self.addCleanup(squatter.terminate)
            awaited(lambda: subprocess.run(["ss", "-Hltn", "sport = :9090"], text=True, check=True,
                                           stdout=subprocess.PIPE).stdout, "the port is taken")
            display = self.desktop(login)
            awaited(lambda: re.search(r'"Velmora Viewer Host".*VelmoraViewerHostAlert',
                                      login.run("xwininfo", "-display", display, "-root",
                                                "-tree").stdout), "the alert")
            login.control("stop", UNIT)
            self.assertEqual(login.run("pgrep", "-f", "VelmoraViewerHost").stdout, "")
            squatter.terminate()


class Wayland(Session):
    """In the sandbox as elsewhere: consent, portal, PipeWire."""

    # Without a graphics card the portal has to be told of formats that nobody uses.
    PRELOAD = "/srv/screencopy_formats.so"

    def compositor(self, login):
        """sway with an output in memory, and its portal, which asks nobody."""
        login.write(".config/sway/config", "xwayland disable\n"
                    "output HEADLESS-1 mode --custom 1280x720@60Hz bg #c02020 solid_color\n")
        login.write(".config/xdg-desktop-portal-wlr/config",
                    "[screencast]\nchooser_type=none\noutput_name=HEADLESS-1\n")
        login.write(".config/systemd/user/xdg-desktop-portal-wlr.service.d/formats.conf",
                    f"[Service]\nEnvironment=LD_PRELOAD={self.PRELOAD}\n")
        login.environment.update(
            WLR_BACKENDS="headless", WLR_RENDERER="pixman", WLR_LIBINPUT_NO_DEVICES="1",
            LIBSEAT_BACKEND="noop", LIBGL_ALWAYS_SOFTWARE="1", XDG_CURRENT_DESKTOP="sway",
            XDG_SESSION_TYPE="wayland",
            DBUS_SESSION_BUS_ADDRESS=f"unix:path={login.runtime}/bus")
        login.started.append(login.start("sway"))
        awaited((login.runtime / "wayland-1").is_socket, "the compositor")
        login.environment["WAYLAND_DISPLAY"] = "wayland-1"

    def test_after_the_persons_consent_there_are_frames(self):
        login = self.log_in()
        self.compositor(login)
        login.desktop_starts(QT_LINUX_ACCESSIBILITY_ALWAYS_ON="1", **{
            name: login.environment[name] for name in
            ("WAYLAND_DISPLAY", "XDG_CURRENT_DESKTOP", "XDG_SESSION_TYPE")})
        awaited(lambda: login.run("/usr/bin/python3", "/srv/accessible_alert.py", "press",
                                  "Continue", "5").returncode == 0, "the alert and its button")
        awaited(displays, "what was granted is listed")
        awaited(frame, "there is a frame")


def prepare_machine():
    subprocess.run(["ip", "link", "set", "lo", "up"], check=True)
    subprocess.run(["mount", "-t", "cgroup2", "cgroups", CGROUPS], check=True)
    subprocess.run(["mount", "-t", "tmpfs", "-o", "mode=755", "run", "/run"], check=True)
    # Below "systemd" logind would tell of sessions: PipeWire's session manager looks there.
    for folder in ("user", *(f"systemd/{each}" for each in (
            "system", "seats", "sessions", "users", "machines"))):
        os.makedirs(f"/run/{folder}")
    for name, kind in ((PERSON, ()), (NEXT, ()), (GREETER, ("--system",))):
        if name not in [each.pw_name for each in pwd.getpwall()]:
            subprocess.run(["useradd", "--create-home", "--user-group", *kind, name], check=True)


if __name__ == "__main__":
    prepare_machine()
    unittest.main()
