#!/usr/bin/env python3
"""Writes ini_vectors.txt beside this script: random INI texts and what
Python's configparser reads from them, for tests/ini_test.cpp.

The texts keep to the grammar that both readers share: no indented lines, no
key without '=' or ahead of the first section, no empty key or section name,
each section name once and never DEFAULT. Within that they mix comments of
all three kinds, blank and CRLF lines, blanks and tabs around '=', values
with '=', ';', '#', quotes and UTF-8, empty values, lines over 1024 bytes and
repeated keys (in other case too), read both case-blind (configparser's
lower-cased options) and case-sensitive (optionxform=str).

Lines, one case each, all texts in hexadecimal:
  case <case_sensitive 0|1> <text>
  sect <name>
  key <name> <value>     (the keys of the section above, in order)
  end
The seed is fixed, so the file only changes with this script.
"""
import configparser
import os
import random

rng = random.Random(20261124)
NAME = "abcdefghijKLMNOPQRstuvwxyz0123456789_.-"


def name(n=None):
    n = n or rng.randint(1, 12)
    return rng.choice("abcdefXYZ") + "".join(rng.choice(NAME) for _ in range(n - 1))


def value():
    kind = rng.random()
    if kind < 0.1:
        return ""
    if kind < 0.15:
        return "x" * rng.randint(1020, 1500)
    parts = "abc XYZ 0123 = ; # ' \" é ü [ ] \t".split(" ")
    text = "".join(rng.choice(parts + [" "]) for _ in range(rng.randint(1, 12)))
    return text.strip(" \t")


def around():
    return rng.choice(["", " ", "  ", "\t", " \t"])


def document():
    lines = []
    sections = set()
    for _ in range(rng.randint(0, 6)):
        while True:
            sect = name()
            if sect.lower() not in sections and sect.lower() != "default":
                break
        sections.add(sect.lower())
        lines.append("[%s]%s" % (sect, rng.choice(["", "", " trailing"])))
        keys = []
        for _ in range(rng.randint(0, 8)):
            if keys and rng.random() < 0.2:
                key = rng.choice(keys)
                key = key.upper() if rng.random() < 0.5 else key
            else:
                key = name()
                keys.append(key)
            lines.append("%s%s=%s%s" % (key, around(), around(), value()))
            if rng.random() < 0.2:
                lines.append(rng.choice(["#", ";", "'"]) + rng.choice(["", " note = x", "[x]"]))
            if rng.random() < 0.1:
                lines.append("")
    ends = [rng.choice(["\n", "\n", "\r\n"]) for _ in lines]
    return "".join(l + e for l, e in zip(lines, ends))


def read(text, case_sensitive):
    parser = configparser.RawConfigParser(
        delimiters=("=",), comment_prefixes=("#", ";", "'"), strict=False,
        empty_lines_in_values=False, default_section="\0none")
    if case_sensitive:
        parser.optionxform = str
    parser.read_string(text)
    return [(s, list(parser[s].items())) for s in parser.sections()]


def hexed(text):
    return text.encode("utf-8").hex() or "-"


def main():
    out = ["# made by ini_vectors.py; run it again rather than edit"]
    for i in range(48):
        text = document()
        case_sensitive = i % 2
        out.append("case %d %s" % (case_sensitive, hexed(text)))
        for sect, items in read(text, case_sensitive):
            out.append("sect " + hexed(sect))
            out.extend("key %s %s" % (hexed(k), hexed(v)) for k, v in items)
        out.append("end")
    path = os.path.join(os.path.dirname(os.path.abspath(__file__)), "ini_vectors.txt")
    with open(path, "w") as f:
        f.write("\n".join(out) + "\n")


main()
