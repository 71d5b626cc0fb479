"""watch shows a display live in a terminal.

Usage: watch_test.py PROGRAM.
"""
import itertools
import pathlib
import re
import signal
import socket
import time
import unittest

from coloured import coloured, showing
from program import PROGRAM, ProgramTest
from screens import until
from scripted_host import LABEL, PATIENCE, answer, picture, serving
from terminal import ENTER, LEAVE, SIGNALS, Terminal, control

RED, GREEN = "c02040", "208040"
DISPLAYS = ("left", "Left"), ("right", "Right"), ("third", "Third")
EMPTY = answer(b"", kind="text/plain", status="503 Service Unavailable")
GONE = answer(b"", kind="text/plain", status="404 Not Found")
PROMPT = b"ready> "
AT_PROMPT = PROMPT + rb"\Z"
PICTURE = rb"48;2;.*(same|new) picture"
BACKGROUND = rb"\x1b\[(?:[0-9;]*;)?48;2;(\d+);(\d+);(\d+)"


def red(target):
    return showing(coloured(RED))


class WatchTest(ProgramTest):
    def watch(self, *arguments, host=None, command=None, terminal="xterm-direct", **about):
        size = {name: about.pop(name) for name in ("columns", "rows") if name in about}
        self.watched = host or self.host(serving(*DISPLAYS, frame=red))
        started = Terminal(
            command or [PROGRAM, "watch", self.watched.name, *arguments],
            self.environment(TERM=terminal, TZ="UTC", PROGRAM=PROGRAM, **about), **size)
        self.addCleanup(started.close)
        return started

    def shown(self, *arguments, **about):
        """The same, once there is a picture."""
        terminal = self.watch(*arguments, **about)
        terminal.wait_for(r"picture for|new picture")
        return terminal

    def asked(self):
        return [request.split()[1].rsplit("=")[-1] for request in list(self.watched.requests)
                if "frame?" in request]

    def assert_given_back(self, terminal, status):
        self.assertEqual(terminal.end(), (status, terminal.mode))
        terminal.wait(lambda output: output.endswith(LEAVE), "the end of the alternate screen")


class Watch(WatchTest):
    def test_title_and_status_tell_what_is_seen(self):
        terminal = self.shown(columns=160)
        self.assertEqual(terminal.rows()[1],
                         f"{self.watched.name} · Studio · 1/3 Left · 1920 × 1080")
        terminal.wait_for(rf"^same picture for [1-9] s · [0-9]+\.[0-9] pictures/s · {LABEL}1$", 29)
        self.assertIn("q end", terminal.rows()[30])

    def test_the_number_of_a_label_stays_where_it_is_too_long(self):
        terminal = self.shown(columns=60)
        terminal.wait_for(r"pictures/s · …-1$", 29)
        for row, text in terminal.rows().items():
            self.assertLessEqual(len(text), 60, text)

    def test_a_display_is_chosen_on_the_command_line(self):
        terminal = self.shown("Third")
        self.assertIn("3/3 Third", terminal.rows()[1])
        self.assertEqual(set(self.asked()), {"third"})

    def test_keys_choose_displays(self):
        terminal = self.shown()
        for keys, name in ((b"n", "2/3 Right"), (b"\t", "3/3 Third"), (b"\x1b[C", "1/3 Left"),
                           (b"p", "3/3 Third"), (b"\x1b[D", "2/3 Right"), (b"\x1b[Z", "1/3 Left"),
                           (b"\x1bOB", "2/3 Right"), (b"\x1b[A", "1/3 Left"), (b"3", "3/3 Third"),
                           ("з".encode(), "2/3 Right"), ("т".encode(), "3/3 Third")):
            with self.subTest(keys):
                terminal.type(keys)
                terminal.wait_for(re.escape(name), 1)
        terminal.type(b"9x\x1b[5~n")
        terminal.wait_for("1/3 Left", 1)

    def test_space_pauses_and_goes_on(self):
        terminal = self.shown("--rate", "25")
        terminal.wait_for(r" [1-9]\d*\.\d pictures/s")
        terminal.type(b" ")
        terminal.wait_for("^paused · ")
        asked = len(self.asked())
        terminal.wait_for(r"^paused · .* 0\.0 pictures/s")
        self.assertLessEqual(len(self.asked()), asked + 1)
        terminal.type(b" ")
        terminal.wait_for("^same picture")

    def test_the_age_is_that_of_the_bytes_whatever_the_label(self):
        numbers, screen = itertools.count(1), {"colour": RED}
        host = self.host(serving(*DISPLAYS, frame=lambda target: showing(
            coloured(screen["colour"]), next(numbers))))
        terminal = self.shown(host=host)
        terminal.wait_for("^same picture for 2 s")
        seen = len(terminal.output)
        screen["colour"] = GREEN
        terminal.wait(lambda output: b"new picture" in output[seen:], "a new picture")

    def test_no_more_is_asked_for_than_the_rate_says(self):
        begin = time.monotonic()
        terminal = self.shown("--rate", "10")
        terminal.wait_for("same picture for 2 s")
        self.assertLessEqual(len(self.asked()), 2 + 10 * (time.monotonic() - begin))
        terminal.type(b"q")
        terminal.end()

    def test_names_are_shown_without_what_a_terminal_obeys(self):
        host = self.host(serving(("a", "\x1b]0;owned\x07\u202e\x9b2J"), machine="\x1b[31mM\r\n",
                                 frame=red))
        terminal = self.shown(host=host)
        self.assertIn("� · 1/1 �]0;owned���2J · ", terminal.rows()[1].replace("M\ufffd", ""))
        self.assertNotIn(b"\x1b]0;", terminal.output)

    def test_russian(self):
        terminal = self.watch(LC_ALL="ru_RU.UTF-8")
        terminal.wait_for("^то же изображение 1 с · .*изобр./с")
        terminal.wait_for("пробел пауза", 30)


