#!/usr/bin/env python3
"""Names the places where C++ files leave the style that clang-format cannot see; docs/design.md says the rules.

clang-tidy finds missing braces too, but takes minutes for the program; here only words and brackets are looked at.

  scripts/check-style.py FILE...
"""
import re
import sys

# Longest first: raw strings, strings, characters, comments. Digit separators are no characters.
NOT_CODE = re.compile(
    r'R"(?P<mark>\w*)\(.*?\)(?P=mark)"|"(?:\\.|[^"\\\n])*"|(?<![0-9A-Fa-f])\'(?:\\.|[^\'\\\n])+\'|//[^\n]*|/\*.*?\*/',
    re.DOTALL,
)
BODY = re.compile(r"\b(if|for|while|else|do)\b")


def blank(match):
    return re.sub(r"[^\n]", " ", match.group())


def after_parentheses(code, at):
    depth = 0
    for i in range(at, len(code)):
        depth += {"(": 1, ")": -1}.get(code[i], 0)
        if depth == 0 and code[i] == ")":
            return i + 1
    return len(code)


def without_brace(code, match):
    rest = match.end()
    word = match.group()
    if word in ("if", "for", "while"):
        rest = after_parentheses(code, code.find("(", rest))
    follows = code[rest:].lstrip()
    if word == "while" and follows.startswith(";"):  # the end of do
        return False
    return not (follows.startswith("{") or (word == "else" and re.match(r"if\b", follows)))


def findings(name):
    with open(name, encoding="utf-8") as file:
        text = file.read()
    for match in re.finditer(r"^ *///", text, re.MULTILINE):
        yield match.start(), "'///': what a declaration promises stands in /** */, all else behind //"
    code = NOT_CODE.sub(blank, text)
    code = re.sub(r"^[ \t]*#.*(?:\\\n.*)*$", blank, code, flags=re.MULTILINE)
    for match in BODY.finditer(code):
        if without_brace(code, match):
            yield match.start(), f"'{match.group()}': its body has no braces"
    if name.endswith(".cpp"):
        for match in re.finditer(r"^(?:template\b.*\n)?static ", code, re.MULTILINE):
            yield match.start(), "'static': names of one file stand in an unnamed namespace"
    for match in re.finditer(r"(?<=[&*>\w] )m_(?![nxyz]\b)[A-Za-z]\b(?=[^.()]*;)", code):  # counts and coordinates may
        yield match.start(), f"'{match.group()}': a member has a word for a name"


def main():
    failed = False
    for name in sys.argv[1:]:
        with open(name, encoding="utf-8") as file:
            text = file.read()
        for at, what in findings(name):
            print(f"{name}:{text.count(chr(10), 0, at) + 1}: {what}", file=sys.stderr)
            failed = True
    return 1 if failed else 0


if __name__ == "__main__":
    sys.exit(main())
