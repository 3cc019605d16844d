#!/usr/bin/env python3
"""Writes the API reference's front page from README.md: its opening
paragraphs and the table of families, each header turned into a link to its
page. Made at every docs build, so the page and the README cannot drift.

usage: tools/doc-mainpage.py README.md out.md"""
import re
import sys


def front(readme):
    """The text from the first paragraph to the end of the family table."""
    lines = readme.split('\n')
    start = next(i for i, l in enumerate(lines) if l.startswith('# ')) + 1
    table = next(i for i, l in enumerate(lines) if l.startswith('| family |'))
    end = table
    while end < len(lines) and lines[end].startswith('|'):
        end += 1
    return lines[start:table], lines[table:end]


def link_headers(row):
    """`ruvo/base/x.h` and a bare `y.h` beside it become links to their pages."""
    cells = row.split('|')
    if len(cells) < 4:
        return row
    header = cells[2]
    folder = re.search(r'`(ruvo/\w+/)', header)
    def link(m):
        name = m.group(1)
        full = name if '/' in name else (folder.group(1) if folder else 'ruvo/base/') + name
        return f'\\ref {full} "{full}"'
    cells[2] = re.sub(r'`((?:ruvo/\w+/)?\w+\.h)`', link, header)
    return '|'.join(cells)


def main():
    readme, out = sys.argv[1], sys.argv[2]
    with open(readme, encoding='utf-8') as f:
        intro, table = front(f.read())
    page = ['# libruvobase API reference {#mainpage}', '']
    page += intro
    page += [link_headers(row) for row in table]
    page += ['',
             'Beside them: \\ref ruvo/base/defs.h "ruvo/base/defs.h" (the export macro, the wide '
             'character type and the status codes), the algorithm library '
             '\\ref ruvo/algo/algo.h "ruvo/algo/algo.h" and the zip writer '
             '\\ref ruvo/zip/zip.h "ruvo/zip/zip.h".', '']
    with open(out, 'w', encoding='utf-8') as f:
        f.write('\n'.join(page))


if __name__ == '__main__':
    main()
