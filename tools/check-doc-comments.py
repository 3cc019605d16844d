#!/usr/bin/env python3
"""Lists every exported function of the public headers and fails, naming
them, when one has no doc comment: a /** ... */ block right above its
declaration, or, inside a /**@{ ... @}*/ group, the declaration above it
sharing that block. Doxygen would only warn about the same gap after a full
run; this says it in a second and without Doxygen.

usage: tools/check-doc-comments.py [include-dir]   (default: include)"""
import pathlib
import re
import sys

EXPORT = re.compile(r'\bRUVO_(?:ALGO_|ZIP_)?API\b')
NAME = re.compile(r'(\w+)\s*\(')


def declarations(lines):
    """(first line, last line, text) of each statement that is an export."""
    i = 0
    while i < len(lines):
        if EXPORT.search(lines[i]) and not lines[i].lstrip().startswith('#'):
            j = i
            while not lines[j].split('/*')[0].rstrip().endswith(';'):
                j += 1
            yield i, j, ' '.join(lines[i:j + 1])
            i = j + 1
        else:
            i += 1


def doc_ends(lines):
    """Line numbers that close a /** ... */ block standing on its own lines."""
    ends = set()
    start = None
    for n, line in enumerate(lines):
        s = line.strip()
        if start is None and s.startswith('/*'):
            start = n if s.startswith('/**') and not s.startswith('/**<') \
                and not s.startswith('/**@') else -1
        if start is not None and s.endswith('*/'):
            if start >= 0:
                ends.add(n)
            start = None
    return ends


def undocumented(path):
    lines = path.read_text().split('\n')
    ends = doc_ends(lines)
    group = False
    missing = []
    documented_last = None  # last line of the previous documented export
    opens = {n for n, l in enumerate(lines) if l.strip() == '/**@{*/'}
    closes = {n for n, l in enumerate(lines) if l.strip() == '/**@}*/'}
    for first, last, text in declarations(lines):
        group = any(o < first for o in opens) and \
            max((o for o in opens if o < first), default=-1) > max((c for c in closes if c < first), default=-1)
        above = first - 1
        ok = above in ends or (group and documented_last == above)
        if ok:
            documented_last = last
        else:
            missing.append(NAME.findall(text.split('(')[0] + '(')[-1])
    return missing, sum(1 for _ in declarations(lines))


def main():
    root = pathlib.Path(sys.argv[1] if len(sys.argv) > 1 else 'include')
    total = 0
    failed = []
    for header in sorted(root.rglob('*.h')):
        missing, count = undocumented(header)
        total += count
        failed += [f'{header}: {name}' for name in missing]
    for line in failed:
        print(f'undocumented export: {line}', file=sys.stderr)
    print(f'{total} exports, {len(failed)} without a doc comment')
    return 1 if failed else 0


if __name__ == '__main__':
    sys.exit(main())
