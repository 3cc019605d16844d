#!/usr/bin/env python3
"""Writes l3_vectors.txt beside this script: masks, network ranges and folded
range sets worked out by Python's ipaddress module, for tests/l3_test.cpp.

Lines, one case each:
  mask <4|6> <prefix> <mask text>
  valid <address text> <prefix, or -1 when it is no mask>
  net <address>/<prefix or mask text> <low> <high>
  trim <low-high,...> <low-high,...>   (input ranges, then the folded set)
  edge<TAB><mask result><TAB><range result><TAB><text>
  mac<TAB><result><TAB><text>

The edge and mac lines are written out by hand below: texts at the edges of
the composite and MAC grammars with the library's result codes, each
followed by what the call stored (the mask, the range, the six bytes, with
ee for bytes it left alone).

IPv6 addresses that begin ff:bf are left out: the library's record cannot
hold them. The seed is fixed, so the file only changes with this script.
"""
import ipaddress as ip
import os
import random

rng = random.Random(20240917)
V4, V6 = ip.IPv4Address, ip.IPv6Address
TOP = {V4: 2**32 - 1, V6: 2**128 - 1}
BITS = {V4: 32, V6: 128}


def holdable(cls, v):
    return cls is V4 or (v >> 112) != 0xFFBF


def mask_int(cls, prefix):
    return TOP[cls] ^ (TOP[cls] >> prefix)


def mask_prefix(cls, v):
    try:
        return cls._prefix_from_ip_int(v)  # the module's own netmask test
    except ValueError:
        return -1


def random_addr(cls):
    while True:
        kind = rng.randrange(4)
        if kind == 0:
            v = rng.getrandbits(BITS[cls])
        elif kind == 1:  # long zero runs in front
            v = rng.getrandbits(rng.randrange(1, BITS[cls]))
        elif kind == 2:  # documentation blocks
            v = int(V4("198.51.100.0") if cls is V4 else V6("2001:db8::")) | rng.getrandbits(rng.randrange(1, 24))
        else:
            v = TOP[cls] - rng.getrandbits(rng.randrange(1, 20))
        if holdable(cls, v):
            return v


def masks(out):
    for cls, fam in ((V4, 4), (V6, 6)):
        for p in range(BITS[cls] + 1):
            out.append(f"mask {fam} {p} {cls(mask_int(cls, p))}")
    for _ in range(300):
        cls = rng.choice((V4, V6))
        v = mask_int(cls, rng.randrange(BITS[cls] + 1))
        for _ in range(rng.randrange(3)):  # flip a few bits, or none
            v ^= 1 << rng.randrange(BITS[cls])
        if rng.randrange(8) == 0:
            v = random_addr(cls)
        if holdable(cls, v):
            out.append(f"valid {cls(v)} {mask_prefix(cls, v)}")


def nets(out):
    for _ in range(500):
        cls = rng.choice((V4, V6))
        a, p = cls(random_addr(cls)), rng.randrange(BITS[cls] + 1)
        n = ip.ip_network(f"{a}/{p}", strict=False)
        lo, hi = int(n.network_address), int(n.broadcast_address)
        if not (holdable(cls, lo) and holdable(cls, hi)):
            continue
        tail = str(p) if rng.randrange(2) else str(cls(mask_int(cls, p)))
        out.append(f"net {a}/{tail} {n.network_address} {n.broadcast_address}")


# Small neighbourhoods, so that ranges of one case overlap, touch, contain
# each other and repeat; some sit on word boundaries and at either end.
BASES = {
    V4: [0, int(V4("10.0.0.0")), 2**24 - 100, 2**32 - 300],
    V6: [0, 2**32 - 100, 2**64 - 100, 2**96 - 100, int(V6("2001:db8::")), 2**128 - 300],
}


def merged(ranges):
    out = []
    for lo, hi in sorted(ranges):
        if out and lo <= out[-1][1] + 1:
            out[-1][1] = max(out[-1][1], hi)
        else:
            out.append([lo, hi])
    return out


