"""Hosts that fail and pages that misbehave harm nobody else on the wall.

Usage: wall_misfortune_test.py PROGRAM.
"""
import http.client
import itertools
import re
import signal
import socket
import threading
import unittest

from scripted_host import LABEL, PATIENCE, answer, jpeg, listing, picture, serving
from wall_case import NO_DISPLAY, NO_PICTURE, SCREEN, WallTest, changing, eventually, frames
from wall_page import Wall


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
