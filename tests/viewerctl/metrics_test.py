"""metrics tells Prometheus how it stands with hosts.

Usage: metrics_test.py PROGRAM.
"""
import contextlib
import http.client
import signal
import socket
import subprocess
import unittest
import urllib.parse

from program import ProgramTest
from scripted_host import PATIENCE, answer, listing, sending, serving


class Metrics(ProgramTest):
    def setUp(self):
        self.process = self.start("metrics", "--listen", "0", "--timeout", "10",
                                  stderr=subprocess.PIPE)
        url = self.process.stderr.readline().decode().strip()
        self.assertRegex(url, r"^http://127\.0\.0\.1:[0-9]+/probe\?target=$")
        self.port = urllib.parse.urlsplit(url).port

    def get(self, target, method="GET", **headers):
        connection = http.client.HTTPConnection("127.0.0.1", self.port, timeout=PATIENCE)
        self.addCleanup(connection.close)
        connection.request(method, target, headers=headers)
        response = connection.getresponse()
        return response, response.read().decode()

    def samples(self, target):
        response, text = self.get(target)
        self.assertEqual(response.status, 200)
        self.assertTrue(response.getheader("Content-Type").startswith("text/plain; version=0.0.4"))
        lines = [line for line in text.splitlines() if not line.startswith("#")]
        return dict(line.rsplit(" ", 1) for line in lines)

    def test_a_host_that_is_up(self):
        host = self.host(serving(("a", "A"), ("b", "B"), machine='Stu"dio\\\n'))
        found = self.samples("/probe?target=" + host.name)
        self.assertEqual(found["velmora_up"], "1")
        self.assertEqual(found["velmora_displays"], "2")
        self.assertEqual(found['velmora_host_info{machine="Stu\\"dio\\\\\\n"}'], "1")
        self.assertGreater(float(found["velmora_probe_connect_seconds"]), 0)
        whole = answer(listing(("a", "A"), ("b", "B"), machine='Stu"dio\\\n'))
        self.assertEqual(int(found["velmora_probe_answer_bytes"]), len(whole))

    def test_each_step_has_its_time(self):
        def slow(connection, target):
            whole = answer(listing(("a", "A")))
            host.ending.wait(0.05)
            connection.sendall(whole[:10])
            host.ending.wait(0.05)
            connection.sendall(whole[10:])
        host = self.host(slow)
        found = self.samples("/probe?target=" + host.name)
        times = [float(found[f"velmora_probe_{step}_seconds"])
                 for step in ("lookup", "connect", "first_byte", "duration")]
        self.assertEqual(times, sorted(set(times)))

    def test_a_scrape_asks_for_no_picture(self):
        host = self.host(serving(("a", "A")))
        self.samples("/probe?target=" + host.name)
        self.assertEqual([request.split()[1] for request in host.requests],
                         ["/viewer/v1/displays"])

    def test_a_host_that_is_not(self):
        host = self.host(sending(b"?"))
        found = self.samples("/probe?target=" + urllib.parse.quote(host.name))
        self.assertEqual(found["velmora_up"], "0")
        self.assertEqual(found['velmora_probe_failure_info{reason="not-a-viewer-host"}'], "1")
        self.assertNotIn("velmora_displays", found)

    def test_the_exporter_counts_its_probes(self):
        good, bad = self.host(serving(("a", "A"))), self.host(sending(b"?"))
        for host in (good, bad, good):
            self.samples("/probe?target=" + host.name)
        self.assertEqual(self.samples("/metrics"), {"velmora_exporter_probes_total": "3",
                                                    "velmora_exporter_failed_probes_total": "1"})

    def test_everything_has_help_and_type(self):
        host = self.host(serving(("a", "A")))
        for target in ("/metrics", "/probe?target=" + host.name):
            _, text = self.get(target)
            names = {line.split("{")[0].split()[0] for line in text.splitlines()
                     if not line.startswith("#")}
            for name in names:
                self.assertIn(f"# HELP {name} ", text)
                self.assertRegex(text, f"(?m)^# TYPE {name} (gauge|counter)$")
                self.assertTrue(name.startswith("velmora_"))

    def test_what_is_no_target_is_refused(self):
        for target in ("", "a%20b", "%", "a/b", "http://a"):
            self.assertEqual(self.get("/probe?target=" + target)[0].status, 400)
        self.assertEqual(self.get("/")[0].status, 404)
        self.assertEqual(self.get("/metrics/")[0].status, 404)
        self.assertEqual(self.get("/metrics")[0].getheader("Cache-Control"), "no-store")
        self.assertEqual(self.get("/metrics", method="POST")[0].status, 405)

    def test_a_port_that_is_taken_is_told_of(self):
        run = self.run_program("metrics", "--listen", str(self.port))
        self.assertEqual(run.returncode, 1)
        self.assertIn("already in use", run.stderr)

    def connect(self):
        connection = socket.create_connection(("127.0.0.1", self.port), timeout=PATIENCE)
        self.addCleanup(connection.close)
        return connection

    def test_the_65th_connection_is_turned_away(self):
        held = [self.connect() for _ in range(64)]
        self.assertEqual(self.connect().recv(1), b"")
        held[0].sendall(b"GET /metrics HTTP/1.1\r\nHost: 127.0.0.1:%d\r\n\r\n" % self.port)
        self.assertIn(b"200 OK", held[0].recv(100))

    def test_a_connection_without_a_request_is_closed(self):
        self.assertEqual(self.connect().recv(1), b"")

    def test_a_long_head_is_no_request(self):
        connection = self.connect()
        connection.sendall(b"GET /metrics HTTP/1.1\r\nHost: 127.0.0.1:%d\r\nX: " % self.port)
        connection.sendall(b"a" * 9000 + b"\r\n\r\n")
        with contextlib.suppress(ConnectionResetError):
            self.assertEqual(connection.recv(100), b"")

    def test_other_addresses_of_the_machine_do_not_lead_to_it(self):
        with self.assertRaises(ConnectionRefusedError):
            socket.create_connection(("127.0.0.2", self.port), timeout=PATIENCE)

    def test_a_page_elsewhere_cannot_make_it_probe(self):
        host = self.host(serving(("a", "A")))
        response, _ = self.get("/probe?target=" + host.name, Host="evil.example")
        self.assertEqual((response.status, host.requests), (403, []))
        response, _ = self.get("/metrics", Host="localhost:1")
        self.assertEqual(response.status, 403)

    def test_an_interrupt_ends_it_with_a_probe_under_way(self):
        host = self.host(lambda connection, target: host.ending.wait())
        connection = http.client.HTTPConnection("127.0.0.1", self.port, timeout=PATIENCE)
        self.addCleanup(connection.close)
        connection.request("GET", "/probe?target=" + host.name)
        while not host.requests:
            host.ending.wait(0.01)
        self.process.send_signal(signal.SIGINT)
        self.assertEqual(self.process.wait(PATIENCE), -signal.SIGINT)


if __name__ == "__main__":
    unittest.main()
