"""Pages of the wall get what they look at, and hosts are asked for nothing else.

Usage: wall_looking_test.py PROGRAM.
"""
import http.client
import itertools
import threading
import time
import unittest

from scripted_host import LABEL, PATIENCE, jpeg, picture, serving
from wall_case import NO_PICTURE, WallTest, changing, eventually, frames
from wall_page import Wall


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
        for _ in range(50):  # in which time it would have asked
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


if __name__ == "__main__":
    unittest.main()
