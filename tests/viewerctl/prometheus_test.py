"""A real Prometheus takes what metrics tells it, set up as the operator's guide says.

Usage: prometheus_test.py PROGRAM. Prometheus is the one that scripts/packages unpacks.
"""
import json
import pathlib
import re
import socket
import subprocess
import tempfile
import textwrap
import unittest
import urllib.parse
import urllib.request

from program import ProgramTest
from screens import until
from scripted_host import PATIENCE, sending, serving

ROOT = pathlib.Path(__file__).resolve().parents[2]
PROGRAMS = ROOT / "build" / "unpacked" / "prometheus" / "usr" / "bin"


def guide_settings():
    """The settings in the guide."""
    text = (ROOT / "docs" / "operators-guide.md").read_text()
    block = re.search(r"^    scrape_configs:\n(?:(?:    .*)?\n)+", text, re.MULTILINE)[0]
    return textwrap.dedent(block)


class Prometheus(ProgramTest):
    def setUp(self):
        self.good = self.host(serving(("a", "A"), machine='Stu"dio\\\n'))
        self.bad = self.host(sending(b"?"))
        process = self.start("metrics", "--listen", "0", stderr=subprocess.PIPE)
        self.exporter = process.stderr.readline().decode().split("/")[2]

    def get(self, url):
        with urllib.request.urlopen("http://" + url, timeout=PATIENCE) as answer:
            return answer.read().decode()

    def test_promtool_finds_nothing_to_say_about_the_metrics(self):
        for target in (f"/probe?target={self.good.name}", f"/probe?target={self.bad.name}",
                       "/metrics"):
            with self.subTest(target):
                run = subprocess.run([PROGRAMS / "promtool", "check", "metrics"],
                                     input=self.get(self.exporter + target), text=True,
                                     capture_output=True, timeout=PATIENCE)
                self.assertEqual((run.returncode, run.stdout, run.stderr), (0, "", ""))

    def scrape(self):
        """Starts a Prometheus for both hosts; where it answers."""
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        settings = guide_settings()
        for old, new in (("left.example", f"'{self.good.name}'"),
                         ("right.example", f"'{self.bad.name}'"),
                         ("127.0.0.1:9091", self.exporter)):
            self.assertIn(old, settings)
            settings = settings.replace(old, new)
        file = pathlib.Path(folder.name, "prometheus.yml")
        file.write_text("global: {scrape_interval: 1s}\n" + settings)
        with socket.socket() as free:
            free.bind(("127.0.0.1", 0))
            address = f"127.0.0.1:{free.getsockname()[1]}"
        process = subprocess.Popen(
            [PROGRAMS / "prometheus", f"--config.file={file}", f"--web.listen-address={address}",
             f"--storage.tsdb.path={folder.name}/data", "--log.level=error"],
            stdin=subprocess.DEVNULL)
        self.addCleanup(process.wait)
        self.addCleanup(process.kill)
        return address

    def test_a_scrape_tells_which_host_is_up_and_why_one_is_not(self):
        address = self.scrape()

        def found(query):
            url = f"{address}/api/v1/query?" + urllib.parse.urlencode({"query": query})
            try:
                result = json.loads(self.get(url))["data"]["result"]
            except OSError:
                return {}  # it is still starting
            return {each["metric"]["instance"]: each["value"][1] for each in result}

        until(lambda: len(found("velmora_up")) == 2, "both hosts")
        self.assertEqual(found("velmora_up"), {self.good.name: "1", self.bad.name: "0"})
        self.assertEqual(found("velmora_displays"), {self.good.name: "1"})
        self.assertEqual(found('velmora_probe_failure_info{reason="not-a-viewer-host"}'),
                         {self.bad.name: "1"})
        self.assertEqual(set(found("up").values()), {"1"})


if __name__ == "__main__":
    unittest.main()
