"""The small faults that a line of C++ may have, from a fixed list of kinds."""
import dataclasses
import re


@dataclasses.dataclass(frozen=True)
class Fault:
    """A kind of fault, and the lines that stand in the place of the line that it is put into."""

    kind: str
    lines: tuple[str, ...]


# What stands in the place of an operator. The spaces around it keep templates, pointers and
# declarations of references out.
_OPERATORS = {
    " == ": [" != "],
    " != ": [" == "],
    " < ": [" <= ", " >= "],
    " <= ": [" < ", " > "],
    " > ": [" >= ", " <= "],
    " >= ": [" > ", " < "],
    " && ": [" || "],
    " || ": [" && "],
    " + ": [" - "],
    " - ": [" + "],
    " * ": [" / "],
    " / ": [" * "],
    " % ": [" / "],
    " += ": [" -= ", " = "],
    " -= ": [" += ", " = "],
    " << ": [" >> "],
    " >> ": [" << "],
    " | ": [" & "],
    " & ": [" | "],
}
_WORDS = {
    "true": ["false"],
    "false": ["true"],
    "std::min": ["std::max"],
    "std::max": ["std::min"],
    "begin()": ["end()"],
    "front()": ["back()"],
    "back()": ["front()"],
    "push_back": ["push_front"],
    "push_front": ["push_back"],
    "++": ["--"],
    "--": ["++"],
    "continue;": ["break;"],
    "break;": ["continue;"],
    "std::nullopt": ["{}"],
}
_NUMBER = re.compile(r"(?<![\w.'])(\d+)(?=(?:[^\w.']|ms|s|min|U|UL|u|$))")
_CONDITION = re.compile(r"^(\s*(?:\} else )?(?:if|while) \()(.*)(\)(?: \{)?)$")
_RETURNED = re.compile(r"^(\s*return )([^;{]+)(;)$")
_STATEMENT = re.compile(r"^\s+(?!return\b|using\b|case\b|break\b|continue\b|else\b)[^#/].*;$")
_DECLARATION = re.compile(
    r"^\s+(?:static |constexpr |const |mutable |inline |virtual |explicit |friend |auto )"
    r"|^.* = (?:default|delete);$"
    r"|^\s+(?!delete |throw |co_)[A-Za-z_][\w:<>,&* ]*[ &*]+\w+"
    r"(?: = .*|\{.*\}|\(.*\)(?: (?:const|override|= .*))?)?;$")
_ARGUMENTS = re.compile(r"\(([\w.:>\-]+), ([\w.:>\-]+)\)")


def _without_text(line):
    """The line with what is in quotation marks or a comment made invisible, of the same length."""
    hidden = re.sub(r'"(?:\\.|[^"\\])*"', lambda text: "\0" * len(text.group()), line)
    return re.sub(r"//.*$", lambda text: "\0" * len(text.group()), hidden)


def _replaced(line, place, length, text):
    return line[:place] + text + line[place + length:]


def is_code(line):
    """Whether something that is done or decided may stand on a line."""
    text = line.strip()
    return bool(text) and not text.startswith(("//", "#", "///", "namespace", "using ", "}"))


def faults_of(lines, number):
    """Every fault that line `number` (from 0) of these may have, in a fixed order."""
    line = lines[number]
    if not is_code(line):
        return []
    seen = _without_text(line)
    faults = []

    for kinds, name in ((_OPERATORS, "operator"), (_WORDS, "other word")):
        for old, news in kinds.items():
            place = seen.find(old)
            while place >= 0:
                faults += [Fault(f"{name} {old.strip()} → {new.strip()}",
                                 (_replaced(line, place, len(old), new),)) for new in news]
                place = seen.find(old, place + 1)

    for number_text in _NUMBER.finditer(seen):
        value = int(number_text.group(1))
        for other in {value + 1, max(value - 1, 0)} - {value}:
            faults.append(Fault(f"constant {value} → {other}",
                                (_replaced(line, number_text.start(), len(number_text.group(1)),
                                           str(other)),)))

    condition = _CONDITION.match(line)
    if condition and ";" not in condition.group(2):
        before, inside, after = condition.groups()
        faults.append(Fault("negated condition", (f"{before}!({inside}){after}",)))
        faults.append(Fault("dropped condition", (f"{before}({inside}) || true{after}",)))
        faults.append(Fault("never", (f"{before}({inside}) && false{after}",)))

    returned = _RETURNED.match(line)
    if returned and re.search(r" (==|!=|<|>|<=|>=|&&|\|\|) |^!|^is|^has", returned.group(2)):
        faults.append(Fault("negated answer",
                            (f"{returned.group(1)}!({returned.group(2)}){returned.group(3)}",)))

    for arguments in _ARGUMENTS.finditer(seen):
        first, second = arguments.groups()
        if first != second:
            faults.append(Fault("swapped arguments", (_replaced(
                line, arguments.start(), len(arguments.group()), f"({second}, {first})"),)))

    if _STATEMENT.match(line) and not _DECLARATION.match(line) and line.count("(") == line.count(
            ")") and line.count("{") == line.count("}"):
        faults.append(Fault("dropped statement", ("",)))
        following = lines[number + 1] if number + 1 < len(lines) else ""
        if _STATEMENT.match(following) and not _DECLARATION.match(following):
            faults.append(Fault("swapped statements", (following, line)))
    return faults