class Troubles(WatchTest):
    def test_the_last_picture_stays_dimmed_while_the_host_has_none(self):
        answers = {"now": red("")}
        host = self.host(serving(*DISPLAYS, frame=lambda target: answers["now"]))
        terminal = self.shown(host=host)
        self.assertEqual(self.colours(terminal.output), {(192, 32, 64)})
        seen = len(terminal.output)
        answers["now"] = EMPTY
        terminal.wait_for(r"^no picture now since \d\d:\d\d:\d\d \(\d+ s\) · "
                          r"old picture, the same for \d+ s · ", 29)
        terminal.wait(lambda output: self.colours(output[seen:]) == {(96, 16, 32)}, "dimmed")
        seen = len(terminal.output)
        answers["now"] = red("")
        terminal.wait(lambda output: self.colours(output[seen:]) == {(192, 32, 64)}, "bright")
        terminal.wait_for("^same picture", 29)

    @staticmethod
    def colours(output):
        """Of what is drawn, to the nearest sixteenth."""
        found = {tuple(map(int, each)) for each in re.findall(BACKGROUND, output)}
        return {tuple(16 * round(channel / 16) for channel in each) for each in found}

    def test_a_host_that_goes_away_is_told_of_with_its_reason(self):
        host = self.host(serving(*DISPLAYS, frame=red))
        terminal = self.shown(host=host)
        host.listener.shutdown(socket.SHUT_RDWR)
        host.close()
        terminal.wait_for("^refused.* since .* old picture")
        terminal.type(b"q")
        self.assert_given_back(terminal, 1)

    def test_a_display_that_vanishes_has_the_displays_asked_for_anew(self):
        def serve(connection, target):
            isGone = sum("frame" in request for request in host.requests) > 2
            displays = DISPLAYS[1:] if isGone else DISPLAYS
            answers = serving(*displays, frame=lambda target: (
                GONE if isGone and target.endswith("left") else red(target)))
            answers(connection, target)
        host = self.host(serve)
        terminal = self.shown(host=host)
        terminal.wait_for("^no such display since")
        terminal.wait_for(r"\?/2 Left", 1)
        terminal.type(b"n")
        terminal.wait_for("1/2 Right", 1)
        terminal.wait_for("same picture for", 29)

    def test_a_display_that_gives_no_answer_does_not_hold_up_another(self):
        def serve(connection, target):
            if target.endswith("left"):
                host.ending.wait(PATIENCE)
            else:
                serving(*DISPLAYS, frame=red)(connection, target)
        host = self.host(serve)
        terminal = self.watch("--timeout", "600", host=host)
        terminal.wait_for("^no picture yet")
        terminal.type(b"n")
        terminal.wait_for("same picture for")

    def test_a_broken_picture_is_told_of_and_harms_nothing_else(self):
        host = self.host(serving(*DISPLAYS, frame=lambda target: (
            picture() if target.endswith("left") else red(target))))
        terminal = self.watch(host=host)
        terminal.wait_for("cannot be shown safely since")
        terminal.type(b"2")
        terminal.wait_for("^same picture for")
        self.assertNotIn("safely", terminal.rows()[29])

    def test_a_host_without_displays_shows_the_first_that_comes(self):
        def serve(connection, target):
            displays = DISPLAYS if len(host.requests) > 1 else ()
            serving(*displays, frame=red)(connection, target)
        host = self.host(serve)
        terminal = self.watch(host=host)
        terminal.wait_for("it has no display", 1)
        terminal.wait_for("1/3 Left", 1)

    def test_what_cannot_begin_leaves_the_terminal_alone(self):
        for arguments, reason in ((["4"], "no such display"), ([], "refused")):
            host = self.host(serving(*DISPLAYS))
            if not arguments:
                host.listener.shutdown(socket.SHUT_RDWR)
                host.close()
            terminal = self.watch(*arguments, host=host)
            terminal.wait(lambda output: reason.encode() in output, reason)
            self.assertEqual(terminal.end(), (1, terminal.mode))
            self.assertNotIn(b"\x1b", terminal.output)