def trims(out):
    for _ in range(160):
        families = rng.choice(((V4,), (V6,), (V4, V6)))
        bases = {cls: rng.choice(BASES[cls]) for cls in families}
        ranges = []
        for _ in range(rng.randrange(1, 25)):
            if ranges and rng.randrange(6) == 0:
                ranges.append(rng.choice(ranges))  # a duplicate
                continue
            cls = rng.choice(families)
            lo = min(bases[cls] + rng.randrange(280), TOP[cls])
            hi = min(lo + rng.choice((0, 1, rng.randrange(40))), TOP[cls])
            ranges.append((cls, lo, hi))
        folded = []
        for cls in (V4, V6):
            nets = [n for c, lo, hi in ranges if c is cls
                    for n in ip.summarize_address_range(cls(lo), cls(hi))]
            blocks = [(int(n.network_address), int(n.broadcast_address))
                      for n in ip.collapse_addresses(nets)]
            folded += [(cls, lo, hi) for lo, hi in merged(blocks)]
        text = lambda rs: ",".join(f"{c(lo)}-{c(hi)}" for c, lo, hi in rs)
        out.append(f"trim {text(ranges)} {text(folded)}")


LONG = "10.1.2.3/24" + " " * 116  # 127 bytes fit; 128 do not
TOP6 = "ffff:ffff:ffff:ffff:ffff:ffff:ffff:ffff"
EDGES = [
    (LONG, "0 255.255.255.0", "3 10.1.2.0-10.1.2.255"), (LONG + " ", "-2", "-1"),
    ("::1/128", "0 " + TOP6, "4 ::1-::1"), (" 10.1.2.3 / 32 ", "0 255.255.255.255", "3 10.1.2.3-10.1.2.3"),
    ("10.1.2.3", "-1", "1 10.1.2.3-10.1.2.3"), (" ::1 ", "-1", "2 ::1-::1"),
    ("nonsense/255.255.0.0", "0 255.255.0.0", "-8"), ("10.1.2.3/1.2.3", "-2", "-8"),
    ("10.1.2.3/ffff::", "0 ffff::", "-9"), ("10.1.2.3/255.0.255.0", "-2", "-10"), ("1.2.3.4-1.2.3.5/24", "-3", "-7"),
    ("10.1.2.3/33", "-4", "-6"), ("10.1.2.3/-1", "-4", "-6"), ("10.1.2.3/2x", "-4", "-6"), ("nonsense/x", "-4", "-6"),
    ("10.1.2.3/4294967297", "-4", "-6"), ("::1/129", "-6", "-6"), ("", "-1", "-3"), ("x-1.2.3.4", "-1", "-3"),
    # A high end in the FF BF block cannot be held; the next shorter prefix can.
    ("ff9f::/10", "0 ffc0::", "-6"), ("ffbe::1/15", "0 fffe::", "-6"), ("ff80::/ffc0::", "0 ffc0::", "-10"),
    ("ff80::/9", "0 ff80::", "4 ff80::-" + TOP6),
    ("1.2.3.4-x", "-1", "-3"), ("1.2.3.4-::1", "-1", "-4"), ("1.2.3.4-1.2.3.1", "-1", "-5"),
]
MACS = [
    ("00:1A:2b:3c:4D:5e", "0 001a2b3c4d5e"), ("00-1a-2b-3c-4d-5exyz", "0 001a2b3c4d5e"), ("", "-1 eeeeeeeeeeee"),
    ("00:1a-2b:3c:4d:5e", "-1 001aeeeeeeee"), ("001a2b3c4d5e", "-1 00eeeeeeeeee"), ("0:1:2:3:4:5", "-1 eeeeeeeeeeee"),
    ("00:1a:2b:3c:4d:", "-1 001a2b3c4dee"), ("00:1a:2b:3c:4d:5", "-1 001a2b3c4dee"),
    ("00.1a.2b.3c.4d.5e", "-1 00eeeeeeeeee"), ("00::1a:2b:3c:4d", "-1 00eeeeeeeeee"),
]


def edges(out):
    out += [f"edge\t{mask}\t{rng_}\t{text}" for text, mask, rng_ in EDGES]
    out += [f"mac\t{want}\t{text}" for text, want in MACS]


def main():
    out = ["# made by l3_vectors.py; run it again rather than edit"]
    masks(out)
    nets(out)
    trims(out)
    edges(out)
    path = os.path.join(os.path.dirname(os.path.abspath(__file__)), "l3_vectors.txt")
    with open(path, "w", newline="\n") as f:
        f.write("\n".join(out) + "\n")


if __name__ == "__main__":
    main()
