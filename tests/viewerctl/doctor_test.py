"""doctor tells how it stands with a host, or with this machine, and what to do.

Usage: doctor_test.py PROGRAM.
"""
import json
import pathlib
import shutil
import socket
import subprocess
import tempfile
import unittest

from program import PROGRAM, ProgramTest
from scripted_host import answer, listing, sending, serving


class HostDoctor(ProgramTest):
    def findings(self, name, *arguments, status):
        run = self.run_program("doctor", "--json", *arguments, name)
        self.assertEqual((run.returncode, run.stderr), (status, ""))
        return {each["what"]: each for each in json.loads(run.stdout)}

    def test_a_host_that_is_well(self):
        host = self.host(serving(("id", "Screen")))
        found = self.findings(f"localhost:{host.port}", status=0)
        self.assertEqual(list(found),
                         ["name", "connection", "protocol", "displays", "waiting-line"])
        self.assertEqual({each["state"] for each in found.values()}, {"good"})
        self.assertIn("Studio", found["protocol"]["text"])
        self.assertRegex(found["connection"]["text"], r"^[0-9]+\.[0-9] ms$")

    def test_people_get_a_line_for_each_and_what_to_do(self):
        host = self.host(serving(machine="\x1b[2J"))
        run = self.run_program("doctor", host.name)
        self.assertEqual(run.returncode, 1)
        self.assertRegex(run.stdout, r"(?m)^✗ displays +0\n +→ .*run doctor there$")
        self.assertNotIn("\x1b", run.stdout)

    def test_a_host_that_nothing_listens_on(self):
        with socket.socket() as bound:
            bound.bind(("127.0.0.1", 0))
            found = self.findings(f"127.0.0.1:{bound.getsockname()[1]}", status=1)
        self.assertEqual(list(found), ["connection"])
        self.assertIn("start Viewer Host", found["connection"]["advice"])

    def test_something_else_that_listens_there(self):
        found = self.findings(self.host(sending(b"220 mail\r\n")).name, status=1)
        self.assertEqual(found["protocol"]["text"], "not a Viewer Host")
        self.assertEqual(found["waiting-line"]["state"], "good")

    def test_a_starved_waiting_line(self):
        def late(connection, target):
            if len(host.requests) == 1:
                host.ending.wait(1.2)
            connection.sendall(answer(listing(("id", "Screen"))))
        host = self.host(late)
        found = self.findings(host.name, status=1)
        self.assertEqual(found["protocol"]["state"], "good")
        self.assertIn("16", found["waiting-line"]["advice"])

    def test_a_listing_that_takes_its_time_is_no_waiting_line(self):
        def slow(connection, target):
            whole = answer(listing(("id", "Screen")))
            connection.sendall(whole[:10])
            if len(host.requests) == 1:
                host.ending.wait(1.2)
            connection.sendall(whole[10:])
        host = self.host(slow)
        self.findings(host.name, status=0)

    def test_a_host_that_answers_in_the_end(self):
        def serve(connection, target):
            if len(host.requests) == 3:
                connection.sendall(answer(listing(("id", "Screen"))))
        host = self.host(serve)
        found = self.findings(host.name, status=1)
        self.assertEqual(found["protocol"]["state"], "good")
        self.assertEqual(found["waiting-line"]["state"], "bad")

    def test_a_waiting_line_that_never_ends(self):
        host = self.host(lambda connection, target: host.ending.wait())
        found = self.findings(host.name, "--timeout", "0.5", status=1)
        self.assertEqual(found["connection"]["state"], "good")
        self.assertRegex(found["waiting-line"]["text"], "^[0-9]")
        self.assertEqual(found["waiting-line"]["state"], "bad")


