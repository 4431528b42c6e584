#!/usr/bin/env bash
# Runs `qvice --no-reference --checks NAME` over fixture packages built with
# msibuild, with files uncompressed beside the package, and compares every
# output line, banner included: QVICE07, QVICE16, QVICE24, QVICE26.
# Usage: checks_executable.sh QVICE WORKDIR
source "$(dirname "$0")/lib/checks.bash" "$@"

# write_image PATH KIND [DLLCHARACTERISTICS]: dos (a plain DOS program), ne
# (an NE header at 0x80) or pe (a PE32 image with one section).
write_image() {
    python3 - "$@" <<'PY'
import struct, sys
path, kind = sys.argv[1], sys.argv[2]
if kind == 'dos':
    b = bytearray(0x40)
    b[0:2] = b'MZ'
    struct.pack_into('<H', b, 0x18, 0x1C)
else:
    b = bytearray(0x400)
    b[0:2] = b'MZ'
    struct.pack_into('<H', b, 0x18, 0x40)
    struct.pack_into('<I', b, 0x3C, 0x80)
    if kind == 'ne':
        b[0x80:0x82] = b'NE'
    else:
        nt = 0x80
        b[nt:nt + 4] = b'PE\0\0'
        struct.pack_into('<HH', b, nt + 4, 0x14C, 1)
        struct.pack_into('<H', b, nt + 20, 224)
        struct.pack_into('<H', b, nt + 24, 0x10B)
        struct.pack_into('<H', b, nt + 94, int(sys.argv[3], 0))
        struct.pack_into('<I', b, nt + 24 + 92, 16)
        sec = nt + 24 + 224
        b[sec:sec + 2] = b'.s'
        struct.pack_into('<IIII', b, sec + 8, 0x100, 0x1000, 0x100, 0x200)
open(path, 'wb').write(b)
PY
}

comp_row() { echo "INSERT INTO \`Component\` (\`Component\`, \`ComponentId\`, \`Directory_\`, \`Attributes\`, \`KeyPath\`) VALUES ('$1', '$2', 'INSTALLDIR', 0, '$3')"; }
FILE="CREATE TABLE \`File\` (\`File\` CHAR(72) NOT NULL, \`Component_\` CHAR(72) NOT NULL, \`FileName\` CHAR(255) NOT NULL LOCALIZABLE, \`FileSize\` LONG NOT NULL, \`Version\` CHAR(72), \`Language\` CHAR(20), \`Attributes\` SHORT, \`Sequence\` SHORT NOT NULL PRIMARY KEY \`File\`)"
file_row() { echo "INSERT INTO \`File\` (\`File\`, \`Component_\`, \`FileName\`, \`FileSize\`, \`Attributes\`, \`Sequence\`) VALUES ('$1', '$2', '$3', 1, 8192, $4)"; }
FC="CREATE TABLE \`FeatureComponents\` (\`Feature_\` CHAR(38) NOT NULL, \`Component_\` CHAR(72) NOT NULL PRIMARY KEY \`Feature_\`, \`Component_\`)"
fc_row() { echo "INSERT INTO \`FeatureComponents\` (\`Feature_\`, \`Component_\`) VALUES ('$1', '$2')"; }
SC="CREATE TABLE \`Shortcut\` (\`Shortcut\` CHAR(72) NOT NULL, \`Directory_\` CHAR(72) NOT NULL, \`Name\` CHAR(128) NOT NULL, \`Component_\` CHAR(72) NOT NULL, \`Target\` CHAR(72) NOT NULL PRIMARY KEY \`Shortcut\`)"
sc_row() { echo "INSERT INTO \`Shortcut\` (\`Shortcut\`, \`Directory_\`, \`Name\`, \`Component_\`, \`Target\`) VALUES ('$1', '$2', '$1', '$3', '$4')"; }
ID='{11111111-1111-1111-1111-111111111111}'
BASE=("$DIR" "$(dir_row TARGETDIR '' SourceDir)" "$(dir_row INSTALLDIR TARGETDIR App)" "$COMP" "$FILE")