class Formats(WatchTest):
    BEGINNINGS = {"kitty": b"\x1b_Ga=T", "iterm": b"\x1b]1337;File=", "sixel": b"\x1bP",
                  "symbols": "▀".encode()}

    def assert_shows(self, terminal, name):
        terminal.wait(lambda output: self.BEGINNINGS[name] in output, name)
        for other, beginning in self.BEGINNINGS.items():
            if other != name:
                self.assertNotIn(beginning, terminal.output)

    def stripes(self):
        return self.host(serving(*DISPLAYS, frame=lambda target: showing(
            coloured(*[RED, GREEN] * 9, height=90))))

    def test_each_is_told_as_it_is_named(self):
        for name in self.BEGINNINGS:
            with self.subTest(name):
                terminal = self.watch("--format", name, host=self.stripes(), rows=12)
                self.assert_shows(terminal, name)

    def test_the_terminal_decides_otherwise(self):
        for name, variables in {
                "kitty": {"terminal": "xterm-kitty"}, "sixel": {"terminal": "foot"},
                "iterm": {"terminal": "xterm-256color", "LC_TERMINAL": "iTerm2"},
                "symbols": {"terminal": "xterm-kitty", "TMUX": "/tmp/tmux,1,0"}}.items():
            with self.subTest(name):
                terminal = self.watch(host=self.stripes(), rows=12, **variables)
                self.assert_shows(terminal, name)

    def test_another_name_is_wrong_usage(self):
        terminal = self.watch("--format", "png")
        self.assertEqual(terminal.end()[0], 2)

    def test_an_output_that_is_no_terminal_is_wrong_usage(self):
        run = self.run_program("watch", "studio", TERM="xterm")
        self.assertEqual((run.returncode, run.stdout), (2, ""))
        self.assertIn("not a terminal", run.stderr)


