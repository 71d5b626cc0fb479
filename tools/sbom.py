#!/usr/bin/env python3
"""Tells what of others the programs of a package consist of: a bill of materials in SPDX, and the notices.

Usage: tools/sbom.py BUILD_FOLDER PACKAGE VERSION SPDX_FILE NOTICES_FILE

The compiler's own record says which headers were read, so that libraries of headers alone are told
too, and the linker says what it opened; Debian's package database says whose each file is. What is
neither, because the programs load it while they run or because it has written sources, is named
below. The build folder is one of ninja's, on a Debian; SOURCE_DATE_EPOCH is the document's time.
"""
import datetime
import hashlib
import json
import os
import pathlib
import re
import subprocess
import sys
import tempfile

SOURCES = pathlib.Path(__file__).resolve().parents[1]
HOST = "velmora-viewer-host"
PROGRAMS = {HOST: ("bin/VelmoraViewerHost", "bin/VelmoraViewerHostAlert"),
            "velmora-viewerctl": ("bin/velmora-viewerctl",)}
# Loaded by the running programs: a file by which each package is found.
LOADED = {HOST: ("libpipewire-0.3.so.0", "libsystemd.so.0")}
# Sources are generated from its descriptions of protocols, which no compiler reads.
GENERATED_FROM = {
    HOST: ("/usr/share/wayland-protocols/unstable/xdg-output/xdg-output-unstable-v1.xml",)}


def output(*command, **options):
    return subprocess.run(command, check=True, text=True, stdout=subprocess.PIPE, **options).stdout


def read_by_compiler(build, programs):
    """The files that were read for any object of the programs, outside of the build and the sources."""
    inputs = set(output("ninja", "-C", build, "-t", "inputs", *programs).splitlines())
    files = set()
    for line in output("ninja", "-C", build, "-t", "deps").splitlines():
        # CMake from version 3.27 records for a program what the linker looked at, too.
        if not line.startswith(" "):
            name = line.split(":")[0]
            is_part = name.endswith(".o") and name in inputs
        elif is_part and line.startswith("    /"):
            files.add(line.strip())
    own = tuple(f"{pathlib.Path(folder).resolve()}/" for folder in (build, SOURCES))
    return {file for file in files if not file.startswith(own)}


def opened_by_linker(build, programs):
    """The files that the linker opens for each program, told by linking it once more."""
    opened = set()
    for program in programs:
        command = output("ninja", "-C", build, "-t", "commands", "-s", program)
        with tempfile.TemporaryDirectory() as folder:
            traced, count = re.subn(f" -o {program} ", f" -Wl,--trace -o {folder}/program ", command)
            if count != 1:
                raise SystemExit(f"{program} is not linked as expected: {command}")
            lines = output("sh", "-c", traced, cwd=build).splitlines()
        # A member of an archive is told in brackets behind its name.
        opened.update(re.sub(r"^\((.*)\)\S*$", r"\1", line) for line in lines)
    return {file for file in opened if file.startswith("/")}


def loaded(names):
    """The libraries that programs load while they run, by these names, where this system has them."""
    cache = output("/sbin/ldconfig", "-p")
    return {re.search(rf"^\s{re.escape(name)} .*=> (\S+)$", cache, re.MULTILINE)[1]
            for name in names}


def packages_of(files):
    """The Debian packages whose files these are. A file of none is an error."""
    wanted = {}
    for file in files:
        real = os.path.realpath(file)
        # The database knows /lib by its old name.
        wanted[file] = {file, real, real.removeprefix("/usr")}
    every = sorted(set().union(*wanted.values()))
    told = subprocess.run(["dpkg-query", "--search", *every], text=True, stdout=subprocess.PIPE,
                          stderr=subprocess.DEVNULL, check=False).stdout
    owner = {path: packages.split(",")[0] for packages, path in
             (line.split(": ", 1) for line in told.splitlines() if not line.startswith("diversion"))}
    unowned = [file for file, names in wanted.items() if not names & owner.keys()]
    if unowned:
        raise SystemExit(f"of no package: {unowned}")
    # The library itself, not the link to it that programs are linked by.
    return {owner[next(name for name in sorted(names, key=lambda each: each == file)
                       if name in owner)] for file, names in wanted.items()}


def described(packages):
    """Name, version, source and architecture of each package, in order of their names."""
    if not packages:
        return []  # asked for none, the database tells all
    fields = "${Package}\\t${Version}\\t${source:Package}\\t${source:Version}\\t${Architecture}\\n"
    lines = output("dpkg-query", "--show", f"--showformat={fields}", *packages).splitlines()
    return sorted(tuple(line.split("\t")) for line in lines)


