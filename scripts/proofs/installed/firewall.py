"""The packaged packet filter between a host and its clients, who have a network of their own.

Called by scripts/proofs/firewall as root, in namespaces of its own: network, processes and mounts.
"""
import contextlib
import os
import subprocess
import unittest

RULES = "/usr/share/doc/velmora-viewer-host/examples/velmora-viewer-host.nft"
# The host's address, one of the operators' network, its disturber, and one of another network.
HOST, OPERATOR = "192.168.10.1", "192.168.10.2"
DISTURBER, STRANGER = "192.168.10.66", "192.168.99.9"
HOST6, OPERATOR6, STRANGER6 = "fd00:10::1", "fd00:10::2", "fd00:99::9"
LISTING = b"GET /viewer/v1/displays HTTP/1.1\r\n\r\n"
# Run in the clients' network: connects from an address as often as told, says how many connections
# there are, and holds them until its input ends.
SILENCE = """
import resource, socket, sys
resource.setrlimit(resource.RLIMIT_NOFILE, (4096, 4096))
source, target, count = sys.argv[1:]
held = []
for _ in range(int(count)):
    try:
        held.append(socket.create_connection((target, 9090), 2, (source, 0)))
    except OSError:
        pass
print(len(held), flush=True)
sys.stdin.read()
"""
# One request from an address; the answer, or nothing.
REQUEST = """
import socket, sys
source, target = sys.argv[1:]
try:
    with socket.create_connection((target, 9090), 2, (source, 0)) as connection:
        connection.settimeout(4)
        connection.sendall(sys.stdin.buffer.read())
        while data := connection.recv(65536):
            sys.stdout.buffer.write(data)
except OSError:
    pass
"""


def run(*command, **options):
    return subprocess.run(command, check=True, stdout=subprocess.PIPE, **options).stdout


def clients(*command):
    return ["nsenter", "--net=/run/netns/clients", *command]


def asked(source, target=HOST):
    return run(*clients("python3", "-c", REQUEST, source, target), input=LISTING)


@contextlib.contextmanager
def silence(source, count):
    """Silent connections from that address; how many came about."""
    with subprocess.Popen(clients("python3", "-c", SILENCE, source, HOST, str(count)),
                          stdin=subprocess.PIPE, stdout=subprocess.PIPE, text=True) as process:
        try:
            yield int(process.stdout.readline())
        finally:
            process.stdin.close()


class Filter(unittest.TestCase):
    def setUp(self):
        run("nft", "-f", RULES)

    def test_the_operators_network_is_let_in(self):
        self.assertIn(b"Velmora.Windows.ViewerHost", asked(OPERATOR))
        self.assertIn(b"Velmora.Windows.ViewerHost", asked(OPERATOR6, HOST6))

    def test_another_network_is_not(self):
        self.assertEqual((asked(STRANGER), asked(STRANGER6, HOST6)), (b"", b""))

    def test_one_address_has_8_connections_and_keeps_nobody_waiting(self):
        with silence(DISTURBER, 600) as connections:
            self.assertEqual(connections, 8)
            self.assertIn(b"Velmora.Windows.ViewerHost", asked(OPERATOR))

    def test_many_requests_after_each_other_are_answered(self):
        for _ in range(100):
            self.assertIn(b"Velmora.Windows.ViewerHost", asked(OPERATOR))


class Beside(unittest.TestCase):
    """The table beside a packet filter that lets nothing in by itself, as administration.md says."""

    def expect_operators_alone(self):
        for source, target, other in ((OPERATOR, HOST, STRANGER), (OPERATOR6, HOST6, STRANGER6)):
            self.assertIn(b"Velmora.Windows.ViewerHost", asked(source, target))
            self.assertEqual(asked(other, target), b"")
        run("nft", "-f", RULES)
        with silence(DISTURBER, 600) as connections:
            self.assertEqual(connections, 8)
            self.assertIn(b"Velmora.Windows.ViewerHost", asked(OPERATOR))
        run("nft", "delete", "table", "inet", "velmora_viewer_host")

    def test_ufw(self):
        run("nft", "flush", "ruleset")
        run("ufw", "--force", "enable")
        self.addCleanup(run, "ufw", "--force", "reset")
        self.assertEqual(asked(OPERATOR), b"")
        for network in ("192.168.10.0/24", "fd00:10::/64"):
            run("ufw", "allow", "from", network, "to", "any", "app", "Velmora Viewer Host")
        self.expect_operators_alone()

    def test_firewalld(self):
        run("nft", "flush", "ruleset")
        os.makedirs("/run/dbus")
        self.addCleanup(run, "rm", "-f", "/etc/firewalld/zones/public.xml")
        run("dbus-daemon", "--system", "--fork")
        with subprocess.Popen(["firewalld", "--nofork", "--nopid"]) as daemon:
            self.addCleanup(daemon.terminate)
            run("timeout", "60", "sh", "-c", "until firewall-cmd --state; do sleep 0.2; done",
                stderr=subprocess.DEVNULL)
            self.assertEqual(asked(OPERATOR), b"")
            for family, network in (("ipv4", "192.168.10.0/24"), ("ipv6", "fd00:10::/64")):
                run("firewall-cmd", "--permanent", "--add-rich-rule", f"rule family={family} "
                    f"source address={network} service name=velmora-viewer-host accept")
            run("firewall-cmd", "--reload")
            self.expect_operators_alone()
            daemon.terminate()


class WithoutFilter(unittest.TestCase):
    """What the filter is for."""

    def setUp(self):
        run("nft", "flush", "ruleset")

    def test_600_connections_keep_an_operator_waiting(self):
        with silence(DISTURBER, 600) as connections:
            self.assertEqual(connections, 600)
            self.assertEqual(asked(OPERATOR), b"")

    def test_another_network_is_served(self):
        self.assertIn(b"Velmora.Windows.ViewerHost", asked(STRANGER))


def make_networks():
    run("ip", "link", "set", "lo", "up")
    run("mount", "-t", "tmpfs", "run", "/run")
    run("ip", "netns", "add", "clients")
    run("ip", "link", "add", "host", "type", "veth", "peer", "name", "client", "netns", "clients")
    for address in (f"{HOST}/24", "192.168.99.1/24", f"{HOST6}/64", "fd00:99::1/64"):
        run("ip", "address", "add", address, "dev", "host", *(["nodad"] if ":" in address else []))
    run("ip", "link", "set", "host", "up")
    for address in (f"{OPERATOR}/24", f"{DISTURBER}/24", f"{STRANGER}/24", f"{OPERATOR6}/64",
                    f"{STRANGER6}/64"):
        run(*clients("ip", "address", "add", address, "dev", "client",
                     *(["nodad"] if ":" in address else [])))
    run(*clients("ip", "link", "set", "client", "up"))


def start_host():
    """The installed host on a virtual display, once it serves."""
    reading, writing = os.pipe()
    subprocess.Popen(["Xvfb", "-displayfd", str(writing), "-noreset", "-nolisten", "tcp"],
                     pass_fds=[writing], stderr=subprocess.DEVNULL)
    display = os.read(reading, 16).decode().strip()
    environment = {"PATH": "/usr/bin:/bin", "DISPLAY": f":{display}", "XDG_SESSION_TYPE": "x11"}
    host = subprocess.Popen(["VelmoraViewerHost"], env=environment, stdout=subprocess.PIPE)
    host.stdout.readline()


if __name__ == "__main__":
    make_networks()
    start_host()
    unittest.main()