# QVICE07: a null ComponentId; two files of one component as targets of a
# desktop shortcut and, in capitals, of a Start Menu shortcut.
new_package_with_template ice07 ';1033' "${BASE[@]}" "$FC" "$SC" "$(dir_row DesktopFolder TARGETDIR Desktop)" \
    "$(dir_row ProgramMenuFolder TARGETDIR Programs)" "$(comp_row Null '' '')" "$(comp_row Two "$ID" a)" \
    "$(file_row a Two a.exe 1)" "$(file_row b Two b.exe 2)" "$(fc_row F Null)" "$(fc_row F Two)" \
    "$(sc_row S1 DesktopFolder Two '[INSTALLDIR]a.exe')" "$(sc_row S2 ProgramMenuFolder Two '[INSTALLDIR]B.EXE')" || exit 1
expect ice07 QVICE07 "QVICE07${T}3${T}QVICE07 - Validate that MSI components are authored for proper installation and uninstallation" \
    "QVICE07${T}1${T}Component.ComponentId for Component Null is null. All components must have a valid ComponentId for proper installation and uninstallation. If this is left null, justification must be documented.${T}${T}Component${T}ComponentId${T}Null" \
    "QVICE07${T}1${T}Component Two has more than one file as the target of a Desktop or Start Menu shortcut.${T}${T}Component${T}Component${T}Two"

# The executable checks: a DOS program, an NE library, a PE image without
# NXCOMPAT and with NO_SEH, a safe PE image, a missing file.
exe_package() {
    new_package_with_template "$1" "$2" "${BASE[@]}" "$(comp_row Main "$ID" '')" "$(file_row Dos Main 'DOS.EXE|Dos Tool.exe' 1)" \
        "$(file_row Ne Main ne.dll 2)" "$(file_row Weak Main weak.dll 3)" "$(file_row Safe Main safe.ocx 4)" \
        "$(file_row Gone Main gone.sys 5)" || return 1
    mkdir -p App
    write_image "App/Dos Tool.exe" dos && write_image App/ne.dll ne && write_image App/weak.dll pe 0x0440 &&
        write_image App/safe.ocx pe 0x0140
}
lost() { echo "$1${T}1${T}File gone.sys in Component Main could not be found. All tests against this file's contents may be invalid.${T}${T}File${T}File${T}Gone"; }
exe_package x64 'x64;1033' || exit 1
exe_package intel 'Intel;1064' || exit 1
B16="QVICE16${T}3${T}QVICE16 - Validate that no 16-bit components are distributed in an installation that targets 64-bit systems."
expect x64 QVICE16 "$B16" \
    "QVICE16${T}1${T}File Dos Tool.exe in Component Main is a 16-bit file. Installations that target 64-bit systems may not include 16-bit files.${T}${T}File${T}File${T}Dos" \
    "QVICE16${T}1${T}File ne.dll in Component Main is a 16-bit file. Installations that target 64-bit systems may not include 16-bit files.${T}${T}File${T}File${T}Ne" \
    "$(lost QVICE16)"
expect intel QVICE16 "$B16"
expect intel QVICE24 "QVICE24${T}3${T}QVICE24 - Verifies that the installation does not install 16-bit components." \
    "QVICE24${T}1${T}File Dos Tool.exe in Component Main is a 16-bit file. Installations that target Windws 8 systems may not include 16-bit files.${T}${T}File${T}File${T}Dos" \
    "QVICE24${T}1${T}File ne.dll in Component Main is a 16-bit file. Installations that target Windws 8 systems may not include 16-bit files.${T}${T}File${T}File${T}Ne" \
    "$(lost QVICE24)"
# QVICE26 ends at the DOS program, which has no optional header.
expect intel QVICE26 "QVICE26${T}3${T}QVICE26 - Verifies that applications support Windows security features by controlling permissions appropriately." \
    "QVICE26${T}0${T}An unhandled exception occurred.${T}${T}File${T}File${T}Dos"
rm App/ne.dll "App/Dos Tool.exe"
expect intel QVICE26 "QVICE26${T}3${T}QVICE26 - Verifies that applications support Windows security features by controlling permissions appropriately." \
    "QVICE26${T}1${T}File Dos Tool.exe in Component Main could not be found. All tests against this file's contents may be invalid.${T}${T}File${T}File${T}Dos" \
    "QVICE26${T}1${T}File ne.dll in Component Main could not be found. All tests against this file's contents may be invalid.${T}${T}File${T}File${T}Ne" \
    "QVICE26${T}1${T}File 'Weak' in Component 'Main' does not have the Option Header bit NXCOMPAT set.${T}${T}File${T}File${T}Weak" \
    "QVICE26${T}1${T}File 'Weak' in Component 'Main' does not have the Option Header bit safeSEH set." \
    "$(lost QVICE26)"

finish
