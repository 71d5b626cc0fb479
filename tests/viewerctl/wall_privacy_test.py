"""The wall is private: its page alone sees it, and its file alone leads there.

Usage: wall_privacy_test.py PROGRAM.
"""
import http.client
import os
import pathlib
import signal
import stat
import unittest

from scripted_host import PATIENCE
from wall_case import WallTest, eventually
from wall_page import PROTOCOL, Wall


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


if __name__ == "__main__":
    unittest.main()
