"""scripts/packages finds a release's own packages, and tells which it does not have."""
import os
import pathlib
import subprocess
import tempfile
import unittest

SCRIPT = pathlib.Path(__file__).resolve().parents[2] / "scripts" / "packages"

# Stand-ins answer from lists with a line "NAME VERSION" for each package.
INSTALLED = """#!/bin/sh
for name; do :; done
sed -n "s/^$name /installed /p" "$LISTS/installed"
"""
OFFERED = """#!/bin/sh
printf '%s:\\n  Installed: (none)\\n  Candidate: %s\\n' "$2" \\
    "$(sed -n "s/^$2 //p" "$LISTS/offered" | grep . || echo '(none)')"
"""
APT = """#!/bin/sh
echo "$@" >>"$LISTS/calls"
"""
BOOST = "libboost-dev", "libboost1.81-dev"


class Packages(unittest.TestCase):
    """The script on a release that offers and has what a test says."""

    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.root = pathlib.Path(folder.name)
        self.install("dpkg-query", INSTALLED)
        self.install("apt-cache", OFFERED)
        self.install("apt-get", APT)
        self.install("id", "#!/bin/sh\necho 0\n")
        self.offered = {name: "1" for name in self.names("build")}

    def install(self, name, text):
        path = self.root / name
        path.write_text(text, encoding="utf-8")
        path.chmod(0o755)

    def use(self, group, offered, installed=None, script=SCRIPT):
        for name, packages in (("offered", offered), ("installed", installed or {})):
            lines = [f"{package} {version}\n" for package, version in packages.items()]
            (self.root / name).write_text("".join(lines), encoding="utf-8")
        (self.root / "calls").write_text("", encoding="utf-8")
        environment = dict(os.environ, PATH=f"{self.root}:{os.environ['PATH']}",
                           LISTS=str(self.root))
        return subprocess.run([script, group], env=environment, capture_output=True, text=True,
                              check=False)

    def names(self, group):
        """What a release has to offer, by the words of the script that lacks all of it."""
        lines = self.use(group, {}).stderr.splitlines()
        return [line.split(" has no ")[1].split(" (group")[0].split(" from ")[0] for line in lines]

    def calls(self):
        return (self.root / "calls").read_text(encoding="utf-8").splitlines()

    def installed_by(self, offered):
        run = self.use("build", offered)
        self.assertEqual((run.returncode, run.stderr), (0, ""))
        return self.calls()[-1].split()

    def test_the_releases_own_package_goes_first_if_it_is_new_enough(self):
        packages = self.installed_by(self.offered | {BOOST[0]: "1.83.0.2+b2"})
        self.assertIn("install", packages)
        self.assertIn(BOOST[0], packages)
        self.assertNotIn(BOOST[1], packages)

    def test_an_alternative_takes_the_place_of_one_that_is_too_old(self):
        packages = self.installed_by(
            self.offered | {BOOST[0]: "1.74.0.3", BOOST[1]: "1.81.0-5+deb12u1"})
        self.assertIn(BOOST[1], packages)
        self.assertNotIn(BOOST[0], packages)

    def test_tells_each_package_that_the_release_lacks_and_installs_nothing(self):
        del self.offered["libhwy-dev"]
        run = self.use("build", self.offered | {BOOST[0]: "1.74.0.3"})
        self.assertEqual(run.returncode, 1)
        boost, highway = run.stderr.splitlines()
        self.assertRegex(boost, r"has no libboost-dev from version 1\.81, nor libboost1\.81-dev "
                                r"\(group build\)$")
        self.assertRegex(highway, r"has no libhwy-dev \(group build\)$")
        self.assertEqual(self.calls(), ["update -qq"])

    def test_asks_nobody_where_everything_is_there(self):
        run = self.use("build", {}, self.offered | {BOOST[0]: "1.74.0.3", BOOST[1]: "1.81.0"})
        self.assertEqual(run.returncode, 0)
        self.assertEqual(self.calls(), [])

    def test_what_is_there_in_too_old_a_version_is_missing(self):
        run = self.use("build", {}, self.offered | {BOOST[0]: "1.74.0.3"})
        self.assertEqual(run.returncode, 1)
        self.assertIn(BOOST[1], run.stderr)

    def test_what_would_start_a_service_is_unpacked_once_and_not_installed(self):
        scripts = self.root / "tree" / "scripts"
        scripts.mkdir(parents=True)
        script = scripts / "packages"
        script.write_text(SCRIPT.read_text(encoding="utf-8"), encoding="utf-8")
        script.chmod(0o755)
        self.install("dpkg", "#!/bin/sh\nmkdir -p \"$3/usr/bin\"\n")
        run = self.use("monitoring", {"prometheus": "2"}, script=script)
        self.assertEqual((run.returncode, run.stderr), (0, ""))
        self.assertTrue((self.root / "tree/build/unpacked/prometheus/usr/bin").is_dir())
        self.assertRegex(self.calls()[-1], "download .*prometheus$")
        self.assertNotIn("install", " ".join(self.calls()))
        self.use("monitoring", {"prometheus": "2"}, script=script)
        self.assertEqual(self.calls(), [])

    def test_a_group_that_there_is_not_is_an_error(self):
        run = self.use("everything", {})
        self.assertEqual(run.returncode, 2)
        self.assertIn("everything", run.stderr)
        self.assertEqual(self.calls(), [])


if __name__ == "__main__":
    unittest.main()
