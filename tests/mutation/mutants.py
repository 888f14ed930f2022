# SPDX-License-Identifier: MIT
"""Small faults that could be planted in C++ sources: an operator turned, a constant changed, a call left out.

The sources are formatted by clang-format, so a binary operator stands between blanks, and a template's
brackets and a pointer's star do not.
"""

import re
from dataclasses import dataclass
from pathlib import Path

TURNED = {
    " == ": " != ",
    " != ": " == ",
    " < ": " <= ",
    " <= ": " < ",
    " > ": " >= ",
    " >= ": " > ",
    " && ": " || ",
    " || ": " && ",
    " + ": " - ",
    " - ": " + ",
    " * ": " / ",
    " / ": " * ",
    " % ": " * ",
    " += ": " -= ",
    " & ": " | ",
}
OPERATORS = re.compile("|".join(re.escape(operator) for operator in TURNED))
WORDS = {"true": "false", "false": "true", "if (!": "if ("}
WORD = re.compile(r"\btrue\b|\bfalse\b|if \(!")
NUMBER = re.compile(r"(?<![\w.\"'])(0x[0-9A-Fa-f]+|\d+\.\d+|\d+)(?=[uUlLfF]*\b)(?![\w.]*\")")
CALL = re.compile(r"^(\s+)((?:Q_EMIT )?[A-Za-z_][\w.]*(?:(?:->|::|\.)\w+)*\(.*\));$")
NO_CALL = ("return", "if", "for", "while", "switch", "throw", "delete", "qRegisterMetaType")
# Of no consequence to what a program does.
SKIPPED = re.compile(r"^\s*(#|//|using |namespace |static_assert|Q_UNUSED)|\breserve\(")


@dataclass(frozen=True)
class Mutant:
    path: Path
    line: int  # counts from 1
    column: int  # counts from 0
    old: str
    new: str

    def __str__(self):
        return f"{self.path}:{self.line}: {self.old.strip() or self.old!r} -> {self.new.strip() or 'nothing'}"

    def apply(self, text):
        lines = text.split("\n")
        line = lines[self.line - 1]
        end = self.column + len(self.old)
        lines[self.line - 1] = line[: self.column] + self.new + line[end:]
        return "\n".join(lines)


def blank_literals(line):
    """The line with its strings, characters and comment blanked out, at the same places."""

    def blanks(match):
        return " " * len(match.group())

    line = re.sub(r'"(?:\\.|[^"\\])*"|\'(?:\\.|[^\'\\])*\'', blanks, line)
    return re.sub(r"//.*", blanks, line)


def next_number(text):
    if text.startswith("0x"):
        return f"0x{int(text, 16) ^ 1:X}"
    return f"{float(text) + 1}" if "." in text else str(int(text) + 1)


def mutants_of_line(path, number, line):
    code = blank_literals(line)
    for match in OPERATORS.finditer(code):
        yield Mutant(path, number, match.start(), match.group(), TURNED[match.group()])
    for match in WORD.finditer(code):
        yield Mutant(path, number, match.start(), match.group(), WORDS[match.group()])
    for match in NUMBER.finditer(code):
        yield Mutant(path, number, match.start(), match.group(), next_number(match.group()))
    match = CALL.match(line)
    if match and not match.group(2).startswith(NO_CALL) and code.count("(") == code.count(")"):
        yield Mutant(path, number, len(match.group(1)), match.group(2), "")


def mutants_of(root, path):
    for number, line in enumerate((root / path).read_text().split("\n"), 1):
        if not SKIPPED.search(line):
            yield from mutants_of_line(path, number, line)
