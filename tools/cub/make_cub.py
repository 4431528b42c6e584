#!/usr/bin/env python3
"""Builds QvIce.cub, the validation database that carries QvIce.dll.

Tables: the reference tables of data/reference (IDT files, _ICESequence
among them); the DLL as the Binary row `QvIce.dll`; one CustomAction row of
type 1 per export (source `QvIce.dll`, target the export's name); and
_Validation rows for every table the cub brings. msibuild writes the
database from the IDT files of a work folder.

    make_cub.py --reference DIR --dll QvIce.dll --exports exports.h
                --msibuild msibuild --work DIR --out QvIce.cub
"""
import argparse
import os
import re
import shutil
import subprocess
import sys

DLL_ROW = 'QvIce.dll'
CUSTOM_ACTION_TYPE_DLL = 1

CUSTOM_ACTION_HEADER = ('Action\tType\tSource\tTarget\n'
                        's72\ti2\tS72\tS255\n'
                        'CustomAction\tAction\n')
VALIDATION_HEADER = ('Table\tColumn\tNullable\tMinValue\tMaxValue\tKeyTable\tKeyColumn\tCategory\tSet\tDescription\n'
                     's32\ts32\ts4\tI4\tI4\tS255\tI2\tS32\tS255\tS255\n'
                     '_Validation\tTable\tColumn\n')


def export_names(header):
    with open(header) as f:
        names = re.findall(r'^UINT WINAPI (\w+)\(MSIHANDLE \w+\);', f.read(), re.M)
    if not names:
        sys.exit('make_cub: no exports in ' + header)
    return names


def read_idt(path):
    """(columns, types, table) of an IDT file's three header lines."""
    with open(path, encoding='utf-8', newline='') as f:
        lines = f.read().split('\n')
    if len(lines) < 3:
        sys.exit('make_cub: %s has no IDT header' % path)
    columns = lines[0].rstrip('\r').split('\t')
    types = lines[1].rstrip('\r').split('\t')
    table = lines[2].rstrip('\r').split('\t')[0]
    if len(columns) != len(types):
        sys.exit('make_cub: %s: %d columns, %d types' % (path, len(columns), len(types)))
    return columns, types, table


def validation_rows(table, columns, types):
    """One _Validation row per column, from its IDT type."""
    rows = []
    for column, kind in zip(columns, types):
        nullable = 'Y' if kind[:1].isupper() else 'N'
        letter = kind[:1].lower()
        if letter == 'v':
            category = 'Binary'
        elif letter in ('s', 'l'):
            category = 'Text'
        else:
            category = ''  # integers carry no category
        rows.append('\t'.join([table, column, nullable, '', '', '', '', category, '', '']))
    return rows


def main():
    parser = argparse.ArgumentParser(description='Builds QvIce.cub')
    for option in ('--reference', '--dll', '--exports', '--msibuild', '--work', '--out'):
        parser.add_argument(option, required=True)
    args = parser.parse_args()

    work = args.work
    shutil.rmtree(work, ignore_errors=True)
    shutil.copytree(args.reference, work)
    for name in os.listdir(work):
        if name.endswith('.md'):
            os.remove(os.path.join(work, name))

    # The DLL as a Binary row beside the filter document.
    binary_idt = os.path.join(work, 'Binary.idt')
    os.makedirs(os.path.join(work, 'Binary'), exist_ok=True)
    shutil.copyfile(args.dll, os.path.join(work, 'Binary', DLL_ROW))
    with open(binary_idt, encoding='utf-8', newline='') as f:
        text = f.read()
    if not text.endswith('\n'):
        text += '\n'
    text += '%s\t%s\n' % (DLL_ROW, DLL_ROW)
    with open(binary_idt, 'w', encoding='utf-8', newline='') as f:
        f.write(text)

    names = export_names(args.exports)
    with open(os.path.join(work, 'CustomAction.idt'), 'w', encoding='utf-8', newline='') as f:
        f.write(CUSTOM_ACTION_HEADER)
        for name in names:
            f.write('%s\t%d\t%s\t%s\n' % (name, CUSTOM_ACTION_TYPE_DLL, DLL_ROW, name))

    # Every export must stand in _ICESequence, and nothing else.
    sequence_path = os.path.join(work, '_ICESequence.idt')
    with open(sequence_path, encoding='utf-8') as f:
        sequenced = [line.split('\t')[0] for line in f.read().split('\n')[3:] if line]
    if sorted(sequenced) != sorted(names):
        sys.exit('make_cub: _ICESequence and the exports differ: %s' %
                 sorted(set(sequenced) ^ set(names)))

    rows = []
    idts = sorted(n for n in os.listdir(work) if n.endswith('.idt'))
    for name in idts:
        columns, types, table = read_idt(os.path.join(work, name))
        rows += validation_rows(table, columns, types)
    rows += validation_rows('_Validation', *read_idt_text(VALIDATION_HEADER))
    with open(os.path.join(work, '_Validation.idt'), 'w', encoding='utf-8', newline='') as f:
        f.write(VALIDATION_HEADER)
        f.write(''.join(row + '\n' for row in rows))
    idts.append('_Validation.idt')

    out = os.path.abspath(args.out)
    if os.path.exists(out):
        os.remove(out)
    result = subprocess.run([args.msibuild, out, '-i'] + idts, cwd=work)
    if result.returncode != 0 or not os.path.exists(out):
        sys.exit('make_cub: msibuild failed with status %d' % result.returncode)


def read_idt_text(header):
    lines = header.split('\n')
    return lines[0].split('\t'), lines[1].split('\t')


if __name__ == '__main__':
    main()
