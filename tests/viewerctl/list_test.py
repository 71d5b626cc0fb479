"""list shows which displays each host has, and why a host does not answer.

Usage: list_test.py PROGRAM, in a network of its own or any other.
"""
import json
import os
import pty
import select
import signal
import socket
import subprocess
import tempfile
import threading
import time
import unittest

from program import PROGRAM, ProgramTest
from scripted_host import PATIENCE, answer, listing, sending, serving


class List(ProgramTest):
    FORBIDDEN = "\x1b", "\x07", "\x9b", "\u202e", "\r"

    def reason(self, host, *arguments):
        run = self.run_program("list", "--json", *arguments, host.name)
        self.assertEqual(run.returncode, 1, run.stderr)
        return json.loads(run.stdout)[0]["error"]["reason"]

    def test_a_table_has_a_line_for_each_display(self):
        host = self.host(serving(("id-1", "Left"), ("id-2", "Right")))
        run = self.run_program("list", host.name)
        self.assertEqual((run.returncode, run.stderr), (0, ""))
        lines = [line.split() for line in run.stdout.splitlines()]
        self.assertEqual(lines[1:], [
            [host.name, "Studio", "1", "Left", "1920", "×", "1080", "id-1"],
            [host.name, "Studio", "2", "Right", "1920", "×", "1080", "id-2"]])

    def test_the_columns_stand_below_each_other(self):
        hosts = [self.host(serving(("id", name), machine=machine))
                 for name, machine in (("画面 1", "Studio"), ("Left", "M"), ("e\u0301", "Größe"))]
        empty = self.host(serving(machine="Nobody"))
        run = self.run_program("list", *(host.name for host in hosts), empty.name)
        lines = run.stdout.splitlines()
        narrow = [line.replace("画面", "wide").replace("e\u0301", "e") for line in lines[:4]]
        for title, cell in (("MACHINE", r"Studio|M |Größe"), ("ID", r"id$")):
            column = narrow[0].index(title)
            for line in narrow[1:]:
                self.assertRegex(line[column:], f"^(?:{cell})")
        self.assertRegex(lines[4], "Nobody +no displays$")

    def test_what_is_wrong_is_told_without_what_a_terminal_obeys(self):
        run = self.run_program("list", "a\x1b[2J")
        self.assertEqual(run.returncode, 2)
        self.assertNotIn("\x1b", run.stderr)

    def test_hosts_that_are_named_come_before_those_of_the_file(self):
        with tempfile.NamedTemporaryFile("w", suffix=".hosts") as file:
            file.write("\u202eHall:\n[::1]:2\n")
            file.flush()
            arguments = ("list", "--hosts", file.name, "--timeout", "1", "[::1]", "127.0.0.1:1")
            found = json.loads(self.run_program(*arguments, "--json").stdout)
            self.assertNotIn("\u202e", self.run_program(*arguments).stdout)
        self.assertEqual([each["host"] for each in found], ["[::1]", "127.0.0.1:1", "[::1]:2"])
        self.assertEqual([each.get("group") for each in found], [None, None, "\u202eHall"])

    def test_programs_get_json_in_the_order_of_the_hosts(self):
        hosts = [self.host(serving(("id", "A/ü\"\\"), machine=f"M{n}")) for n in range(3)]
        run = self.run_program("list", "--json", *(host.name for host in hosts))
        self.assertEqual(json.loads(run.stdout), [
            {"host": host.name, "machineName": f"M{n}",
             "displays": [{"id": "id", "name": "A/ü\"\\", "width": 1920, "height": 1080}]}
            for n, host in enumerate(hosts)])

    def test_a_host_that_fails_leaves_the_others_alone(self):
        good = self.host(serving(("id", "Screen")))
        bad = self.host(sending(b"SSH-2.0-OpenSSH_9.2\r\n"))
        run = self.run_program("list", bad.name, good.name)
        self.assertEqual(run.returncode, 1)
        self.assertIn("not a Viewer Host", run.stdout)
        self.assertIn("Screen", run.stdout)

    def test_hosts_come_from_a_file_with_groups_and_comments(self):
        host = self.host(serving(("id", "Screen")))
        with tempfile.NamedTemporaryFile("w", suffix=".hosts") as file:
            file.write(f"# The room\n\nControl room:\n  {host.name}  # on the left\n")
            file.flush()
            run = self.run_program("list", "--hosts", file.name)
            self.assertEqual(run.returncode, 0, run.stderr)
            self.assertIn("\nControl room:\n" + host.name, run.stdout)
            run = self.run_program("list", "--json", "--hosts", file.name)
            self.assertEqual(json.loads(run.stdout)[0]["group"], "Control room")

    def test_a_bad_line_of_the_file_is_told_by_its_number(self):
        with tempfile.NamedTemporaryFile("w", suffix=".hosts") as file:
            file.write("studio\nno host at all\nnor this\n")
            file.flush()
            run = self.run_program("list", "--hosts", file.name)
            self.assertEqual(run.returncode, 2)
            self.assertIn(f"{file.name}:2:", run.stderr)

    def test_wrong_usage_has_a_status_of_its_own(self):
        for arguments in ((), ("list",), ("list", "::1"), ("list", "--no-such", "a"), ("dance",),
                          ("list", "--hosts", "/nonexistent/file"), ("list", "--hosts", "/"),
                          ("list", "--hosts", "/dev/zero"), ("list", "--timeout", "0", "a"),
                          ("list", "--timeout", "nan", "a"), ("list", "--timeout", "601", "a"),
                          *(("stream", "--rate", rate, "a", "1") for rate in ("0", "26", "nan")),
                          ("list", "a", "--hosts")):
            with self.subTest(arguments):
                run = self.run_program(*arguments)
                self.assertEqual((run.returncode, run.stdout), (2, ""))
                self.assertIn("velmora-viewerctl", run.stderr)

    def test_help_and_version_are_no_failures(self):
        for locale in ({"LC_ALL": "C"}, {"LC_ALL": "", "LC_MESSAGES": "C"}):
            run = self.run_program("--help", **locale, LANG="ru_RU.UTF-8")
            self.assertIn("Commands", run.stdout)
        for arguments in (("--help",), ("list", "--help"), ("--version",)):
            run = self.run_program(*arguments)
            self.assertEqual((run.returncode, run.stderr), (0, ""))
            self.assertIn("elmora", run.stdout + "elmora" * ("--help" in arguments))
        self.assertIn("Команды", self.run_program("--help", LC_ALL="ru_RU.UTF-8").stdout)

    def test_reasons_are_russian_for_russians(self):
        bad = self.host(sending(b"?"))
        run = self.run_program("list", bad.name, LC_ALL="ru_RU.UTF-8")
        self.assertIn("это не Viewer Host", run.stdout)

    def test_refused(self):
        with socket.socket() as bound:
            bound.bind(("127.0.0.1", 0))
            run = self.run_program("list", "--json", f"127.0.0.1:{bound.getsockname()[1]}")
        self.assertEqual(json.loads(run.stdout)[0]["error"]["reason"], "refused")

    def test_no_route(self):
        # The network of broadcasts is one that nothing is sent to by a stream.
        run = self.run_program("list", "--json", "255.255.255.255")
        self.assertEqual(json.loads(run.stdout)[0]["error"]["reason"], "no-route")

    def test_a_host_that_says_nothing_times_out(self):
        host = self.host(lambda connection, target: host.ending.wait())
        self.assertEqual(self.reason(host, "--timeout", "0.5"), "timed-out")

    def test_a_host_that_sends_byte_by_byte_times_out(self):
        def drip(connection, target):
            for byte in answer(listing(("id", "Screen"))):
                connection.sendall(bytes([byte]))
                if host.ending.wait(0.1):
                    return
        host = self.host(drip)
        self.assertEqual(self.reason(host, "--timeout", "1"), "timed-out")

    def test_a_host_that_goes_away(self):
        whole = answer(listing(("id", "Screen")))
        for part in (b"", whole[:20], whole[:-5]):
            with self.subTest(part):
                self.assertEqual(self.reason(self.host(sending(part))), "broke-off")

    def test_another_version(self):
        newer = listing(version=2).replace(b'"displays":[]', b'"screens":[]')
        self.assertEqual(self.reason(self.host(sending(answer(newer)))), "other-version")

    def test_what_is_no_viewer_host(self):
        good = listing(("id", "Screen"))
        for name, data in {
                "another protocol": answer(listing(protocol="Other")),
                "a page": answer(b"<html></html>", kind="text/html"),
                "not found": answer(b"", kind="text/plain", status="404 Not Found"),
                "a redirect": b"HTTP/1.1 302 Found\r\nLocation: http://127.0.0.1:1/\r\n"
                              b"Content-Type: application/json\r\nContent-Length: 0\r\n\r\n",
                "no type": b"HTTP/1.1 200 OK\r\nContent-Length: 2\r\n\r\n{}",
                "no length": b"HTTP/1.1 200 OK\r\nContent-Type: application/json\r\n\r\n" + good,
                "two lengths": answer(good).replace(b"Cache-Control: no-store",
                                                    b"Content-Length: %d" % len(good)),
                "chunks": b"HTTP/1.1 200 OK\r\nContent-Type: application/json\r\n"
                          b"Transfer-Encoding: chunked\r\n\r\n0\r\n\r\n",
                "compressed": answer(good).replace(b"Cache-Control: no-store",
                                                   b"Content-Encoding: gzip"),
                "HTTP/1.0": answer(good).replace(b"HTTP/1.1", b"HTTP/1.0"),
                "trailing bytes in the JSON": answer(good + b"{}"),
                "no UTF-8": answer(good.replace(b"Screen", b"\xff\xfe")),
                "half a pixel": answer(good.replace(b"1920", b"1920.5")),
                "a number for a name": answer(good.replace(b'"Screen"', b"1")),
                "no pixels": answer(good.replace(b"1920", b"0")),
                "too deep": answer(b"[" * 100000),
        }.items():
            with self.subTest(name):
                self.assertEqual(self.reason(self.host(sending(data))), "not-a-viewer-host")

    def test_an_endless_head_is_cut_short(self):
        def endless(line):
            def serve(connection, target):
                connection.sendall(b"HTTP/1.1 200 OK\r\n")
                while True:
                    connection.sendall(line * 1000)
            return serve
        for line in (b"X-A: b\r\n", b"a", b"HTTP/1.1 100 Continue\r\n\r\n"):
            with self.subTest(line):
                self.assertEqual(self.reason(self.host(endless(line)), "--timeout", "20"),
                                 "not-a-viewer-host")

    def test_a_body_of_two_gibibytes_is_not_waited_for(self):
        def serve(connection, target):
            connection.sendall(answer(b" " * 1000, length=2 << 30))
            host.ending.wait()
        host = self.host(serve)
        self.assertEqual(self.reason(host, "--timeout", "20"), "not-a-viewer-host")

    def test_names_cannot_speak_to_the_terminal(self):
        name = "\x1b]0;title\x07\x1b[2J\u202eevil\x9b1m\r\n"
        host = self.host(serving(("id\x1b[31m", name), machine=name))
        run = subprocess.run([PROGRAM, "list", host.name], capture_output=True,
                             timeout=PATIENCE, env=self.environment())
        self.assertEqual(run.returncode, 0)
        text = run.stdout.decode()
        for forbidden in self.FORBIDDEN:
            self.assertNotIn(forbidden, text)
        self.assertEqual(len(text.splitlines()), 2)
        self.assertIn("evil", text)

    def test_json_is_safe_on_a_terminal_and_keeps_the_names(self):
        name = "\x1b]0;title\x07\x1b[2J\u202eevil\x9b1m\r\n\U000e0041ü"
        host = self.host(serving(("id\x9b", name), machine=name))
        run = self.run_program("list", "--json", host.name)
        for forbidden in (*self.FORBIDDEN, "\U000e0041"):
            self.assertNotIn(forbidden, run.stdout)
        found, = json.loads(run.stdout)
        self.assertEqual((found["machineName"], found["displays"][0]["id"]), (name, "id\x9b"))

    def test_a_long_name_leaves_the_lines_of_others_alone(self):
        long = self.host(serving(("id", "n" * 4000), machine="m" * 4000))
        host = self.host(serving(("id", "Screen")))
        run = self.run_program("list", long.name, host.name)
        self.assertLess(len(run.stdout.splitlines()[2]), 200)
        self.assertIn("m" * 4000 + "  1", run.stdout)

    def test_the_environment_sends_no_request_elsewhere(self):
        host = self.host(serving(("id", "Screen")))
        proxy = self.host(sending(b""))
        run = self.run_program("list", host.name, http_proxy=f"http://{proxy.name}",
                               ALL_PROXY=f"http://{proxy.name}")
        self.assertEqual(run.returncode, 0)
        self.assertEqual(proxy.requests, [])
        head = host.requests[0].lower()
        self.assertNotIn("accept-encoding", head)
        self.assertNotIn("cookie", head)

    def test_a_host_named_ten_times_has_two_connections_at_a_time(self):
        pair = threading.Barrier(2, timeout=PATIENCE)
        asking = []

        def serve(connection, target):
            asking.append(connection)
            pair.wait()
            most.append(len(asking))
            pair.wait()
            asking.remove(connection)
            pair.wait()
            connection.sendall(answer(listing(("id", "Screen"))))
        most = []
        host = self.host(serve)
        run = self.run_program("list", "--timeout", "20", *[host.name] * 10)
        self.assertEqual(run.returncode, 0)
        self.assertEqual(most, [2] * 10)

    def test_an_interrupt_ends_it_at_once(self):
        host = self.host(lambda connection, target: host.ending.wait())
        # Some of them wait for their turn.
        process = self.start("list", "--timeout", "600", *[host.name] * 5, stdout=subprocess.PIPE,
                             stderr=subprocess.PIPE)
        while not host.requests:
            time.sleep(0.01)
        process.send_signal(signal.SIGINT)
        output, errors = process.communicate(timeout=PATIENCE)
        self.assertEqual((process.returncode, output, errors), (-signal.SIGINT, b"", b""))

    def on_terminal(self, *arguments, **variables):
        """What a terminal gets, the errors apart."""
        terminals = [pty.openpty() for _ in ("output", "errors")]
        with subprocess.Popen([PROGRAM, *arguments], stdin=subprocess.DEVNULL,
                              stdout=terminals[0][1], stderr=terminals[1][1],
                              env=self.environment(**{"TERM": "xterm", **variables})) as process:
            process.wait(PATIENCE)
        texts = []
        for ours, theirs in terminals:
            is_written, _, _ = select.select([ours], [], [], 0)
            texts.append(os.read(ours, 65536).decode() if is_written else "")
            os.close(ours)
            os.close(theirs)
        return texts

    def test_a_terminal_gets_colours_and_progress(self):
        good, bad = self.host(serving(("id", "Screen"))), self.host(sending(b"?"))
        output, errors = self.on_terminal("list", good.name, bad.name)
        self.assertTrue(output.startswith("\x1b[1mHOST"))
        self.assertIn("\x1b[31mnot a Viewer Host\x1b[0m\r\n", output)
        self.assertEqual(errors, "\r1 of 2\x1b[K\r2 of 2\x1b[K\r\x1b[K")
        self.assertEqual(self.on_terminal("list", good.name)[1], "")

    def test_colours_are_left_out_where_they_are_not_wanted(self):
        bad = self.host(sending(b"?"))
        for variables in ({"NO_COLOR": "1"}, {"TERM": "dumb"}):
            with self.subTest(variables):
                output, errors = self.on_terminal("list", bad.name, bad.name, **variables)
                self.assertNotIn("\x1b", output)
                self.assertEqual(errors == "", "TERM" in variables)
        run = self.run_program("list", bad.name, bad.name, TERM="xterm")
        self.assertNotIn("\x1b", run.stdout + run.stderr)

    def test_who_ignores_a_hang_up_is_not_ended_by_one(self):
        def serve(connection, target):
            process.send_signal(signal.SIGHUP)
            connection.sendall(answer(listing(("id", "Screen"))))
        host = self.host(serve)
        process = self.start("list", host.name, stdout=subprocess.PIPE,
                             preexec_fn=lambda: signal.signal(signal.SIGHUP, signal.SIG_IGN))
        output, _ = process.communicate(timeout=PATIENCE)
        self.assertEqual(process.returncode, 0)
        self.assertIn(b"Screen", output)

    def test_output_that_cannot_be_written_is_a_failure(self):
        host = self.host(serving(("id", "Screen")))
        with open("/dev/full", "w", encoding="utf-8") as full:
            process = self.start("list", host.name, stdout=full, stderr=subprocess.PIPE)
            _, errors = process.communicate(timeout=PATIENCE)
        self.assertEqual(process.returncode, 1)
        self.assertIn(b"cannot be written", errors)

    def test_it_is_linked_with_nothing_that_captures(self):
        libraries = subprocess.run(["ldd", PROGRAM], capture_output=True, text=True,
                                   check=True).stdout
        self.assertIn("libcurl", libraries)
        for name in ("libxcb", "libX11", "libpipewire", "libwayland", "libsystemd", "libQt6",
                     "libhwy"):
            self.assertNotIn(name, libraries)


if __name__ == "__main__":
    unittest.main()
