"""wall keeps pages up to date with every display of every host.

Usage: wall_test.py PROGRAM.
"""
import collections
import http.client
import itertools
import json
import os
import pathlib
import re
import signal
import socket
import stat
import subprocess
import tempfile
import threading
import time
import unittest

from program import ProgramTest
from scripted_host import LABEL, PATIENCE, answer, jpeg, listing, picture, serving
from wall_page import PROTOCOL, Wall

SCREEN = ("id", "Screen")
NO_PICTURE = answer(b"", kind="text/plain", status="503 Service Unavailable")
NO_DISPLAY = answer(b"", kind="text/plain", status="404 Not Found")


def changing(size=0):
    """Pictures each of which differs from the one before."""
    numbers = itertools.count(1)

    def frame(_):
        number = next(numbers)
        return answer(jpeg(filling=b"%d" % number).ljust(size, b"\0"), kind="image/jpeg",
                      label=f"{LABEL}{number}")
    return frame


def frames(host):
    """The requests for frames, counted by what was asked for."""
    with host.lock:
        targets = [request.split()[1] for request in host.requests]
    return collections.Counter(target for target in targets if "frame" in target)


def eventually(is_so):
    """Waits for something that does not tell when it happens."""
    for _ in range(PATIENCE * 50):
        if is_so():
            return
        time.sleep(0.02)
    raise AssertionError("it did not happen")


class WallTest(ProgramTest):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.folder = pathlib.Path(folder.name)

    def launch(self, *arguments, variables=(), **about):
        everything = {"XDG_RUNTIME_DIR": str(self.folder), **dict(variables)}
        return self.start("wall", *arguments, variables=everything, stdout=subprocess.PIPE,
                          stderr=subprocess.PIPE, text=True, **about)

    def wall(self, *hosts):
        return Wall(self.launch("--no-browser", *(host.name for host in hosts)))

    def screen(self, frame=None):
        return self.host(serving(SCREEN, frame=frame or changing()))