class GivenBack(WatchTest):
    """The terminal is as it was, however it ends."""

    def test_after_keys(self):
        for keys in (b"q", "й".encode(), b"\x1b"):
            with self.subTest(keys):
                terminal = self.shown()
                self.assertNotEqual(terminal.mode_now(), terminal.mode)
                terminal.type(keys)
                self.assert_given_back(terminal, 0)

    def test_after_the_interrupt_key(self):
        terminal = self.shown()
        terminal.type(control("c"))
        self.assert_given_back(terminal, -signal.SIGINT)

    def test_after_signals(self):
        for number in SIGNALS:
            with self.subTest(number):
                terminal = self.shown()
                terminal.signal(number)
                self.assert_given_back(terminal, -number)

    def test_while_the_host_does_not_answer(self):
        host = self.host(lambda connection, target: (
            host.ending.wait(PATIENCE) if "frame" in target
            else serving(*DISPLAYS)(connection, target)))
        terminal = self.watch(host=host)
        terminal.wait_for("no picture yet")
        terminal.type(control("c"))
        self.assert_given_back(terminal, -signal.SIGINT)

    def test_while_the_terminal_takes_nothing(self):
        numbers = itertools.count(1)
        host = self.host(serving(*DISPLAYS, frame=lambda target: self.changing(next(numbers))))
        terminal = self.shown("--rate", "25", "--format", "kitty", host=host)
        terminal.isReading.clear()
        last = self.ask_for(100)
        status = pathlib.Path(f"/proc/{terminal.process.pid}/status").read_text()
        self.assertLess(int(re.search(r"VmRSS:\s+(\d+)", status)[1]), 150_000 * self.SLACK)
        terminal.isReading.set()
        terminal.wait(lambda output: self.label(terminal) >= last, f"the picture {last}")
        drawn = terminal.output.count(b"\x1b_Ga=T")
        self.assertLess(drawn, last - 50)
        terminal.isReading.clear()
        self.ask_for(10)
        terminal.signal(signal.SIGTERM)
        self.assertEqual(terminal.end(), (-signal.SIGTERM, terminal.mode))
        terminal.isReading.set()
        terminal.wait(lambda output: output.endswith(LEAVE), "the end of the alternate screen")

    @staticmethod
    def changing(number):
        colours = (RED, GREEN) if number % 2 else (GREEN, RED)
        return showing(coloured(*colours, width=640, height=360), number)

    @staticmethod
    def label(terminal):
        return int(terminal.rows()[29].rsplit("-")[-1])

    def ask_for(self, pictures):
        """Waits until so many more were asked for, and tells how many that makes."""
        wanted = len(self.asked()) + pictures
        while len(self.asked()) < wanted:
            time.sleep(0.01)
        return wanted

    # Sanitizers keep what was freed, and shadows of everything.
    SLACK = 10 if "san/" in PROGRAM else 1

    def shell(self):
        """A shell with job control, at its prompt."""
        terminal = self.watch(command=["dash", "-im"], PS1=PROMPT.decode(), ENV="")
        terminal.wait(lambda output: output.endswith(PROMPT), "the prompt")
        return terminal

    def command(self, terminal, line, end):
        """What the terminal is sent from there on until something ends it."""
        seen = len(terminal.output)
        terminal.type(line)
        terminal.wait(lambda output: re.search(end, output[seen:], re.DOTALL), end)
        return terminal.output[seen:]

    def test_while_a_shell_has_stopped_it(self):
        terminal = self.shell()
        line = f"\"$PROGRAM\" watch {self.watched.name}; echo ended with $?\n".encode()
        self.command(terminal, line, PICTURE)
        self.assertNotEqual(terminal.mode_now(), terminal.mode)
        self.assertIn(LEAVE, self.command(terminal, control("z"), AT_PROMPT))
        self.assertEqual(terminal.mode_now(), terminal.mode)
        self.assertIn(ENTER, self.command(terminal, b"fg\n", PICTURE))
        self.command(terminal, b"q", AT_PROMPT)
        self.assertEqual(terminal.mode_now(), terminal.mode)

    def test_while_it_is_in_the_background_of_a_shell(self):
        terminal = self.shell()
        line = f"\"$PROGRAM\" watch {self.watched.name} &\n".encode()
        self.command(terminal, line, AT_PROMPT)
        until(lambda: b"Stopped" in self.command(terminal, b"jobs\n", b"jobs.*" + AT_PROMPT),
              "that it waits for the terminal")
        self.assertNotIn(ENTER, terminal.output)
        self.assertEqual(terminal.mode_now(), terminal.mode)
        self.assertIn(ENTER, self.command(terminal, b"fg\n", PICTURE))
        self.command(terminal, control("z"), AT_PROMPT)
        ended = self.command(terminal, b"kill %1; bg; wait %1; echo status $?\n",
                             rb"status \d+\r\n.*" + AT_PROMPT)
        self.assertIn(b"status 143", ended)
        self.assertNotIn(b"\x1b", ended)
        self.assertEqual(terminal.mode_now(), terminal.mode)

    def test_a_change_of_size_has_everything_drawn_anew(self):
        terminal = self.shown()
        seen = len(terminal.output)
        terminal.resize(50, 20)
        terminal.wait(lambda output: b"\x1b[20;1H" in output[seen:], "the last row")
        self.assertIn(b"\x1b[2J", terminal.output[seen:])
        for columns, rows in ((1, 1), (3, 2), (40, 3), (2, 4), (500, 5), (80, 24)):
            seen = len(terminal.output)
            terminal.resize(columns, rows)
            terminal.wait(lambda output: b"\x1b[2J" in output[seen:], f"{columns} × {rows}")
        terminal.wait_for("same picture", 23)


if __name__ == "__main__":
    unittest.main()
