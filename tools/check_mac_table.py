#!/usr/bin/env python3
"""Compares the macOS interfaces that docs/macos.md lists with those that the adapters are checked
against (tests/mac/frameworks/include) and with the adapters themselves.

Usage: check_mac_table.py [ROOT]. Prints each difference and exits with 1. The rules: what is
declared is listed and the other way round, under the same framework, with a version that the
application's oldest system has; and what is declared is used. (What is used is declared: the
compiler sees to that.)
"""
import pathlib
import re
import sys

DOCUMENT = "docs/macos.md"
DECLARATIONS = "tests/mac/frameworks/include"
OLDEST_SYSTEM = (13, 0)
# Part of the language's spelling, no interface; and the GNU runtime's own headers.
SPELLING = {"nil", "YES", "NO", "NS_UNAVAILABLE"}
NO_FRAMEWORK = {"objc"}
# What the compiler calls where the adapters write something else.
WRITTEN_AS = {
    "numberWithBool:": r"@(?:YES|NO)\b", "numberWithDouble:": r"@\(",
    "numberWithLongLong:": r"@\(", "arrayWithObjects:count:": r"@\[",
    "dictionaryWithObjects:forKeys:count:": r"@\{",
    "objectForKeyedSubscript:": r"\w\[@?\"?\w+\"?\]",
    "countByEnumeratingWithState:objects:count:": r"\bfor \([^;:]* in ",
}
COMMENT = re.compile(r"//[^\n]*|/\*.*?\*/", re.DOTALL)
ROW = re.compile(r"^\| (\w+) \| `([^`]+)` \| ([\d.]+) \|", re.MULTILINE)


def without_brackets(text):
    depth, kept = 0, []
    for character in text:
        depth += character == "("
        if depth == 0:
            kept.append(character)
        depth -= character == ")"
    return "".join(kept)


def selector(method):
    flat = without_brackets(method)
    keywords = re.findall(r"(\w+)\s*:", flat)
    return "".join(f"{word}:" for word in keywords) or re.search(r"\w+", flat).group()


def objective_c(text):
    """The methods and properties of every class and protocol."""
    for container in re.finditer(r"@(?:interface|protocol)\s+(\w+)(.*?)@end", text, re.DOTALL):
        name, body = container.groups()
        for method in re.finditer(r"^[+-][^;]*;", body, re.MULTILINE):
            yield f"{method.group()[0]}[{name} {selector(method.group())}]"
        for declaration in re.finditer(r"@property\b(.*?);", body, re.DOTALL):
            words = re.findall(r"\w+", without_brackets(declaration.group(1)))
            yield f"{name}.{words[-1]}"


def plain_c(text):
    """The functions, constants and enumerators."""
    for macro in re.findall(r"^#define (\w+)\b(?!\()", text, re.MULTILINE):
        yield macro
    text = re.sub(r"^[ \t]*#(?:[^\n]*\\\n)*[^\n]*$", "", text, flags=re.MULTILINE)
    text = re.sub(r"@(?:interface|protocol)\s+\w+.*?@end", "", text, flags=re.DOTALL)
    for enumerators in re.findall(r"\benum\b[^{;]*\{([^}]*)\};", text):
        yield from re.findall(r"^\s*(\w+)", enumerators.replace(",", "\n"), re.MULTILINE)
    text = re.sub(r"\b(?:enum|struct)\b[^{;]*\{[^}]*\};", "", text)
    text = re.sub(r'extern "C" \{|^\}', "", text, flags=re.MULTILINE)
    for statement in text.split(";"):
        statement = statement.replace('extern "C"', "").strip()
        if not statement or re.match(r"(?:typedef|using|@class)\b", statement):
            continue
        statement = re.sub(r"__attribute__\s*\(\(.*?\)\)", "", statement)
        function = re.search(r"(\w+)\s*\(", statement)
        yield f"{function.group(1)}()" if function else re.findall(
            r"\w+", statement.split("=")[0])[-1]


def declared(root):
    """Pairs of a framework and an interface."""
    for header in sorted(pathlib.Path(root, DECLARATIONS).glob("*/*.h")):
        if header.parent.name in NO_FRAMEWORK:
            continue
        text = COMMENT.sub("", header.read_text(encoding="utf-8"))
        framework = {"dispatch": "Dispatch"}.get(header.parent.name, header.parent.name)
        for interface in [*objective_c(text), *plain_c(text)]:
            if interface not in SPELLING and not interface.startswith("_"):
                yield framework, interface


def usage_pattern(interface):
    method = re.fullmatch(r"[+-]\[\w+ (.+)\]", interface)
    if not method:
        return rf"\b{re.escape(interface.split('.')[-1].removesuffix('()'))}\b"
    name = method.group(1)
    if name in WRITTEN_AS:
        return WRITTEN_AS[name]
    words = name.split(":")
    return r"[\s\S]*?\b".join(rf"{word}:" for word in words[:-1]) if words[1:] else rf"\b{name}\b"


def adapters(root):
    files = [file for top in ("core", "app") for file in sorted(pathlib.Path(root, top).rglob("*"))
             if "mac" in file.parent.parts and file.suffix in (".h", ".mm")]
    return COMMENT.sub("", "\n".join(file.read_text(encoding="utf-8") for file in files))


def problems(root):
    document = pathlib.Path(root, DOCUMENT).read_text(encoding="utf-8")
    rows = ROW.findall(document)
    listed = {(framework, interface) for framework, interface, _ in rows}
    there = set(declared(root))
    for framework, interface in sorted(there - listed):
        yield f"{DOCUMENT}: {framework} `{interface}` is declared and not listed"
    for framework, interface in sorted(listed - there):
        yield f"{DOCUMENT}: {framework} `{interface}` is listed and not declared"
    for framework, interface, version in rows:
        if tuple(int(number) for number in version.split(".")) > OLDEST_SYSTEM:
            yield f"{DOCUMENT}: {framework} `{interface}` is newer than the oldest system"
    if len(rows) != len(listed):
        yield f"{DOCUMENT}: an interface is listed twice"
    code = adapters(root)
    for framework, interface in sorted(there):
        if not re.search(usage_pattern(interface), code):
            yield f"{DECLARATIONS}: {framework} `{interface}` is used nowhere"


def main():
    found = list(problems(sys.argv[1] if len(sys.argv) > 1 else "."))
    print("\n".join(found) if found else f"{DOCUMENT} lists what the adapters rely on, no more")
    return 1 if found else 0


if __name__ == "__main__":
    sys.exit(main())