class Private(WallTest):
    """Who may see the pictures."""

    def answer(self, wall, path="/live", method="GET", **fields):
        """What a program gets that asks as a page does, but for these fields."""
        asked = {"Host": wall.authority, "Origin": f"http://{wall.authority}",
                 "Connection": "Upgrade", "Upgrade": "websocket", "Sec-WebSocket-Version": "13",
                 "Sec-WebSocket-Key": "AAAAAAAAAAAAAAAAAAAAAA==",
                 "Sec-WebSocket-Protocol": f"{PROTOCOL}, {wall.token}",
                 **{name.replace("_", "-"): value for name, value in fields.items()}}
        connection = http.client.HTTPConnection(wall.authority, timeout=PATIENCE)
        self.addCleanup(connection.close)
        connection.putrequest(method, path, skip_host=True)
        for name, value in asked.items():
            if value is not None:
                connection.putheader(name, value)
        connection.endheaders()
        return connection.getresponse()

    def test_a_page_with_the_token_is_let_in(self):
        wall = self.wall(self.screen())
        welcome = self.answer(wall)
        self.assertEqual(welcome.status, 101)
        self.assertEqual(welcome.getheader("Sec-WebSocket-Protocol"), PROTOCOL)

    def test_nobody_without_the_token_sees_anything(self):
        wall = self.wall(self.screen())
        for offered in (None, PROTOCOL, f"{PROTOCOL}, {wall.token[:-1]}",
                        f"{PROTOCOL}, {wall.token.upper()}x", wall.token,
                        f"{PROTOCOL}, {'0' * 64}"):
            with self.subTest(offered):
                self.assertEqual(
                    self.answer(wall, Sec_WebSocket_Protocol=offered).status, 403)

    def test_the_token_counts_nowhere_else(self):
        wall = self.wall(self.screen())
        refused = self.answer(wall, path=f"/live?{wall.token}", Cookie=f"token={wall.token}",
                              Authorization=f"Bearer {wall.token}",
                              Sec_WebSocket_Protocol=PROTOCOL)
        self.assertEqual(refused.status, 404)
        refused = self.answer(wall, Cookie=f"token={wall.token}",
                              Authorization=f"Bearer {wall.token}",
                              Sec_WebSocket_Protocol=PROTOCOL)
        self.assertEqual(refused.status, 403)

    def test_a_cookie_changes_nothing_and_none_is_set(self):
        wall = self.wall(self.screen())
        welcome = self.answer(wall, Cookie="token=nonsense")
        self.assertEqual(welcome.status, 101)
        self.assertIsNone(welcome.getheader("Set-Cookie"))
        self.assertIsNone(self.answer(wall, path="/").getheader("Set-Cookie"))

    def test_a_page_from_elsewhere_is_refused(self):
        wall = self.wall(self.screen())
        for origin in (None, "null", "http://evil.example", f"https://{wall.authority}",
                       "http://127.0.0.1:1", f"http://{wall.authority}.evil.example"):
            with self.subTest(origin):
                self.assertEqual(self.answer(wall, Origin=origin).status, 403)

    def test_who_knows_the_program_by_another_name_is_refused(self):
        wall = self.wall(self.screen())
        for host in ("evil.example", "127.0.0.1", "evil.example:" + wall.authority.split(":")[1]):
            for path in ("/live", "/"):
                with self.subTest(host=host, path=path):
                    asked = self.answer(wall, path=path, Host=host, Origin=f"http://{host}")
                    self.assertEqual(asked.status, 403)

    def test_the_page_is_there_for_everybody_and_asks_nobody_else(self):
        wall = self.wall(self.screen())
        page = self.answer(wall, path="/", Upgrade=None, Connection=None, Origin=None)
        self.assertEqual((page.status, page.getheader("Content-Type")),
                         (200, "text/html; charset=utf-8"))
        text = page.read().decode()
        self.assertNotIn(wall.token, text)
        policy = dict(each.split(" ", 1) for each in
                      page.getheader("Content-Security-Policy").split("; "))
        self.assertEqual(policy["default-src"], "'none'")
        self.assertEqual(policy["script-src"], "'self'")
        self.assertEqual(policy["connect-src"], f"'self' ws://{wall.authority}")
        for name, value in (("X-Content-Type-Options", "nosniff"), ("Cache-Control", "no-store"),
                            ("Referrer-Policy", "no-referrer"),
                            ("Cross-Origin-Resource-Policy", "same-origin"),
                            ("Cross-Origin-Opener-Policy", "same-origin")):
            self.assertEqual(page.getheader(name), value)
        self.assertEqual(self.answer(wall, path="/../secret").status, 404)
        self.assertEqual(self.answer(wall, path="/", method="POST").status, 405)

    def test_the_file_that_leads_there_is_its_owners_alone_and_goes_with_the_program(self):
        wall = self.wall(self.screen())
        self.assertEqual(pathlib.Path(wall.path).parent, self.folder)
        self.assertEqual(stat.S_IMODE(os.stat(wall.path).st_mode), 0o600)
        wall.process.send_signal(signal.SIGTERM)
        self.assertEqual(wall.process.wait(PATIENCE), -signal.SIGTERM)
        self.assertEqual(list(self.folder.iterdir()), [])

    def test_without_a_folder_of_the_session_it_makes_one_of_its_own(self):
        process = self.launch("--no-browser", self.screen().name,
                              variables={"XDG_RUNTIME_DIR": "", "TMPDIR": str(self.folder)})
        path = pathlib.Path(process.stdout.readline().strip())
        self.assertEqual(path.parent.parent, self.folder)
        self.assertEqual(stat.S_IMODE(path.parent.stat().st_mode), 0o700)
        self.assertEqual(stat.S_IMODE(path.stat().st_mode), 0o600)
        process.send_signal(signal.SIGINT)
        process.wait(PATIENCE)
        self.assertEqual(list(self.folder.iterdir()), [])

    def test_another_address_is_told_with_its_link_and_known_by_it(self):
        process = self.launch("--no-browser", "--let-others-look", "127.0.0.2",
                              self.screen().name)
        wall = Wall(process)
        self.assertTrue(wall.authority.startswith("127.0.0.2:"))
        self.assertEqual(self.answer(wall).status, 101)
        self.assertEqual(self.answer(wall, Host="127.0.0.1:" + wall.authority[10:]).status, 403)
        run = self.run_program("wall", "--let-others-look", "0.0.0.0", "studio")
        self.assertEqual(run.returncode, 2)


