"""Names are looked up by the system, which may take its time.

Usage: names_test.py PROGRAM. In a network of its own, where this test is the name server.
"""
import json
import os
import pathlib
import resource
import signal
import socket
import subprocess
import sys
import tempfile
import threading
import unittest
import urllib.request

RESOLVER = "nameserver 127.0.0.1\noptions timeout:30 attempts:5\n"
SWITCH = "hosts: files dns\n"
NOBODY = 65534


def enter_own_network():
    """Runs this test anew where it is alone with its name server."""
    alone = [] if os.geteuid() == 0 else ["--user", "--map-root-user"]
    folder = tempfile.mkdtemp()
    pathlib.Path(folder, "resolv.conf").write_text(RESOLVER, encoding="utf-8")
    pathlib.Path(folder, "nsswitch.conf").write_text(SWITCH, encoding="utf-8")
    script = f"""
        ip link set lo up
        for name in resolv.conf nsswitch.conf; do
            mount --bind "{folder}/$name" "$(realpath "/etc/$name")"
        done
        rm -r "{folder}"
        exec "$@"
    """
    os.environ["NAMES_TEST_IS_ALONE"] = "1"
    os.execvp("unshare", ["unshare", "--net", "--mount", *alone, "sh", "-ec", script, "sh",
                          sys.executable, *sys.argv])


if "NAMES_TEST_IS_ALONE" not in os.environ:
    enter_own_network()

from program import ProgramTest  # noqa: E402
from scripted_host import PATIENCE, serving  # noqa: E402


class NameServer:
    """Knows names that begin with "good", denies those with "missing", and is silent on others."""

    def __init__(self):
        self.socket = socket.socket(socket.AF_INET, socket.SOCK_DGRAM)
        self.socket.bind(("127.0.0.1", 53))
        self.asked = set()
        self.is_asked = threading.Event()
        threading.Thread(target=self.serve, daemon=True).start()

    def serve(self):
        while True:
            question, peer = self.socket.recvfrom(512)
            end = question.index(b"\0", 12)
            name = question[13:13 + question[12]].decode()
            self.asked.add(name)
            self.is_asked.set()
            is_v4 = question[end + 1:end + 3] == b"\0\1"
            if name.startswith("missing"):
                self.answer(question[:end + 5], peer, 0x8183, b"")
            elif name.startswith("good"):
                record = b"\xc0\x0c\0\1\0\1\0\0\0\x3c\0\4\x7f\0\0\1"
                self.answer(question[:end + 5], peer, 0x8180, record if is_v4 else b"")

    def answer(self, question, peer, flags, record):
        head = question[:2] + flags.to_bytes(2, "big") + b"\0\1" + (
            b"\0\1" if record else b"\0\0") + b"\0\0\0\0"
        self.socket.sendto(head + question[12:] + record, peer)


class Names(ProgramTest):
    @classmethod
    def setUpClass(cls):
        cls.server = NameServer()

    def setUp(self):
        self.server.asked = set()
        self.server.is_asked.clear()

    def reasons(self, *arguments):
        run = self.run_program("list", "--json", *arguments)
        return [each.get("error", {}).get("reason") for each in json.loads(run.stdout)]

    def test_a_name_that_is_known(self):
        host = self.host(serving(("id", "Screen")))
        self.assertEqual(self.reasons(f"good.example:{host.port}"), [None])
        self.assertIn(f"Host: good.example:{host.port}\r\n", host.requests[0])

    def test_a_name_that_nobody_knows(self):
        self.assertEqual(self.reasons("missing.example"), ["no-such-name"])

    def test_a_name_server_that_says_nothing(self):
        self.assertEqual(self.reasons("--timeout", "0.5", "silent.example"),
                         ["name-server-silent"])

    def test_at_most_32_names_are_looked_up_at_once(self):
        names = [f"silent-{n}.example" for n in range(100)]
        self.assertEqual(set(self.reasons("--timeout", "3", *names)), {"name-server-silent"})
        self.assertEqual(len(self.server.asked), 32)

    def test_names_that_are_answered_make_room_for_others(self):
        names = [f"missing-{n}.example" for n in range(100)]
        self.assertEqual(set(self.reasons("--timeout", "20", *names)), {"no-such-name"})

    def test_one_name_after_the_other_for_a_long_time(self):
        process = self.start("metrics", "--listen", "0", stderr=subprocess.PIPE)
        port = int(process.stderr.readline().split(b":")[2].split(b"/")[0])
        for n in range(40):
            with urllib.request.urlopen(
                    f"http://127.0.0.1:{port}/probe?target=missing-{n}.example") as page:
                self.assertIn(b'reason="no-such-name"', page.read())

    def test_an_interrupt_waits_for_no_name(self):
        process = self.start("list", "--timeout", "600", "silent.example",
                             stdout=subprocess.PIPE)
        self.assertTrue(self.server.is_asked.wait(PATIENCE))
        process.send_signal(signal.SIGINT)
        process.communicate(timeout=PATIENCE)
        self.assertEqual(process.returncode, -signal.SIGINT)

    def test_a_name_is_not_waited_for_where_no_thread_can_be_had(self):
        def be_alone():
            try:
                os.setgid(NOBODY)
                os.setuid(NOBODY)
            except OSError:
                pass  # An ordinary user, to whom the limit applies as it is.
            resource.setrlimit(resource.RLIMIT_NPROC, (1, 1))
        process = self.start("list", "--json", "--timeout", "0.5", "good.example",
                             stdout=subprocess.PIPE, preexec_fn=be_alone)
        output, _ = process.communicate(timeout=PATIENCE)
        self.assertEqual(json.loads(output)[0]["error"]["reason"], "name-server-silent")

    def test_the_doctor_tells_that_a_name_is_the_fault(self):
        run = self.run_program("doctor", "missing.example")
        self.assertEqual(run.returncode, 1)
        self.assertRegex(run.stdout, r"^✗ name +no such name\n +→ check the spelling")

    def test_the_doctor_tells_that_the_name_server_is_the_fault(self):
        run = self.run_program("doctor", "--timeout", "0.5", "silent.example")
        self.assertRegex(run.stdout, r"^✗ name +the name server does not answer\n +→ check this")
        self.assertNotIn("connection", run.stdout)

    def test_there_is_no_way_to_an_address_without_a_network(self):
        self.assertEqual(self.reasons("192.0.2.1", "[2001:db8::1]"), ["no-route", "no-route"])


if __name__ == "__main__":
    unittest.main()
