#!/usr/bin/env python3
"""Writes algo_vectors.txt beside this script: MD5 and SHA-256 digests of
random inputs worked out by Python's hashlib, and DES blocks enciphered by
the openssl command (ECB, no padding), for tests/algo_test.cpp.

Lines, one case each, all values in hex ("-" for an empty input):
  md5 <input> <digest>
  sha256 <input> <digest>
  des <key> <clear blocks> <enciphered blocks>

The seed is fixed, so the file only changes with this script.
"""
import hashlib
import os
import random
import subprocess

rng = random.Random(20261124)


def hexa(data):
    return data.hex() if data else "-"


def digests(out):
    # Lengths around every block and padding boundary, then longer ones.
    lengths = list(range(0, 130)) + [rng.randrange(130, 2000) for _ in range(20)]
    for n in lengths:
        data = rng.randbytes(n)
        out.append(f"md5 {hexa(data)} {hashlib.md5(data).hexdigest()}")
        out.append(f"sha256 {hexa(data)} {hashlib.sha256(data).hexdigest()}")


def openssl_des(key, clear):
    base = ["openssl", "enc", "-des-ecb", "-nopad", "-K", key.hex()]
    for extra in ([], ["-provider", "legacy", "-provider", "default"]):
        run = subprocess.run(base + extra, input=clear, capture_output=True)
        if run.returncode == 0:
            return run.stdout
    raise SystemExit("openssl cannot run des-ecb: " + run.stderr.decode())


def des(out):
    for _ in range(40):
        key = rng.randbytes(8)
        clear = rng.randbytes(8 * rng.randrange(1, 5))
        out.append(f"des {key.hex()} {clear.hex()} {openssl_des(key, clear).hex()}")


def main():
    out = ["# made by algo_vectors.py; run it again rather than edit"]
    digests(out)
    des(out)
    path = os.path.join(os.path.dirname(os.path.abspath(__file__)), "algo_vectors.txt")
    with open(path, "w", newline="\n") as f:
        f.write("\n".join(out) + "\n")


if __name__ == "__main__":
    main()
