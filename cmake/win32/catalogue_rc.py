#!/usr/bin/env python3
"""Writes the STRINGTABLE resource script of QvIce.dll from catalogue.inc.

catalogue.inc holds one QV_CATALOGUE(id, L"text") line per message, with the
text as a C++ wide literal. The resource compiler has its own string syntax
(a quote is doubled, a backslash starts an escape), so each literal is
decoded to its characters and written again in that syntax. An escape this
script does not know stops the build rather than changing a message.
"""
import re
import sys

LINE = re.compile(r'^QV_CATALOGUE\((\d+),\s*L"((?:[^"\\]|\\.)*)"\)\s*$')
SIMPLE = {'"': '"', '\\': '\\', "'": "'", '?': '?', 'n': '\n', 't': '\t', 'r': '\r'}


def decode(literal):
    out, i = [], 0
    while i < len(literal):
        c = literal[i]
        if c != '\\':
            out.append(c)
            i += 1
            continue
        e = literal[i + 1]
        if e in SIMPLE:
            out.append(SIMPLE[e])
            i += 2
        elif e == 'x':
            m = re.match(r'[0-9A-Fa-f]+', literal[i + 2:])
            out.append(chr(int(m.group(0), 16)))
            i += 2 + len(m.group(0))
        else:
            raise ValueError('unknown escape \\' + e)
    return ''.join(out)


def encode(text):
    out = []
    for c in text:
        if c == '"':
            out.append('""')
        elif c == '\\':
            out.append('\\\\')
        elif c == '\n':
            out.append('\\n')
        elif c == '\t':
            out.append('\\t')
        elif c == '\r':
            out.append('\\r')
        elif ord(c) < 0x20 or ord(c) > 0x7E:
            out.append('\\x%04x' % ord(c))
        else:
            out.append(c)
    return ''.join(out)


def main(source, target):
    entries = []
    with open(source, encoding='utf-8') as f:
        for number, line in enumerate(f, 1):
            line = line.rstrip('\n')
            if not line.startswith('QV_CATALOGUE('):
                continue
            m = LINE.match(line)
            if not m:
                sys.exit('%s:%d: not a one-line QV_CATALOGUE entry' % (source, number))
            try:
                entries.append((int(m.group(1)), decode(m.group(2))))
            except (ValueError, AttributeError, IndexError) as e:
                sys.exit('%s:%d: %s' % (source, number, e))
    with open(target, 'w', encoding='ascii', newline='\n') as f:
        f.write('// Generated from catalogue.inc; do not edit.\n')
        f.write('LANGUAGE 0, 0\n')
        f.write('STRINGTABLE\nBEGIN\n')
        for ident, text in entries:
            f.write('  %d, L"%s"\n' % (ident, encode(text)))
        f.write('END\n')


if __name__ == '__main__':
    main(sys.argv[1], sys.argv[2])
