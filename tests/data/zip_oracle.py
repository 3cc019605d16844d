#!/usr/bin/env python3
"""Reads archives with Python's zipfile and Info-ZIP's unzip and compares them
with what the test wrote. Input: a JSON manifest
  [{"path": str, "password": hex|null, "comment": hex,
    "entries": [{"name": hex, "data": hex | {"size": n, "crc": c},
                 "time": [y, mo, d, h, mi, s], "ext": n, "int": n, "comment": hex}]}]
Prints one line per fault and exits 1 if there was one."""
import json
import subprocess
import sys
import zipfile
import zlib

faults = []


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


for archive in json.load(open(sys.argv[1])):
    try:
        check(archive)
    except Exception as e:  # a reader that gives up is a fault too
        faults.append(f"{archive['path']}: {type(e).__name__}: {e}")
for f in faults:
    print(f)
sys.exit(1 if faults else 0)
