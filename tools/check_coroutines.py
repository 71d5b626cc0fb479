#!/usr/bin/env python3
"""Finds the coroutine spellings that g++ 12 translates wrongly without a warning.

Usage: check_coroutines.py [ROOT]. Prints each place and exits with 1. The rules:
  condition    if, while, switch or for with a co_await in its condition: wrong result
  braces       a braced aggregate or initializer list as an argument of an awaited call: double free
  capture      a lambda with by-value captures inside an awaited expression: double free
  reference    a coroutine that takes a parameter by reference: it may dangle after the first wait
  lambda       a lambda that is a coroutine and captures: its captures die with the lambda object
"""
import pathlib
import re
import sys

STRING_OR_COMMENT = re.compile(
    r'//[^\n]*|/\*.*?\*/|"(?:\\.|[^"\\\n])*"|\'(?:\\.|[^\'\\\n])\'', re.DOTALL)


def blank(match):
    return re.sub(r"[^\n]", " ", match.group())


def closing(text, start):
    """The index of the bracket that closes the one at `start`, or the end of the text."""
    depth = 0
    for index in range(start, len(text)):
        if text[index] in "([{":
            depth += 1
        elif text[index] in ")]}":
            depth -= 1
            if depth == 0:
                return index
    return len(text)


def statement_end(text, start):
    """The index of the semicolon that ends the statement, not one inside brackets."""
    depth = 0
    for index in range(start, len(text)):
        if text[index] in "([{":
            depth += 1
        elif text[index] in ")]}":
            depth -= 1
            if depth < 0:
                return index
        elif text[index] == ";" and depth == 0:
            return index
    return len(text)


def without_lambda_bodies(text):
    """The text with the bodies of lambdas blanked: they are functions of their own."""
    result = text
    for match in re.finditer(r"\[[^\[\]\n]*\]\s*(?:\([^()]*(?:\([^()]*\)[^()]*)*\))?\s*"
                             r"(?:mutable\s*)?(?:->\s*[\w:<>]+\s*)?\{", text):
        end = closing(text, match.end() - 1)
        body = text[match.end():end]
        result = result[:match.end()] + re.sub(r"[^\n]", " ", body) + result[end:]
    return result


def awaited(text):
    for match in re.finditer(r"\bco_await\b", text):
        yield match.start(), text[match.end():statement_end(text, match.end())]


def findings(text):
    text = STRING_OR_COMMENT.sub(blank, text)
    for match in re.finditer(r"\b(?:if|while|switch|for)\s*(?:constexpr\s*)?\(", text):
        condition = text[match.end():closing(text, match.end() - 1)]
        if "co_await" in without_lambda_bodies(condition):
            yield match.start(), "condition"
    for start, expression in awaited(text):
        flat = without_lambda_bodies(expression)
        if re.search(r"[(,]\s*(?:[A-Za-z_][\w:<>]*\s*)?\{\s*[^\s}]", flat):
            yield start, "braces"
        for capture in re.findall(r"(?<![\w\])])\[([^\[\]\n]*)\]\s*[({]", flat):
            names = [name.strip() for name in capture.split(",") if name.strip()]
            if any(name != "this" and not name.startswith("&") for name in names):
                yield start, "capture"
    for match in re.finditer(r"\bViewerTask<", text):
        rest = re.match(r"ViewerTask<(?:[^<>]|<(?:[^<>]|<[^<>]*>)*>)*>\s+[\w:]+\s*\(",
                        text[match.start():])
        if not rest:
            continue
        open_bracket = match.start() + rest.end() - 1
        end = closing(text, open_bracket)
        after = re.match(r"\)\s*(?:const\s*)?(?:override\s*)?\{", text[end:])
        if not after:
            continue
        body = text[end:closing(text, end + after.end() - 1)]
        parameters = text[open_bracket + 1:end]
        if re.search(r"\bco_(?:await|return|yield)\b", without_lambda_bodies(body)) and re.search(
                r"&", parameters):
            yield match.start(), "reference"
    for match in re.finditer(r"\[([^\[\]\n]+)\]\s*\([^()]*\)[^{};]*ViewerTask<[^{;]*\{", text):
        yield match.start(), "lambda"


def problems(root):
    root = pathlib.Path(root)
    for top in ("core", "app", "viewerctl", "tests", "bench", "fuzz"):
        for file in sorted((root / top).rglob("*")):
            if file.suffix in (".h", ".cpp", ".mm"):
                text = file.read_text(encoding="utf-8")
                for offset, rule in findings(text):
                    line = text.count("\n", 0, offset) + 1
                    yield f"{file.relative_to(root).as_posix()}:{line}: {rule}"


def main():
    found = list(problems(sys.argv[1] if len(sys.argv) > 1 else "."))
    print("\n".join(found) if found else "no coroutine spelling that g++ 12 gets wrong")
    return 1 if found else 0


if __name__ == "__main__":
    sys.exit(main())