class Browser(WallTest):
    """How the page comes into the desktop's browser."""

    def open(self, script, **about):
        opener = self.folder / "xdg-open"
        opener.write_text("#!/bin/sh\n" + script)
        opener.chmod(0o755)
        process = self.launch(self.screen().name, **about, variables={
            "PATH": f"{self.folder}:{os.environ['PATH']}", "RECORD": str(self.folder / "record")})
        return Wall(process)

    RECORD = ("{ echo $$; echo \"$1\"; tr '\\0' ' ' </proc/$PPID/cmdline; tr '\\0' ' ' "
              "</proc/$$/cmdline; echo; for each in /proc/$$/fd/*; do readlink $each; done; } "
              ">$RECORD.part; mv $RECORD.part $RECORD; ")

    def record(self):
        path = self.folder / "record"
        eventually(path.exists)
        return path.read_text().splitlines()

    def test_it_is_given_the_file_and_the_token_is_on_no_command_line(self):
        wall = self.open(self.RECORD)
        _, file, commands = self.record()[:3]
        self.assertEqual(file, wall.path)
        self.assertIn("xdg-open", commands)
        self.assertIn(" wall ", commands)
        self.assertNotIn(wall.token, commands)

    def test_it_inherits_nothing(self):
        with open(self.folder / "inherited", "w", encoding="utf-8") as inherited:
            os.set_inheritable(inherited.fileno(), True)
            self.open(self.RECORD, pass_fds=[inherited.fileno()])
            descriptors = set(self.record()[3:])
        self.assertEqual(descriptors - {"/dev/null", f"{self.folder}/record.part"},
                         {f"{self.folder}/xdg-open"})

    def test_what_has_opened_it_does_not_stay_behind(self):
        self.open(self.RECORD)
        opener = self.record()[0]
        eventually(lambda: not os.path.exists(f"/proc/{opener}"))

    def test_the_program_ends_though_the_browser_goes_on(self):
        wall = self.open(self.RECORD + "exec sleep 600")
        opener = int(self.record()[0])
        self.addCleanup(os.kill, opener, signal.SIGKILL)
        self.assertNotEqual(os.getsid(opener), os.getsid(wall.process.pid))
        wall.process.send_signal(signal.SIGINT)
        self.assertEqual(wall.process.wait(PATIENCE), -signal.SIGINT)
        os.kill(opener, 0)

    def test_a_desktop_without_a_browser_is_told_of(self):
        wall = self.open("exit 3")
        self.assertIn("open this file", wall.process.stderr.readline())