def spdx_package(package, distribution):
    name, version, source, source_version, architecture = package
    return {
        "SPDXID": f"SPDXRef-{re.sub('[^A-Za-z0-9.]', '-', name)}",
        "name": name,
        "versionInfo": version,
        "supplier": "Organization: Debian",
        "sourceInfo": f"built from {source} {source_version}",
        "downloadLocation": "NOASSERTION",
        "filesAnalyzed": False,
        "licenseConcluded": "NOASSERTION",
        "licenseDeclared": "NOASSERTION",
        "copyrightText": "NOASSERTION",
        "externalRefs": [{
            "referenceCategory": "PACKAGE-MANAGER",
            "referenceType": "purl",
            "referenceLocator": f"pkg:deb/debian/{name.replace('+', '%2B')}@"
                                f"{version.replace('+', '%2B').replace(':', '%3A')}"
                                f"?arch={architecture}&distro={distribution}",
        }],
    }


def document(product_name, version, roles):
    """The SPDX document of a package; `roles` gives for each kind of relationship its packages."""
    release = dict(line.split("=", 1) for line in
                   pathlib.Path("/etc/os-release").read_text("utf-8").splitlines() if "=" in line)
    distribution = release["VERSION_CODENAME"].strip('"')
    packages = sorted(set().union(*roles.values()))
    product = {"SPDXID": f"SPDXRef-{product_name}", "name": product_name,
               "versionInfo": version, "downloadLocation": "NOASSERTION", "filesAnalyzed": False,
               "licenseConcluded": "NOASSERTION", "licenseDeclared": "NOASSERTION",
               "copyrightText": "NOASSERTION"}
    others = [spdx_package(package, distribution) for package in packages]
    identifier = dict(zip(packages, (other["SPDXID"] for other in others)))
    relationships = [{"spdxElementId": "SPDXRef-DOCUMENT", "relationshipType": "DESCRIBES",
                      "relatedSpdxElement": product["SPDXID"]}]
    for kind in sorted(roles):
        relationships += [{"spdxElementId": product["SPDXID"], "relationshipType": kind,
                           "relatedSpdxElement": identifier[package]}
                          for package in sorted(roles[kind])]
    moment = datetime.datetime.fromtimestamp(int(os.environ["SOURCE_DATE_EPOCH"]),
                                             datetime.timezone.utc)
    digest = hashlib.sha256(json.dumps([version, packages]).encode()).hexdigest()
    return {
        "spdxVersion": "SPDX-2.3",
        "dataLicense": "CC0-1.0",
        "SPDXID": "SPDXRef-DOCUMENT",
        "name": f"{product_name}-{version}",
        "documentNamespace": f"https://velmora.example/spdx/{product_name}-{version}-{digest}",
        "creationInfo": {"created": moment.strftime("%Y-%m-%dT%H:%M:%SZ"),
                         "creators": ["Tool: tools/sbom.py"]},
        "packages": [product, *others],
        "relationships": relationships,
    }


def notices(product_name, packages):
    """What each package's authors ask to be told, the same words once."""
    told = {}
    for name, *_ in packages:
        text = pathlib.Path("/usr/share/doc", name, "copyright").read_text("utf-8", "replace")
        told.setdefault(text, []).append(name)
    parts = [f"{'=' * 100}\n{', '.join(names)}\n{'=' * 100}\n\n{text}\n"
             for text, names in sorted(told.items(), key=lambda part: part[1])]
    return (f"What {product_name} is made of, package by package as Debian has it, with the notices "
            "of its authors.\n\n" + "\n".join(parts))


def main(build, name, version, spdx_file, notices_file):
    programs = PROGRAMS[name]
    linked = opened_by_linker(build, programs)
    shared = {file for file in linked if re.search(r"\.so(\.[0-9.]+)?$", file)}
    # Some are scripts that name the libraries which are meant.
    libraries = {file for file in shared if pathlib.Path(file).read_bytes().startswith(b"\x7fELF")}
    inside = read_by_compiler(build, programs) | (linked - shared)
    # Relationships as SPDX names them. Code of headers and archives becomes part of the programs.
    roles = {
        "STATIC_LINK": set(described(packages_of(inside))),
        "DYNAMIC_LINK": set(described(packages_of(libraries))),
        "GENERATED_FROM": set(described(packages_of(GENERATED_FROM.get(name, ())))),
        "DEPENDS_ON": set(described(packages_of(loaded(LOADED.get(name, ()))))),
    }
    pathlib.Path(spdx_file).write_text(
        json.dumps(document(name, version, roles), indent=1, sort_keys=True) + "\n", "utf-8")
    pathlib.Path(notices_file).write_text(
        notices(name, sorted(set().union(*roles.values()))), "utf-8")


if __name__ == "__main__":
    main(*sys.argv[1:])
