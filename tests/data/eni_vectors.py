#!/usr/bin/env python3
"""Writes eni_vectors.txt beside this script: documents and the ENI files
that hold them, enciphered by OpenSSL's DES (openssl enc -des-ecb -nopad)
behind hashlib's MD5 of the clear text, for tests/ini_test.cpp. Each file is
also deciphered again with openssl enc -d and its digest checked, so the
vectors rest on OpenSSL and hashlib alone.

The clear text is the canonical text without empty lines: "[%s]\n" and
"%s = %s\n", each line followed by blanks up to a multiple of 8 bytes.

Lines, texts in hexadecimal ("-" for none):
  set <section> <key> <value>       builds the document, in order
  eni <key text or - for the built-in key> <file>
The built-in key is the library's, 3acf20495a8feb1d.
"""
import hashlib
import os
import subprocess

DEFAULT_KEY = bytes.fromhex("3acf20495a8feb1d")
SETS = [
    ("main", "name", "value"),
    ("main", "empty", ""),
    ("main", "Mixed", "a = b ; c # 'd'"),
    ("long", "k", "x" * (1023 - len("k = \n"))),   # 1023 bytes: one padded block run
    ("long", "l", "y" * (1024 - len("l = \n"))),   # 1024 bytes: no padding
    ("long", "m", "z" * (1025 - len("m = \n"))),   # 1025 bytes: 1032 of clear text
    ("long", "n", "w" * (1000 - len("n = \n"))),   # a section line right behind
    ("after", "utf8", "\u00e9t\u00e9"),
    ("empty section", "gone", "soon"),
]
UNSET = ("empty section", "gone")


def clear_text():
    doc = {}
    for s, k, v in SETS:
        doc.setdefault(s, {})[k] = v
    del doc[UNSET[0]][UNSET[1]]
    out = b""
    for s, keys in doc.items():
        lines = ["[%s]\n" % s] + ["%s = %s\n" % kv for kv in keys.items()]
        for line in lines:
            b = line.encode("utf-8")
            out += b + b" " * (-len(b) % 8)
    return out


def openssl(key, data, decrypt=False):
    cmd = ["openssl", "enc", "-des-ecb", "-nopad", "-K", key.hex(),
           "-provider", "legacy", "-provider", "default"] + (["-d"] if decrypt else [])
    return subprocess.run(cmd, input=data, check=True, capture_output=True).stdout


def eni(key):
    text = clear_text()
    body = openssl(key, text)
    assert openssl(key, body, decrypt=True) == text
    assert hashlib.md5(openssl(key, body, decrypt=True)).digest() == hashlib.md5(text).digest()
    return hashlib.md5(text).digest() + body


def hexed(text):
    return text.encode("utf-8").hex() or "-"


def main():
    out = ["# made by eni_vectors.py; run it again rather than edit"]
    out += ["set %s %s %s" % tuple(map(hexed, s)) for s in SETS]
    out.append("unset %s %s" % tuple(map(hexed, UNSET)))
    out.append("eni %s %s" % (hexed("k3y-ab#9"), eni(b"k3y-ab#9").hex()))
    out.append("eni - %s" % eni(DEFAULT_KEY).hex())
    path = os.path.join(os.path.dirname(os.path.abspath(__file__)), "eni_vectors.txt")
    with open(path, "w") as f:
        f.write("\n".join(out) + "\n")


main()
