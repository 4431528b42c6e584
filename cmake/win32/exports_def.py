#!/usr/bin/env python3
"""Writes QvIce.def from the export declarations of exports.h.

Each export is UINT __stdcall NAME(MSIHANDLE): the compiler names it
NAME@4, and the .def exports it under NAME alone, as the installer looks it
up by the name in the CustomAction table.
"""
import re
import sys

names = re.findall(r'^UINT WINAPI (\w+)\(MSIHANDLE \w+\);', open(sys.argv[1]).read(), re.M)
if not names:
    sys.exit('no exports found in ' + sys.argv[1])
with open(sys.argv[2], 'w', newline='\n') as f:
    f.write('LIBRARY QvIce.dll\nEXPORTS\n')
    for name in names:
        f.write('  %s = %s@4\n' % (name, name))