class MachineDoctor(ProgramTest):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.folder = pathlib.Path(folder.name)

    def findings(self, **variables):
        run = self.run_program("doctor", "--json",
                               **{"XDG_CONFIG_HOME": str(self.folder), **variables})
        self.assertEqual(run.stderr, "")
        return {each["what"]: each for each in json.loads(run.stdout)}

    def test_everything_is_looked_at(self):
        self.assertEqual(list(self.findings()), ["versions", "host", "session", "access", "port",
                                                 "firewall", "autostart"])

    def test_a_firewall_is_told_by_its_process(self):
        self.assertEqual(self.findings()["firewall"]["state"], "good")
        firewall = subprocess.Popen([shutil.copy(shutil.which("sleep"), self.folder / "firewalld"),
                                     "600"])
        self.addCleanup(firewall.wait)
        self.addCleanup(firewall.kill)
        self.assertIn("firewall-cmd", self.findings()["firewall"]["advice"])

    def test_versions_stand_without_quotes(self):
        self.assertNotIn('"', self.findings()["versions"]["text"])

    def test_without_a_session_the_advice_is_to_be_in_one(self):
        found = self.findings()
        self.assertEqual(found["session"]["state"], "bad")
        self.assertIn("graphical session", found["session"]["advice"])

    def test_a_session_is_told_by_its_variables(self):
        found = self.findings(XDG_SESSION_TYPE="x11", DISPLAY=":77")
        self.assertEqual(found["session"],
                         {"state": "good", "what": "session", "text": "x11, DISPLAY=:77"})

    def asking(self, script, **variables):
        """What a host beside the program tells that is this script."""
        program = shutil.copy(PROGRAM, self.folder)
        host = self.folder / "VelmoraViewerHost"
        host.write_text("#!/bin/sh\n" + script + "\n")
        host.chmod(0o755)
        return self.findings(program=program, DISPLAY=":77", **variables)["access"]

    def test_the_host_itself_tells_whether_it_may_read_the_screen(self):
        found = self.asking('[ "$*" = --check-permission ] && echo granted && exit 0')
        self.assertEqual((found["state"], found["text"]), ("good", "granted"))
        found = self.asking("echo 'not granted'; echo >&2 'or so'; exit 2")
        self.assertEqual((found["state"], found["text"]), ("bad", "not granted"))
        self.assertEqual(self.asking("kill -9 $$")["state"], "bad")
        found = self.asking("echo granted", XDG_SESSION_TYPE="x11", WAYLAND_DISPLAY="wayland-7")
        self.assertEqual(found["text"], "granted")

    def test_a_session_bus_without_a_portal(self):
        found = self.findings(XDG_SESSION_TYPE="wayland", WAYLAND_DISPLAY="wayland-7",
                              DBUS_SESSION_BUS_ADDRESS=f"unix:path={self.folder}/none")
        self.assertIn("xdg-desktop-portal", found["access"]["advice"])

    def autostart(self, **variables):
        return self.findings(XDG_CONFIG_DIRS=str(self.folder / "system"),
                             **variables)["autostart"]

    def entry(self, *about, folder, name="host.desktop"):
        entry = self.folder / folder / "autostart" / name
        entry.parent.mkdir(parents=True, exist_ok=True)
        entry.write_text("\n".join(["[Desktop Entry]", *about]))
        return str(entry)

    START = "Exec=/usr/bin/VelmoraViewerHost"

    def test_autostart_is_found_where_desktops_look(self):
        self.assertEqual(self.autostart()["state"], "note")
        system = self.entry(self.START, folder="system")
        self.assertEqual(self.autostart()["text"], system)
        own = self.entry(self.START, folder="home/.config")
        found = self.autostart(XDG_CONFIG_HOME="", HOME=str(self.folder / "home"))
        self.assertEqual(found["text"], own)

    def test_autostart_is_off_where_the_account_hides_the_entry(self):
        self.entry(self.START, folder="system")
        self.entry("Hidden=true", folder=".")
        self.assertEqual(self.autostart()["state"], "note")

    def test_what_desktops_pass_over_starts_nothing(self):
        self.entry(self.START, folder=".", name="host.desktop.bak")
        self.entry(self.START, "Hidden=true", folder="system")
        self.assertEqual(self.autostart()["state"], "note")

    def test_a_host_that_does_not_end_is_not_waited_for(self):
        for script in ("exec sleep 600", "exec sleep 600 >&-", "exec yes"):
            with self.subTest(script):
                self.assertEqual(self.asking(script)["text"], "cannot be asked")

    def test_what_is_no_text_leaves_the_json_whole(self):
        found = self.findings(DISPLAY="\udcff:\u009b")
        self.assertEqual(found["session"]["text"], "none, DISPLAY=\ufffd:\u009b")


if __name__ == "__main__":
    unittest.main()
