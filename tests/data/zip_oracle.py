#!/usr/bin/env python3
"""Reads archives with Python's zipfile and Info-ZIP's unzip and compares them
with what the test wrote. Input: a manifest of lines, texts in hexadecimal
behind an "x" (so that none is empty),
  archive <path> <password> <comment>
  entry <name> <data> <comment> <flags> <size> <crc> <year> <mon> <mday> <hour> <min> <sec> <ext> <int>
where the entries belong to the archive above them; size and CRC (not 0)
stand for data too large to list, flags are the flag bits without the UTF-8
one, and the rest are the fields of the record the entry was added with
(years since 1900, months from 0; a year before 80 means no record).
Prints one line per fault and exits 1 if there was one."""
import subprocess
import sys
import zipfile
import zlib

faults = []


def unhex(text):
    return bytes.fromhex(text[1:])


def read_manifest(path):
    archives = []
    for line in open(path):
        kind, *f = line.split()
        if kind == "archive":
            archives.append({"path": f[0], "password": unhex(f[1]).hex() or None,
                             "comment": unhex(f[2]).hex(), "entries": []})
            continue
        flags, size, crc, year, mon, mday, hour, minute, sec, ext, int_attr = map(int, f[3:])
        time = [1980, 1, 1, 0, 0, 0] if year < 80 else [
            year + 1900, mon + 1, mday, hour, minute, sec // 2 * 2]
        data = {"size": size, "crc": crc} if size else unhex(f[1]).hex()
        archives[-1]["entries"].append({"name": unhex(f[0]).hex(), "data": data, "time": time,
                                        "ext": ext, "int": int_attr & 0xFFFF, "flags": flags,
                                        "comment": unhex(f[2]).hex()})
    return archives


def check(archive):
    path = archive["path"]
    pwd = bytes.fromhex(archive["password"]) if archive["password"] else None
    with zipfile.ZipFile(path) as zf:
        if pwd:
            zf.setpassword(pwd)
        bad = zf.testzip()
        if bad is not None:
            faults.append(f"{path}: testzip fails on {bad!r}")
        infos = zf.infolist()
        want = archive["entries"]
        if len(infos) != len(want):
            faults.append(f"{path}: {len(infos)} entries, expected {len(want)}")
            return
        if zf.comment != bytes.fromhex(archive["comment"]):
            faults.append(f"{path}: archive comment {zf.comment!r}")
        for info, w in zip(infos, want):
            raw = info.filename.encode("utf-8" if info.flag_bits & 0x800 else "cp437")
            name = bytes.fromhex(w["name"])
            if raw != name:
                faults.append(f"{path}: name {raw!r}, expected {name!r}")
                continue
            meta = (list(info.date_time), info.external_attr, info.internal_attr, info.comment)
            expected = (w["time"], w["ext"], w["int"], bytes.fromhex(w["comment"]))
            if meta != expected:
                faults.append(f"{path}: {name!r} has {meta}, expected {expected}")
            if info.flag_bits & ~0x800 != w["flags"]:
                faults.append(f"{path}: {name!r} flag bits {info.flag_bits:#x}, expected {w['flags']:#x}")
            if isinstance(w["data"], dict):
                crc, size = 0, 0
                with zf.open(info) as f:
                    while chunk := f.read(1 << 24):
                        crc, size = zlib.crc32(chunk, crc), size + len(chunk)
                want_crc, want_size = w["data"]["crc"], w["data"]["size"]
            else:
                data = zf.read(info)
                crc, size = zlib.crc32(data), len(data)
                want_crc, want_size = zlib.crc32(bytes.fromhex(w["data"])), len(w["data"]) // 2
                if data != bytes.fromhex(w["data"]):
                    faults.append(f"{path}: {name!r} content differs")
            if (crc, size) != (want_crc, want_size) or info.CRC != want_crc:
                faults.append(f"{path}: {name!r} crc/size {info.CRC:08x} {size}, expected {want_crc:08x} {want_size}")
    if want:  # unzip calls an archive without entries empty and fails
        cmd = [b"unzip", b"-tqq"] + ([b"-P", pwd] if pwd else []) + [path.encode()]
        run = subprocess.run(cmd, capture_output=True)
        if run.returncode != 0:
            faults.append(f"{path}: unzip -t gives {run.returncode}: {run.stdout[-300:]!r} {run.stderr[-300:]!r}")


for archive in read_manifest(sys.argv[1]):
    try:
        check(archive)
    except Exception as e:  # a reader that gives up is a fault too
        faults.append(f"{archive['path']}: {type(e).__name__}: {e}")
for f in faults:
    print(f)
sys.exit(1 if faults else 0)