class Looking(WallTest):
    """What is asked for."""

    def test_the_hosts_come_in_their_order_with_their_groups(self):
        one, other = self.screen(), self.screen()
        (self.folder / "hosts").write_text(f"{other.name}\nЗал:\n{one.name}\n{other.name}\n")
        wall = Wall(self.launch("--no-browser", "--hosts", str(self.folder / "hosts")))
        page = wall.page(self)
        self.assertEqual(page.receive()["hosts"],
                         [{"host": 0, "address": other.name, "group": ""},
                          {"host": 1, "address": one.name, "group": "Зал"}])
        news = page.host(1)
        self.assertEqual((news["failure"], news["machine"]), (None, "Studio"))
        display, = news["displays"]
        self.assertEqual((display["id"], display["name"], display["width"], display["height"]),
                         ("id", "Screen", 1920, 1080))

    def test_nobody_is_asked_anything_before_a_page_is_there(self):
        host = self.screen()
        wall = self.wall(host)
        connection = http.client.HTTPConnection(wall.authority, timeout=PATIENCE)
        connection.request("GET", "/")
        self.assertEqual(connection.getresponse().status, 200)
        connection.close()
        self.assertEqual(host.requests, [])
        wall.page(self).host()
        self.assertEqual(len(host.requests), 1)

    def test_what_nobody_looks_at_is_not_asked_for(self):
        seen, unseen = self.screen(), self.screen()
        page = self.wall(seen, unseen).page(self)
        while len(page.hosts) < 2:
            page.receive()
        tile, other = (page.hosts[number]["displays"][0]["tile"] for number in (0, 1))
        page.look(tile)
        for _ in range(5):
            page.picture(tile)
        self.assertEqual(frames(unseen).total(), 0)
        page.look(other)
        page.picture(other)
        asked = frames(seen).total()
        for _ in range(5):
            page.picture(other)
        self.assertLessEqual(frames(seen).total(), asked + 1)  # one may have been on its way

    def test_a_display_is_asked_once_however_many_pages_look(self):
        host = self.screen()
        wall = self.wall(host)
        pages = [wall.page(self) for _ in range(8)]
        for page in pages:
            page.host()
            page.look(1)
        last = [[page.picture(1)["label"] for _ in range(6)][-1] for page in pages]
        # Had each page its own pictures, the host would have been asked for eight times as many.
        newest = max(int(label.rsplit("-", 1)[1]) for label in last)
        self.assertLessEqual(newest, 6 + len(pages))
        self.assertLessEqual(frames(host).total(), newest + len(pages))

    def test_a_page_that_looks_anew_has_the_newest_picture_at_once(self):
        host = self.screen(frame=lambda target: picture())
        wall = self.wall(host)
        first = wall.page(self)
        first.host()
        first.look(1)
        first.picture(1)
        eventually(lambda: frames(host).total() > 3)
        second = wall.page(self)
        second.host()
        second.look(1, interval=600000)
        known = second.picture(1)
        self.assertEqual(known["jpeg"], jpeg())
        self.assertEqual(known["label"], LABEL + "1")
        self.assertGreater(known["age"], 0)
        self.assertEqual(second.tiles[1]["state"], "live")

    def test_a_picture_comes_only_when_its_bytes_have_changed(self):
        # The host labels the same picture anew after each fourth request.
        numbers = itertools.count(4)
        host = self.screen(frame=lambda target: picture(next(numbers) // 4))
        page = self.wall(host).page(self)
        page.host()
        page.look(1)
        page.picture(1)
        eventually(lambda: frames(host).total() > 9)
        page.send("the end")
        page.closing()
        self.assertEqual(page.pictures[1]["label"], LABEL + "1")

    def test_many_tiles_are_looked_at_at_once_and_unknown_ones_ignored(self):
        displays = [(f"id {number}", f"Screen {number}") for number in range(3)]
        page = self.wall(self.host(serving(*displays, frame=changing()))).page(self)
        page.host()
        page.look(*range(1, 1001))
        for tile in (1, 2, 3):
            page.picture(tile)

    def test_of_six_displays_each_gets_its_turn_and_never_are_five_asked(self):
        lock, held, refused = threading.Lock(), {}, []
        frame = changing()

        def serve(target):
            """As a host does that captures four displays, each for 5 s after its last request."""
            now = time.monotonic()
            with lock:
                for display in [each for each, end in held.items() if end <= now]:
                    del held[display]
                if target not in held and len(held) >= 4:
                    refused.append(target)
                    return NO_PICTURE
                held[target] = now + 5
            return frame(target)

        displays = [(f"id{number}", f"Screen {number}") for number in range(6)]
        page = self.wall(self.host(serving(*displays, frame=serve))).page(self)
        page.host()
        page.look(*range(1, 7), interval=500)
        resting = page.until(lambda message: message.get("state") == "resting")["tile"]
        while len(page.pictures) < 6:
            page.receive()
        self.assertEqual(page.tiles[resting]["state"], "live")
        self.assertEqual(refused, [])


class Failing(WallTest):
    """What goes wrong harms its own tile."""

    def test_no_picture_now_is_not_unreachable(self):
        answers = itertools.chain([picture(), NO_PICTURE], itertools.repeat(picture(2)))
        page = self.wall(self.screen(frame=lambda target: next(answers))).page(self)
        page.host()
        page.look(1)
        page.tile(1, state="live")
        self.assertIsNone(page.tile(1, state="no-picture")["failure"])
        page.tile(1, state="live")
        self.assertIsNone(page.hosts[0]["failure"])

    def test_garbage_of_one_host_harms_its_tile_alone(self):
        bombs = {"/viewer/v1/frame?id=a": answer(jpeg(width=60000), kind="image/jpeg",
                                                 label=LABEL + "1"),
                 "/viewer/v1/frame?id=b": b"HTTP/1.1 200 OK\r\nX: " + b"x" * 100000,
                 "/viewer/v1/frame?id=c": answer(b"", kind="image/jpeg", length=2 << 30,
                                                 label=LABEL + "1"),
                 "/viewer/v1/frame?id=d": answer(jpeg(), kind="image/jpeg", label="\x1b[2J")}
        bad = self.host(serving(*((each, each) for each in "abcd"), frame=bombs.get))
        page = self.wall(bad, self.screen()).page(self)
        while len(page.hosts) < 2:
            page.receive()
        good = page.hosts[1]["displays"][0]["tile"]
        tiles = [each["tile"] for each in page.hosts[0]["displays"]]
        page.look(good, *tiles)
        while any(page.tiles.get(tile, {}).get("state") != "failed" for tile in tiles):
            page.receive()
        self.assertEqual(page.tiles[tiles[0]]["failure"], "bad-picture")
        for _ in range(3):
            page.picture(good)
        self.assertEqual(set(page.pictures), {good})
        self.assertIsNone(page.hosts[0]["failure"])

    def test_displays_that_hang_harm_neither_their_host_nor_its_other_displays(self):
        ending = threading.Event()
        self.addCleanup(ending.set)
        frame = changing()

        def serve(connection, target):
            if "hangs" in target:
                ending.wait(PATIENCE)
            else:
                serving(("hangs 1", ""), ("hangs 2", ""), ("hangs 3", ""), SCREEN,
                        frame=frame)(connection, target)
        wall = Wall(self.launch("--no-browser", "--timeout", "1", self.host(serve).name))
        page = wall.page(self)
        page.host()
        page.look(1, 2, 3, 4)
        pictures, failures = 0, set()
        while pictures < 15:
            message = page.receive()
            pictures += message["kind"] == "picture"
            if message.get("failure"):
                failures.add((message["kind"], message.get("tile")))
        # Neither does the host fail nor the fourth.
        self.assertEqual(failures, {("tile", 1), ("tile", 2), ("tile", 3)})

    def test_names_come_as_they_are_and_harm_nobody(self):
        name = "\x1b]0;evil\x07\u202e</script>\"\\"
        host = self.host(serving(("\x1b[31m", name), machine=name, frame=changing()))
        page = self.wall(host).page(self)
        news = page.host()
        self.assertEqual((news["machine"], news["displays"][0]["name"]), (name, name))
        page.look(1)
        page.picture(1)

    def test_a_host_that_dies_is_told_of_and_comes_back(self):
        frame = changing()
        host = self.screen(frame)
        wall = self.wall(host)
        page = wall.page(self)
        page.host()
        page.look(1)
        page.picture(1)
        host.close()
        news = page.host(failure="refused")
        self.assertEqual([each["tile"] for each in news["displays"]], [1])
        self.assertEqual((page.tiles[1]["state"], page.tiles[1]["failure"]), ("failed", "refused"))

        def seconds():
            other = wall.page(self)
            told = other.host()
            other.close()
            self.assertEqual(told["failure"], "refused")
            return told["seconds"]
        eventually(lambda: seconds() > 0)
        again = self.host(serving(SCREEN, frame=frame), port=host.port)
        page.host(failure=None)
        page.tile(1, state="live")
        page.picture(1)
        self.assertGreater(frames(again).total(), 0)

    def test_a_host_that_does_not_answer_is_asked_ever_less_often(self):
        dead, good = self.host(lambda connection, target: None), self.screen()
        page = self.wall(dead, good).page(self)
        while len(page.hosts) < 2:
            page.receive()
        self.assertEqual(page.hosts[0]["failure"], "broke-off")
        page.look(1)
        for _ in range(25):
            page.picture(1)
        self.assertLess(len(dead.requests), 10)

    def test_a_display_that_is_gone_makes_the_host_be_asked_anew_at_once(self):
        gone = threading.Event()

        def serve(connection, target):
            if "displays" in target:
                connection.sendall(answer(listing(("other", "Other") if gone.is_set() else SCREEN,
                                                  ("clock", "Clock"))))
            elif gone.is_set() and target.endswith("=id"):
                connection.sendall(NO_DISPLAY)
            else:
                connection.sendall(picture())
        host = self.host(serve)
        page = self.wall(host).page(self)
        page.host()
        page.look(1, 2)
        page.picture(1)
        before = frames(host)["/viewer/v1/frame?id=clock"]
        gone.set()
        self.assertEqual(page.tile(1, state="failed")["failure"], "no-such-display")
        display, _ = page.host()["displays"]
        self.assertEqual((display["id"], display["tile"]), ("other", 3))
        # In the time after which it is asked anyhow, the other display is asked 45 times and more.
        self.assertLess(frames(host)["/viewer/v1/frame?id=clock"] - before, 30)

    def test_a_page_that_reads_slowly_misses_pictures_and_holds_up_nobody(self):
        host = self.screen(changing(size=1 << 20))
        wall = self.wall(host)
        slow, quick = wall.page(self), wall.page(self)
        for page in (slow, quick):
            page.host()
            page.look(1)
        for _ in range(30):
            newest = quick.picture(1)
        late = [slow.picture(1)["label"]]
        while len(late) < 30 and int(late[-1].rsplit("-", 1)[1]) < int(
                newest["label"].rsplit("-", 1)[1]):
            late.append(slow.picture(1)["label"])
        self.assertLess(len(late), 15)

    def test_a_page_that_says_what_none_says_is_turned_away(self):
        wall = self.wall(self.screen())
        for text in ("", "{}", '{"kind":"look","tiles":[[1,5]]}', b'{"kind":"look","tiles":[]}'):
            with self.subTest(text):
                page = wall.page(self)
                page.host()
                page.send(text)
                self.assertEqual(page.closing(), 1008)

    def test_a_page_that_says_too_much_is_turned_away_and_no_other(self):
        wall = self.wall(self.screen())
        good, bad = wall.page(self), wall.page(self)
        bad.host()
        bad.send(" " * 262145)
        self.assertEqual(bad.closing(), 1009)
        good.host()
        good.look(1)
        good.picture(1)

    def test_many_who_connect_and_say_nothing_keep_no_page_out_for_long(self):
        wall = self.wall(self.screen())
        address = ("127.0.0.1", int(wall.authority.split(":")[1]))
        silent = [socket.create_connection(address) for _ in range(100)]
        for each in silent:
            self.addCleanup(each.close)

        def is_let_in():
            connection = http.client.HTTPConnection(wall.authority, timeout=PATIENCE)
            try:
                connection.request("GET", "/")
                return connection.getresponse().status == 200
            except (OSError, http.client.HTTPException):
                return False
            finally:
                connection.close()
        eventually(is_let_in)


class Ending(WallTest):
    def test_an_interrupt_ends_it_at_once_whatever_runs(self):
        ending = threading.Event()
        self.addCleanup(ending.set)

        def hang(connection, target):
            if "frame" in target:
                ending.wait(PATIENCE)
            connection.sendall(answer(listing(SCREEN)))
        hosts = [self.host(hang), self.host(lambda *_: ending.wait(PATIENCE)),
                 self.screen(changing(size=1 << 20))]
        wall = Wall(self.launch("--no-browser", "--timeout", "600",
                                *(host.name for host in hosts)))
        pages = [wall.page(self) for _ in range(8)]
        for page in pages:
            while not {0, 2} <= set(page.hosts):
                page.receive()
            page.look(1, 2)
        eventually(lambda: frames(hosts[0]).total() > 0 and frames(hosts[2]).total() > 5)
        wall.process.send_signal(signal.SIGINT)
        self.assertEqual(wall.process.wait(PATIENCE), -signal.SIGINT)
        self.assertEqual(wall.process.stderr.read(), "")
        self.assertEqual(list(self.folder.iterdir()), [])

    def test_a_port_that_is_taken_is_told_of(self):
        taken = self.screen()
        run = self.run_program("wall", "--listen", str(taken.port), taken.name,
                               XDG_RUNTIME_DIR=str(self.folder))
        self.assertEqual(run.returncode, 1)
        self.assertRegex(run.stderr, re.compile("already in use"))
        self.assertEqual(list(self.folder.iterdir()), [])


if __name__ == "__main__":
    unittest.main()
