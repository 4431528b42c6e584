#!/usr/bin/env python3
"""Normalizes qvice output (stdin) for the differential test, where Wine's
installer is known to differ from Windows and from the native session:

- a finding whose text runs over several lines is joined into one;
- lines of the checks named in QV_KNOWN (comma-separated) are dropped;
- message 124 keeps its check and HRESULT but not the description: Wine's
  MsiGetLastErrorRecord gives no record after a failed query, so the text is
  the system message of the HRESULT instead of the installer error;
- QVICE10 lines are sorted: Wine keeps merged CustomAction rows in another
  order than the native merge.
"""
import os
import re
import sys

known = set(filter(None, os.environ.get('QV_KNOWN', '').split(',')))
lines = []
for line in sys.stdin.read().split('\n'):
    if lines and line and not re.match(r'QV[A-Z]+\d+\t', line):
        lines[-1] += '\\n' + line
    elif line:
        lines.append(line)

out = []
unordered = []
for line in lines:
    check = line.split('\t', 1)[0]
    if check in known:
        continue
    line = re.sub(r'^(QV\w+\t0\tAn unexpected exception occurred in running \w+\. -?\d+:  ).*', r'\1<description>', line)
    if check == 'QVICE10' and '\t3\t' not in line:
        if not unordered:
            out.append(None)
        unordered.append(line)
        continue
    out.append(line)
for line in out:
    print('\n'.join(sorted(unordered)) if line is None else line)
