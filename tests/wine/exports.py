#!/usr/bin/env python3
"""QvIce.dll as the installer sees it, without running it.

objdump -p: exactly the 85 check names as undecorated exports, and a string
table (resource type 6) whose blocks cover ids 103 to 301. The strings
themselves, read from the resource section, must equal catalogue.inc's
texts, decoded here as literals independently of the build's translation.

    exports.py OBJDUMP QvIce.dll catalogue.inc
"""
import ast
import re
import struct
import subprocess
import sys

objdump, dll, catalogue = sys.argv[1:4]
failures = []

expected = ['QVBP%02d' % i for i in range(1, 21)] + ['QVICE%02d' % i for i in range(1, 27)] + \
           ['QVUWP%02d' % i for i in range(1, 21)] + ['QVVICE%02d' % i for i in range(1, 20)]
dump = subprocess.run([objdump, '-p', dll], capture_output=True, text=True, check=True).stdout
table = (dump.split('[Ordinal/Name Pointer] Table', 1) + [''])[1].split('\n\n', 1)[0]
exports = re.findall(r'^\s*\[\s*\d+\] (\S+)$', table, re.M)
if exports != sorted(expected):
    failures.append('exports differ: missing %s, extra %s' %
                    (sorted(set(expected) - set(exports)), sorted(set(exports) - set(expected))))

# Only system libraries: the compiler's run time is linked in.
imports = sorted(set(n.lower() for n in re.findall(r'DLL Name: (\S+)', dump)))
runtime = [n for n in imports if re.match(r'lib(gcc|stdc\+\+|winpthread)', n)]
if runtime:
    failures.append('imports compiler run-time libraries %s' % runtime)

# String table blocks: block n holds ids (n-1)*16 .. n*16-1.
rsrc = (dump.split('The .rsrc Resource Directory section:', 1) + [''])[1]
types = re.findall(r'^\S+ {3}Entry: ID: (0x[0-9a-f]+), Value', rsrc, re.M)
blocks = [int(b, 16) for b in re.findall(r'^\S+ {5}Entry: ID: (0x[0-9a-f]+), Value', rsrc, re.M)]
if [int(t, 16) for t in types] != [6] or blocks != list(range(103 // 16 + 1, 301 // 16 + 2)):
    failures.append('resource types %s, string blocks %s' % (types, blocks))

# The strings, from the bytes of the resource section.
data = open(dll, 'rb').read()
pe = struct.unpack_from('<I', data, 0x3C)[0]
sections, optional_size = struct.unpack_from('<H12xH', data, pe + 6)
resource_rva = struct.unpack_from('<I', data, pe + 24 + 96 + 2 * 8)[0]
section_table = pe + 24 + optional_size


def offset(rva):
    for i in range(sections):
        size, address, _, raw = struct.unpack_from('<IIII', data, section_table + 40 * i + 8)
        if address <= rva < address + size:
            return rva - address + raw
    raise ValueError('rva %x outside the sections' % rva)


def entries(directory):
    named, ids = struct.unpack_from('<HH', data, offset(resource_rva + directory) + 12)
    base = offset(resource_rva + directory) + 16
    return [struct.unpack_from('<II', data, base + 8 * i) for i in range(named + ids)]


strings = {}
for type_id, type_dir in entries(0):
    for block, block_dir in entries(type_dir & 0x7FFFFFFF):
        for _, leaf in entries(block_dir & 0x7FFFFFFF):
            rva, size = struct.unpack_from('<II', data, offset(resource_rva + leaf))
            at = offset(rva)
            for i in range(16):
                length = struct.unpack_from('<H', data, at)[0]
                if length:
                    strings[(block - 1) * 16 + i] = data[at + 2:at + 2 + 2 * length].decode('utf-16-le')
                at += 2 + 2 * length

texts = {}
for line in open(catalogue, encoding='utf-8'):
    m = re.match(r'QV_CATALOGUE\((\d+), L(".*")\)$', line.rstrip('\n'))
    if m:
        texts[int(m.group(1))] = ast.literal_eval(m.group(2))
if sorted(texts) != [i for i in range(103, 302) if i != 261]:
    failures.append('catalogue.inc ids are not 103-301 without 261')
for ident in sorted(set(texts) | set(strings)):
    if texts.get(ident) != strings.get(ident):
        failures.append('string %d: %r in the DLL, %r in the catalogue' % (ident, strings.get(ident), texts.get(ident)))

for failure in failures:
    print('FAIL: ' + failure)
print('exports: %d, strings: %d (ids %d-%d), imports: %s' % (len(exports), len(strings), min(strings, default=0),
                                                            max(strings, default=0), ' '.join(imports)))
sys.exit(1 if failures else 0)
